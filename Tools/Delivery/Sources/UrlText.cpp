#include "Tools/Delivery/Sources/UrlText.h"

#include <charconv>

namespace Keld::Delivery
{
std::string EncodeUrlPath(std::string_view path)
{
    constexpr std::string_view plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/";
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text;
    for (const char letter : path)
    {
        const auto byte = static_cast<unsigned char>(letter);
        if (plain.find(letter) != std::string_view::npos)
        {
            text += letter;
        }
        else
        {
            text += {'%', digits[byte >> 4U], digits[byte & 0xFU]};
        }
    }
    return text;
}

std::string DecodeUrlText(std::string_view text)
{
    std::string bytes;
    for (std::size_t place = 0; place < text.size(); ++place)
    {
        unsigned byte = 0;
        const char *digits = text.data() + place + 1;
        const bool isEscape = text[place] == '%' && text.size() - place > 2 &&
                              std::from_chars(digits, digits + 2, byte, 16).ptr == digits + 2;
        bytes += isEscape ? static_cast<char>(byte) : text[place];
        place += isEscape ? 2 : 0;
    }
    return bytes;
}
} // namespace Keld::Delivery
