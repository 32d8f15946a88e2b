#include "Tools/Delivery/Text/TextLines.h"

#include "Tools/Delivery/Text/PathText.h"
#include "Tools/Delivery/Text/TreePath.h"

#include <charconv>

namespace Keld::Delivery
{
using TreeReader::ReleaseName;

namespace
{
constexpr std::string_view SolutionPrefix = "solution:";
} // namespace

bool TextLines::Next(std::string_view &line)
{
    ++mNumber;
    const uint_size end = mRest.find('\n');
    if (end == std::string_view::npos)
    {
        return false;
    }
    line = mRest.substr(0, end);
    mRest.remove_prefix(end + 1);
    return true;
}

bool TextLines::NextBehind(std::string_view word, std::string_view &rest)
{
    if (!Next(rest) || !rest.starts_with(word))
    {
        return false;
    }
    rest.remove_prefix(word.size());
    return true;
}

bool ReadNumber(std::string_view text, uint64 &number)
{
    const std::from_chars_result read = std::from_chars(text.data(), text.data() + text.size(), number);
    return read.ec == std::errc() && std::to_string(number) == text;
}

bool ReadCountAndSize(std::string_view text, uint64 &count, uint64 &size)
{
    const uint_size cut = text.find(' ');
    return cut != std::string_view::npos && ReadNumber(text.substr(0, cut), count) &&
           ReadNumber(text.substr(cut + 1), size);
}

std::string FormatRelease(const ReleaseName &release)
{
    return (release.isSolution ? std::string(SolutionPrefix) : "") + EscapePath(release.name) + "/" +
           FormatVersion(release.version);
}

bool ReadRelease(std::string_view text, ReleaseName &release)
{
    release.isSolution = text.starts_with(SolutionPrefix);
    text.remove_prefix(release.isSolution ? SolutionPrefix.size() : 0);
    const uint_size cut = text.rfind('/');
    if (cut == std::string_view::npos || !ReadEscapedPath(text.substr(0, cut), release.name) ||
        CheckDirectoryName(release.name))
    {
        return false;
    }
    const std::string version(text.substr(cut + 1));
    return ParseVersion(version.c_str(), &release.version) && FormatVersion(release.version) == version;
}
} // namespace Keld::Delivery
