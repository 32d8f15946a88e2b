#pragma once

#include "Tools/TreeReader/View.h"

#include <string>

namespace Keld::Morv
{
/// "is listed by game 1.0.0.0 but cannot be served: ..." for a path whose file is gone, or an empty text.
std::string ExplainMissing(const TreeReader::View &view, const std::string &path);

/// What a path that nobody has is told as: with the cause where a release lists it.
std::string AbsenceText(const std::string &typed, const std::string &cause);

/// The canonical path of what was typed, with a note where a program must ask otherwise.
std::string ResolveTypedPath(const TreeReader::View &view, const std::string &typed);
} // namespace Keld::Morv
