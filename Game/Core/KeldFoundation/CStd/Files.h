#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <cstdarg>
#include <cstdio>

// Further calls on streams and files. Nothing in the library depends on them.
namespace Keld
{
uint_size std_fwrite(const void *buffer, uint_size size, uint_size count, std::FILE *file);
__attribute__((format(printf, 2, 0))) int std_vfprintf(std::FILE *file, const char *format, va_list arguments);
long std_ftell(std::FILE *file);
char *std_fgets(char *buffer, int size, std::FILE *file);
int std_feof(std::FILE *file);
int std_fflush(std::FILE *file);

/// As `std_fopen`, through the path buffer of the process. Not thread-safe, neither with itself nor with `std_access`.
std::FILE *std_fopen_shared(const char *path, const char *mode);

/// Adds the right to write for everyone.
bool std_make_writable(const char *path);

/// Makes the file writable first. What is absent counts as deleted.
bool std_force_delete(const char *path);

/// Copies a file with its mode and times, and its owner where the process may set one. Makes the directories above the
/// target; into a directory it copies under the source's name; a file that is there already is replaced once the copy
/// is whole. False when anything fails, when the source is no regular file, and when both are the same file.
bool std_copy_file(const char *source, const char *target);
} // namespace Keld
