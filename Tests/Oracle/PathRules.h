#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// A plain model of the library, as a consumer sees it: its rules, told once more over texts, maps and linear scans.
/// Nothing here comes from the library's own sources, nor calls them.
namespace Keld::Test::Oracle
{
/// Text in which the letters of ASCII are small. Everything else stays.
std::string Folded(std::string text);

/// A path as the library takes it: "/" alone as separator, runs of them as one behind the second byte.
std::string CanonicalPath(const std::string &path, bool dropsTrailingSeparator);

/// A path on disk out of its pieces, or nothing when it has more than 1023 bytes. Empty pieces do not count, and one
/// that begins with "/" begins anew.
std::optional<std::string> JoinedPath(const std::vector<std::string> &pieces);

/// "1.2.3.4" as a number, and back. Whatever stands behind the fourth number does not matter.
std::optional<std::uint32_t> ParsedVersion(const std::string &text);
std::string VersionText(std::uint32_t version);

/// Whether a name fits a pattern: one pass, in which a "*" never tries again.
bool FitsPattern(const std::string &name, const std::string &pattern);
} // namespace Keld::Test::Oracle
