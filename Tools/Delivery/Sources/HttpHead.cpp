#include "Tools/Delivery/Sources/HttpHead.h"

#include <algorithm>
#include <charconv>

#include <strings.h>

namespace Keld::Delivery
{
namespace
{
constexpr unsigned LongestAskedWait = 60; // seconds

std::optional<uint64> ReadDecimal(std::string_view text)
{
    uint64 number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool isRead = error == std::errc() && end == text.data() + text.size();
    return isRead ? std::optional<uint64>(number) : std::nullopt;
}

std::string_view TrimBlanks(std::string_view text)
{
    const std::size_t begin = text.find_first_not_of(" \t");
    const std::size_t end = text.find_last_not_of(" \t\r\n");
    return begin == std::string_view::npos || end < begin ? "" : text.substr(begin, end - begin + 1);
}

/// "bytes 100-199/1000".
void ReadContentRange(std::string_view text, HttpHead &head)
{
    const std::size_t dash = text.find('-');
    const std::size_t slash = text.find('/');
    constexpr std::string_view unit = "bytes ";
    if (text.starts_with(unit) && dash != std::string_view::npos && slash != std::string_view::npos && dash < slash)
    {
        head.rangeBegin = ReadDecimal(text.substr(unit.size(), dash - unit.size()));
        head.total = ReadDecimal(text.substr(slash + 1));
    }
}

} // namespace

void ReadHeaderLine(std::string_view line, HttpHead &head)
{
    if (line.starts_with("HTTP/"))
    {
        const std::size_t space = line.find(' ');
        head = HttpHead();
        head.status =
            space == std::string_view::npos ? 0 : static_cast<long>(ReadDecimal(line.substr(space + 1, 3)).value_or(0));
        return;
    }
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos)
    {
        return;
    }
    const std::string name(line.substr(0, colon));
    const std::string_view value = TrimBlanks(line.substr(colon + 1));
    const auto is = [&name](const char *wanted)
    {
        return strcasecmp(name.c_str(), wanted) == 0;
    };
    const bool isStrongTag = is("ETag") && !value.starts_with("W/");
    if (isStrongTag || (is("Last-Modified") && head.identity.empty()))
    {
        head.identity = value;
    }
    else if (is("Content-Length"))
    {
        head.length = ReadDecimal(value);
    }
    else if (is("Content-Range"))
    {
        ReadContentRange(value, head);
    }
    else if (is("Content-Type"))
    {
        head.contentType = value;
    }
    else if (is("Retry-After"))
    {
        head.retryAfter = static_cast<unsigned>(std::min<uint64>(ReadDecimal(value).value_or(0), LongestAskedWait));
    }
}

} // namespace Keld::Delivery
