#pragma once

#include "KeldFoundation/version/MorvVersion.h"

#include <string>

// Texts that name things of a tree: versions, and paths as the reader compares them.
namespace Keld::TreeReader
{
/// Reads "a.b.c.d" and nothing else: the text must be the version's own form. Throws TreeError.
MorvVersion ParseVersionText(const std::string &text);

/// Compares without regard to ASCII case, as the reader does.
bool EqualsIgnoringCase(const std::string &left, const std::string &right);

/// The same place without "//", "/./" and "/../", as far as the text alone tells.
std::string ShortenPath(std::string path);

/// The text with 'A' to 'Z' in lower case: equal for paths that the reader takes for one.
std::string FoldPath(std::string path);
} // namespace Keld::TreeReader
