#include "KeldFoundation/CStd/CStd.h"

#include "KeldFoundation/CStd/Assertion.h"
#include "KeldFoundation/CStd/Hash.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <string.h>

// The XSI form of strerror_r under its own name: the plain name is the GNU form wherever _GNU_SOURCE is defined, as it
// always is for C++ with this C library, and that form may leave the buffer untouched.
extern "C" int __xpg_strerror_r(int code, char *buffer, size_t size);

namespace Keld
{
namespace
{
int FoldedByte(char character)
{
    return static_cast<unsigned char>(FoldCase(character));
}
} // namespace

uint_size std_strlen(const char *str)
{
    return std::strlen(str);
}

uint_size std_strnlen(const char *pStr, uint_size count)
{
    KELD_ASSERT(pStr, nullptr, "uint_size Keld::std_strnlen(const char *, uint_size)");
    return strnlen(pStr, count);
}

char *std_strncpy(char *pDest, uint_size num, const char *pSrc, uint_size count)
{
    constexpr const char *signature = "char *Keld::std_strncpy(char *, uint_size, const char *, uint_size)";
    KELD_ASSERT(pDest, nullptr, signature);
    KELD_ASSERT(pSrc, nullptr, signature);
    // From the numbers alone: a caller whose text happens to be short today is wrong all the same.
    KELD_ASSERT(count != TRUNCATE ? count < num : true, "String operation causes truncation.", signature);

    // No more of the source is measured than can matter: many copies may be taken of one text of megabytes.
    const uint_size length = std_strnlen(pSrc, count != TRUNCATE ? count : num);
    if (length < num)
    {
        std::memcpy(pDest, pSrc, length);
        pDest[length] = '\0';
    }
    else if (num != 0)
    {
        std::memcpy(pDest, pSrc, num - 1);
        pDest[num - 1] = '\0';
    }
    return pDest;
}

char *std_strncat(char *pDest, uint_size num, const char *pSrc, uint_size count)
{
    constexpr const char *signature = "char *Keld::std_strncat(char *, uint_size, const char *, uint_size)";
    KELD_ASSERT(pDest, nullptr, signature);
    KELD_ASSERT(pSrc, nullptr, signature);
    // So spelled, since the report shows the expression.
    const uint_size DestLength = std_strnlen(pDest, num); // NOLINT(readability-identifier-naming)
    KELD_ASSERT(num > DestLength, "Trying to std_strncat to a non-null-terminated string", signature);

    std_strncpy(pDest + DestLength, num - DestLength, pSrc, count);
    return pDest;
}

char *std_strlcpy(char *dest, uint_size size, const char *src)
{
    if (size == 0)
    {
        return dest;
    }
    KELD_ASSERT(src, nullptr, "char *Keld::std_strlcpy(char *, uint_size, const char *)");
    return std_strncpy(dest, size, src, TRUNCATE);
}

void *std_memcpy(void *pDest, uint_size /*destSize*/, const void *pSrc, uint_size count)
{
    constexpr const char *signature = "void *Keld::std_memcpy(void *, uint_size, const void *, uint_size)";
    KELD_ASSERT(pDest, nullptr, signature);
    KELD_ASSERT(pSrc, nullptr, signature);
    return std::memcpy(pDest, pSrc, count);
}

void *std_memset(void *dest, int value, uint_size size)
{
    return std::memset(dest, value, size);
}

const void *std_memchr(const void *data, int value, uint_size size)
{
    return std::memchr(data, value, size);
}

void std_bzero(void *dest, uint_size size)
{
    std::memset(dest, 0, size);
}

void *std_malloc(uint_size size)
{
    return std::malloc(size);
}

void *std_calloc(uint_size count, uint_size size)
{
    return std::calloc(count, size);
}

void std_free(void *pointer)
{
    std::free(pointer);
}

int std_strcmp(const char *lhs, const char *rhs)
{
    return std::strcmp(lhs, rhs);
}

int std_stricmp(const char *lhs, const char *rhs)
{
    return std_strnicmp(lhs, rhs, static_cast<uint_size>(-1));
}

// Folds by itself: the library's own comparisons follow the consumer's locale, and the hashes do not.
int std_strnicmp(const char *lhs, const char *rhs, uint_size len)
{
    if (lhs == nullptr || rhs == nullptr)
    {
        return lhs == rhs ? 0 : 1;
    }
    for (uint_size index = 0; index < len; ++index)
    {
        if (lhs[index] == rhs[index])
        {
            if (lhs[index] == '\0')
            {
                return 0;
            }
            continue; // without folding: most bytes are alike as they stand
        }
        const int left = FoldedByte(lhs[index]);
        const int right = FoldedByte(rhs[index]);
        if (left != right)
        {
            return left - right;
        }
    }
    return 0;
}

const char *TextOrEmpty(const char *text)
{
    return text != nullptr ? text : "";
}

const char *std_strchr(const char *str, int ch)
{
    return std::strchr(str, ch);
}

const char *std_strrchr(const char *str, int ch)
{
    return std::strrchr(str, ch);
}

const char *std_strstr(const char *str, const char *sub)
{
    return std::strstr(str, sub);
}

const char *std_strrstr(const char *str, const char *sub)
{
    if (str == nullptr || sub == nullptr)
    {
        return nullptr;
    }
    const uint_size length = std::strlen(str);
    const uint_size subLength = std::strlen(sub);
    for (uint_size end = length; end >= subLength; --end)
    {
        const char *position = str + (end - subLength);
        if (std::memcmp(position, sub, subLength) == 0)
        {
            return position;
        }
        if (end == 0)
        {
            break;
        }
    }
    return nullptr;
}

char *std_strtok(char *str, const char *delimiters, char **context)
{
    return strtok_r(str, delimiters, context);
}

long std_strtol(const char *text, char **end, int base)
{
    return std::strtol(text, end, base);
}

unsigned long std_strtoul(const char *text, char **end, int base)
{
    return std::strtoul(text, end, base);
}

int std_sprintf(char *dest, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsprintf(dest, format, arguments);
    va_end(arguments);
    return length;
}

uint_size std_snprintf(char *dest, uint_size size, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const uint_size length = std_vsnprintf(dest, size, format, arguments);
    va_end(arguments);
    return length;
}

uint_size std_vsnprintf(char *dest, uint_size size, const char *format, va_list arguments)
{
    const int length = std::vsnprintf(dest, size, format, arguments);
    const bool fits = length >= 0 && static_cast<uint_size>(length) < size;
    return fits ? static_cast<uint_size>(length) : static_cast<uint_size>(-1);
}

int std_sscanf(const char *text, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int fields = std::vsscanf(text, format, arguments);
    va_end(arguments);
    return fields;
}

int std_errno()
{
    return errno;
}

int std_strerror(int code, char *buffer, uint_size size)
{
    return __xpg_strerror_r(code, buffer, size);
}

int std_strerror(char *buffer, uint_size size, int code)
{
    return std_strerror(code, buffer, size);
}

const char *std_error_text(int code, char *buffer, uint_size size)
{
    if (std_strerror(code, buffer, size) != 0)
    {
        std_strlcpy(buffer, size, "Failed to get error text");
    }
    return buffer;
}

bool SplitString(const std::string &text, const std::string &delimiters, std::vector<std::string> &parts, int dropEmpty)
{
    std::string rest = text; // cut in place, and copied before the vector that may hold it is emptied
    parts.clear();
    char *context = nullptr;
    for (const char *token = std_strtok(rest.data(), delimiters.c_str(), &context); token != nullptr;
         token = std_strtok(nullptr, delimiters.c_str(), &context))
    {
        if (dropEmpty != 1 || token[0] != '\0')
        {
            parts.emplace_back(token);
        }
    }
    return !parts.empty();
}

std::vector<std::string> SplitString(const std::string &text, const std::string &delimiters)
{
    std::vector<std::string> parts;
    SplitString(text, delimiters, parts, 0);
    return parts;
}
} // namespace Keld
