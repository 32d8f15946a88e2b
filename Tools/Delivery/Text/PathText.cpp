#include "Tools/Delivery/Text/PathText.h"

#include "KeldFoundation/CStd/BasicTypes.h"

namespace Keld::Delivery
{
namespace
{
constexpr std::string_view EscapeDigits = "0123456789ABCDEF";

bool IsEscaped(char byte)
{
    const auto value = static_cast<unsigned char>(byte);
    return value < 0x20 || value == 0x7F || byte == '%';
}
} // namespace

std::string EscapePath(std::string_view path)
{
    std::string text;
    for (const char byte : path)
    {
        if (IsEscaped(byte))
        {
            const auto value = static_cast<unsigned char>(byte);
            text += {'%', EscapeDigits[value >> 4], EscapeDigits[value & 15]};
        }
        else
        {
            text += byte;
        }
    }
    return text;
}

bool ReadEscapedPath(std::string_view text, std::string &path)
{
    path.clear();
    for (uint_size index = 0; index < text.size(); ++index)
    {
        if (text[index] != '%')
        {
            path += text[index];
            continue;
        }
        const uint_size high = index + 2 < text.size() ? EscapeDigits.find(text[index + 1]) : std::string_view::npos;
        const uint_size low = index + 2 < text.size() ? EscapeDigits.find(text[index + 2]) : std::string_view::npos;
        if (high == std::string_view::npos || low == std::string_view::npos)
        {
            return false;
        }
        path += static_cast<char>(static_cast<unsigned char>(high * 16 + low));
        index += 2;
    }
    return EscapePath(path) == text;
}
} // namespace Keld::Delivery
