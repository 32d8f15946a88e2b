#pragma once

#include <cstdarg>
#include <cstdio>

// Calls on streams beside those of CStd.h.
namespace Keld
{
/// As `std_fopen`, through the path buffer of the process. Not thread-safe, neither with itself nor with `std_access`.
std::FILE *std_fopen_shared(const char *path, const char *mode);

__attribute__((format(printf, 2, 0))) int std_vfprintf(std::FILE *file, const char *format, va_list arguments);
} // namespace Keld
