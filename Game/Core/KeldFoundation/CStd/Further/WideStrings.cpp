#include "KeldFoundation/CStd/Further/WideStrings.h"

#include "KeldFoundation/CStd/CStd.h"

#include <algorithm>
#include <cstdlib>
#include <cwctype>
#include <string>

namespace Keld
{
namespace
{
std::wstring Lowered(const wchar_t *text)
{
    std::wstring copy = text;
    std::transform(copy.begin(), copy.end(), copy.begin(),
                   [](wchar_t character)
                   {
                       return static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(character)));
                   });
    return copy;
}
} // namespace

uint_size std_wcslen(const wchar_t *str)
{
    return std::wcslen(str);
}

wchar_t *std_wcscat(wchar_t *dest, const wchar_t *src)
{
    return std::wcscat(dest, src);
}

wchar_t *std_wcscpy(wchar_t *dest, const wchar_t *src)
{
    return std::wcscpy(dest, src);
}

uint_size std_wcslcat(wchar_t *dest, uint_size size, const wchar_t *src)
{
    const wchar_t *const end = std::find(dest, dest + size, L'\0');
    const auto length = static_cast<uint_size>(end - dest);
    return length + std_wcslcpy(dest + length, size - length, src);
}

uint_size std_wcslcpy(wchar_t *dest, uint_size size, const wchar_t *src)
{
    const uint_size length = std::wcslen(src);
    if (size != 0)
    {
        const uint_size copied = std::min(length, size - 1);
        std::wmemcpy(dest, src, copied);
        dest[copied] = L'\0';
    }
    return length;
}

int std_swprintf(wchar_t *dest, uint_size size, const wchar_t *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = std_vswprintf(dest, size, format, arguments);
    va_end(arguments);
    return length;
}

int std_vswprintf(wchar_t *dest, uint_size size, const wchar_t *format, va_list arguments)
{
    return std::vswprintf(dest, size, format, arguments);
}

uint_size std_mbstowcs(wchar_t *dest, const char *src, uint_size count)
{
    return std::mbstowcs(dest, src, count);
}

uint_size std_wcstombs(char *dest, const wchar_t *src, uint_size count)
{
    return std::wcstombs(dest, src, count);
}

const wchar_t *std_wcschr(const wchar_t *str, wchar_t ch)
{
    return std::wcschr(str, ch);
}

long std_wcstol(const wchar_t *text, wchar_t **end)
{
    return std::wcstol(text, end, 10);
}

int std_wcsicmp(const wchar_t *lhs, const wchar_t *rhs)
{
    return std::wcscmp(Lowered(lhs).c_str(), Lowered(rhs).c_str());
}

wchar_t *std_wcsdup(const wchar_t *str)
{
    const uint_size count = std::wcslen(str) + 1;
    auto *const copy = static_cast<wchar_t *>(std_malloc(count * sizeof(wchar_t)));
    return copy != nullptr ? std::wmemcpy(copy, str, count) : nullptr;
}
} // namespace Keld
