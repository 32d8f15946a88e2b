#include "KeldFoundation/CStd/Further/Strings.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/CStd/Hash.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace Keld
{
namespace
{
char RaiseCase(char character)
{
    return character >= 'a' && character <= 'z' ? static_cast<char>(character - 'a' + 'A') : character;
}

int ChangeEach(char *buffer, uint_size count, char (*change)(char))
{
    if (buffer == nullptr || count == 0)
    {
        return 1;
    }
    std::transform(buffer, buffer + count, buffer, change);
    return 0;
}

bool IsContinuation(char character)
{
    return (static_cast<unsigned char>(character) & 0xC0) == 0x80;
}
} // namespace

char *std_strcat(char *dest, const char *src)
{
    return std::strcat(dest, src); // NOLINT(clang-analyzer-security.insecureAPI.strcpy): it is what the call is
}

char *std_strcpy(char *dest, const char *src)
{
    return std::strcpy(dest, src); // NOLINT(clang-analyzer-security.insecureAPI.strcpy): it is what the call is
}

int std_strncmp(const char *lhs, const char *rhs, uint_size len)
{
    return std::strncmp(lhs, rhs, len);
}

uint_size std_strlcat(char *dest, uint_size size, const char *src)
{
    const uint_size length = std_strnlen(dest, size);
    std_strlcpy(dest + length, size - length, src);
    return length + std_strlen(src);
}

int std_strlwr(char *buffer, uint_size count)
{
    return ChangeEach(buffer, count, FoldCase);
}

int std_strupr(char *buffer, uint_size count)
{
    return ChangeEach(buffer, count, RaiseCase);
}

void std_strreplace(char *text, char from, char to)
{
    std::replace(text, text + std_strlen(text), from, to);
}

int std_vscprintf(const char *format, va_list arguments)
{
    char byte;
    return std::vsnprintf(&byte, sizeof byte, format, arguments);
}

bool std_ends_with(const char *text, const char *end)
{
    const uint_size length = std_strlen(text);
    const uint_size endLength = std_strlen(end);
    return endLength <= length && std::memcmp(text + length - endLength, end, endLength) == 0;
}

char *std_utf8_strncpy(char *dest, uint_size num, const char *src, uint_size count)
{
    uint_size length = std_strnlen(src, count);
    if (length < num || num == 0)
    {
        return std_strncpy(dest, num, src, num == 0 ? TRUNCATE : length);
    }
    length = num - 1;
    while (length > 0 && IsContinuation(src[length]))
    {
        --length;
    }
    return std_strncpy(dest, num, src, length);
}

std::string TextBetween(const std::string &text, char first, char last)
{
    const std::string::size_type begin = text.find(first);
    const std::string::size_type end = text.rfind(last);
    const bool found = begin != std::string::npos && end != std::string::npos && begin < end;
    if (!found)
    {
        throw std::out_of_range("basic_string::substr"); // the same text with every standard library
    }
    return text.substr(begin + 1, end - begin - 1);
}

void RemoveFromAny(std::string &text, const std::string &characters)
{
    text.resize(std::min(text.size(), text.find_first_of(characters)));
}

void TrimBlanks(std::string &text)
{
    text.erase(text.find_last_not_of(' ') + 1);
    text.erase(0, text.find_first_not_of(' '));
}
} // namespace Keld
