#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <cstdarg>
#include <cwchar>

// Calls on wide texts: plain forwards but for the last two.
namespace Keld
{
uint_size std_wcslen(const wchar_t *str);
wchar_t *std_wcscat(wchar_t *dest, const wchar_t *src);
wchar_t *std_wcscpy(wchar_t *dest, const wchar_t *src);

/// Within `size` characters, the NUL included. Give the length that the whole text would have had.
uint_size std_wcslcat(wchar_t *dest, uint_size size, const wchar_t *src);
uint_size std_wcslcpy(wchar_t *dest, uint_size size, const wchar_t *src);

int std_swprintf(wchar_t *dest, uint_size size, const wchar_t *format, ...);
int std_vswprintf(wchar_t *dest, uint_size size, const wchar_t *format, va_list arguments);
uint_size std_mbstowcs(wchar_t *dest, const char *src, uint_size count);
uint_size std_wcstombs(char *dest, const wchar_t *src, uint_size count);
const wchar_t *std_wcschr(const wchar_t *str, wchar_t ch);

/// In base 10.
long std_wcstol(const wchar_t *text, wchar_t **end);

/// Compares lower-cased copies.
int std_wcsicmp(const wchar_t *lhs, const wchar_t *rhs);

/// A copy that the caller frees with `std_free`; null when there is no memory for it.
wchar_t *std_wcsdup(const wchar_t *str);
} // namespace Keld
