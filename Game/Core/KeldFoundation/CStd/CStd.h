#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

// The standard-call layer: all code above it reaches the platform's C library through these calls. Most only forward.
// What sets the layer apart is its own truncation rule, its treatment of path separators, and a few composite helpers.
// A programming error in an argument is an assertion, which reports and ends the process in every build (Assertion.h);
// everything else is a return value, and nothing here logs.
namespace Keld
{
/// As a count: copy as much as fits, and cut without complaint.
inline constexpr uint_size TRUNCATE = static_cast<uint_size>(-1);

/// What `std_file_size` gives for anything that is no regular file, and for a file of exactly that many bytes.
inline constexpr uint32 FileSizeUnknown = 0xFFFFFFFF;

/// Every path buffer of the layer, in bytes, the NUL included.
inline constexpr uint_size PathCapacity = 1024;

uint_size std_strlen(const char *str);
uint_size std_strnlen(const char *pStr, uint_size count);

/// Copies at most `count` characters into `num` bytes and always ends the text. A real count must be less than `num`,
/// whatever the source holds; TRUNCATE cuts silently. Asserts both pointers. With `num` 0 nothing is written.
char *std_strncpy(char *pDest, uint_size num, const char *pSrc, uint_size count);
char *std_strncat(char *pDest, uint_size num, const char *pSrc, uint_size count);
char *std_strlcpy(char *dest, uint_size size, const char *src);

/// `destSize` is not compared with anything. Asserts both pointers, for a count of 0 too.
void *std_memcpy(void *pDest, uint_size destSize, const void *pSrc, uint_size count);
void *std_memset(void *dest, int value, uint_size size);
void std_bzero(void *dest, uint_size size);
void *std_malloc(uint_size size);
void std_free(void *pointer);

int std_strcmp(const char *lhs, const char *rhs);

/// Compare without regard to ASCII case, as unsigned bytes folded to lower case, whatever the locale. With a null the
/// result is 0 when both are null, else 1.
int std_stricmp(const char *lhs, const char *rhs);
int std_strnicmp(const char *lhs, const char *rhs, uint_size len);

/// The text itself, or an empty one for null: a path may do without a piece, a format may not.
const char *TextOrEmpty(const char *text);

const char *std_strchr(const char *str, int ch);
const char *std_strrchr(const char *str, int ch);
const char *std_strstr(const char *str, const char *sub);

/// The last occurrence of `sub`, with case, or null. An empty `sub` gives the end of `str`.
const char *std_strrstr(const char *str, const char *sub);
char *std_strtok(char *str, const char *delimiters, char **context);

__attribute__((format(printf, 2, 3))) int std_sprintf(char *dest, const char *format, ...);

/// The length of the text, or uint_size(-1) when it did not fit and was cut.
__attribute__((format(printf, 3, 4))) uint_size std_snprintf(char *dest, uint_size size, const char *format, ...);
__attribute__((format(printf, 3, 0))) uint_size std_vsnprintf(char *dest, uint_size size, const char *format,
                                                              va_list arguments);
__attribute__((format(scanf, 2, 3))) int std_sscanf(const char *text, const char *format, ...);

/// The calling thread's `errno`.
int std_errno();

/// The text of an error number: 0, or an error number when it is unknown (a text is written all the same) or cut.
int std_strerror(int code, char *buffer, uint_size size);
int std_strerror(char *buffer, uint_size size, int code);

/// The same, with "Failed to get error text" where there is none. Gives `buffer`.
const char *std_error_text(int code, char *buffer, uint_size size);

/// Opens a stream with every backslash of the path as a slash. A path of 1024 bytes or more gives null and
/// ENAMETOOLONG.
std::FILE *std_fopen(const char *path, const char *mode);
int std_fclose(std::FILE *file);
uint_size std_fread(void *buffer, uint_size size, uint_size count, std::FILE *file);
int std_fseek(std::FILE *file, long offset, int origin);
int std_ferror(std::FILE *file);

/// The low 32 bits of a regular file's size, or FileSizeUnknown.
uint32 std_file_size(const char *path);
bool std_file_exists(const char *path);
bool std_file_delete(const char *path);

/// For the file provider alone, since it is not thread-safe: one path buffer serves the whole process. A mode other
/// than 0, 2, 4 or 6 counts as 0. What else asks for an entry on disk takes `GetFileStatus` (FileMode.h).
bool std_access(const char *path, int mode);
void std_path_to_slashes(char *dest, const char *src);

/// True on success. Note the order of the arguments.
bool std_getcwd(uint_size size, char *buffer);

/// Splits a path; a null output is skipped. False for a null or empty path. A part that does not fit is an assertion.
bool std_splitpath(const char *path, char *drive, uint_size driveSize, char *dir, uint_size dirSize, char *fname,
                   uint_size fnameSize, char *ext, uint_size extSize);

/// Local time in whole seconds; `millisecond` is always 0.
void std_local_time(int32 *year, int32 *month, int32 *day, int32 *hour, int32 *minute, int32 *second,
                    int32 *millisecond);

/// One forward pass without backtracking and without regard to case; its rules are its own, not those of a shell.
bool std_wildcard_match(const char *name, const char *pattern);

/// Cuts `text` at any of the delimiter characters. True if `parts` is not empty.
bool SplitString(const std::string &text, const std::string &delimiters, std::vector<std::string> &parts,
                 int dropEmpty);
std::vector<std::string> SplitString(const std::string &text, const std::string &delimiters);
} // namespace Keld
