#include "Tools/Common/Utf8.h"

#include <algorithm>

namespace Keld::Common
{
namespace
{
struct Decoded
{
    char32_t character;
    std::size_t size; ///< bytes, 0 when they are no character
};

bool IsFollower(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

// Refuses longer forms than needed, surrogates, and what lies behind the last character.
Decoded DecodeOne(std::string_view text)
{
    const unsigned char lead = static_cast<unsigned char>(text[0]);
    const std::size_t size = lead < 0x80   ? 1
                             : lead < 0xC2 ? 0
                             : lead < 0xE0 ? 2
                             : lead < 0xF0 ? 3
                             : lead < 0xF5 ? 4
                                           : 0;
    if (size <= 1)
    {
        return {lead, size};
    }
    if (text.size() < size ||
        !std::all_of(text.begin() + 1, text.begin() + static_cast<std::ptrdiff_t>(size), IsFollower))
    {
        return {0, 0};
    }
    char32_t character = lead & (0x7FU >> size);
    for (std::size_t index = 1; index < size; ++index)
    {
        character = character << 6 | (static_cast<unsigned char>(text[index]) & 0x3FU);
    }
    const bool tooLong = (size == 3 && character < 0x800) || (size == 4 && character < 0x10000);
    const bool none = (character >= 0xD800 && character <= 0xDFFF) || character > 0x10FFFF;
    return {character, tooLong || none ? 0 : size};
}
} // namespace

std::u32string DecodeUtf8(std::string_view text)
{
    std::u32string characters;
    characters.reserve(text.size());
    while (!text.empty())
    {
        const Decoded decoded = DecodeOne(text);
        characters += decoded.size != 0 ? decoded.character : UndecodedByte + static_cast<unsigned char>(text.front());
        text.remove_prefix(std::max<std::size_t>(decoded.size, 1));
    }
    return characters;
}

void AppendUtf8(std::string &text, char32_t character)
{
    const auto append = [&text](char32_t byte)
    {
        text += static_cast<char>(static_cast<unsigned char>(byte & 0xFF));
    };
    if (character >= UndecodedByte || character < 0x80)
    {
        append(character);
        return;
    }
    const int followers = character < 0x800 ? 1 : character < 0x10000 ? 2 : 3;
    append((0xFF00U >> (followers + 1)) | character >> (6 * followers));
    for (int shift = 6 * (followers - 1); shift >= 0; shift -= 6)
    {
        append(0x80U | (character >> shift & 0x3FU));
    }
}

bool IsUtf8(std::string_view text)
{
    const std::u32string characters = DecodeUtf8(text);
    return std::all_of(characters.begin(), characters.end(),
                       [](char32_t character)
                       {
                           return character < UndecodedByte;
                       });
}
} // namespace Keld::Common
