#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

// The standard-call layer: the library reaches the C library's calls on texts, memory, numbers, streams and files
// through these. Most only forward; what sets the layer apart is its own truncation rule, its treatment of path
// separators, and a few composite helpers. Here stands what the library calls; the calls in Further stand on these.
//
// Not through the layer go the platform's other interfaces, each of which has one home: `glob` and `fstat` in file/,
// descriptors and asynchronous reads in blocks/, mutexes and semaphores in sync/, clocks in counters/. Nor do `atexit`,
// and what sets `errno`.
//
// A programming error in an argument is an assertion, which reports and ends the process in every build (Assertion.h).
// Everything else is a return value, and nothing here logs.
namespace Keld
{
/// As a count: copy as much as fits, and cut without complaint.
inline constexpr uint_size TRUNCATE = static_cast<uint_size>(-1);

/// What `std_file_size` gives for anything that is no regular file, and for a file of exactly that many bytes.
inline constexpr uint32 FileSizeUnknown = 0xFFFFFFFF;

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
const void *std_memchr(const void *data, int value, uint_size size);
void *std_malloc(uint_size size);
void *std_calloc(uint_size count, uint_size size);
void std_free(void *pointer);

int std_strcmp(const char *lhs, const char *rhs);

/// Compare without regard to ASCII case, as unsigned bytes folded to lower case, whatever the locale. With a null text
/// the result is 0 when both are null, else 1.
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

long std_strtol(const char *text, char **end, int base);
unsigned long std_strtoul(const char *text, char **end, int base);

__attribute__((format(printf, 2, 3))) int std_sprintf(char *dest, const char *format, ...);

/// The length of the text, or uint_size(-1) when it did not fit and was cut.
__attribute__((format(printf, 3, 4))) uint_size std_snprintf(char *dest, uint_size size, const char *format, ...);
__attribute__((format(printf, 3, 0))) uint_size std_vsnprintf(char *dest, uint_size size, const char *format,
                                                              va_list arguments);
__attribute__((format(scanf, 2, 3))) int std_sscanf(const char *text, const char *format, ...);

/// The calling thread's `errno`.
int std_errno();

/// Writes the text of an error number. Gives 0, or an error number where the code is unknown (a text is written all
/// the same) or the text was cut.
int std_strerror(int code, char *buffer, uint_size size);
int std_strerror(char *buffer, uint_size size, int code);

/// The same, with "Failed to get error text" where there is none. Gives `buffer`.
const char *std_error_text(int code, char *buffer, uint_size size);

/// Opens a stream with every backslash of the path as a slash. A path of 1024 bytes or more gives null and
/// ENAMETOOLONG.
std::FILE *std_fopen(const char *path, const char *mode);
int std_fclose(std::FILE *file);
uint_size std_fread(void *buffer, uint_size size, uint_size count, std::FILE *file);
uint_size std_fwrite(const void *buffer, uint_size size, uint_size count, std::FILE *file);
char *std_fgets(char *buffer, int size, std::FILE *file);
int std_fputs(const char *text, std::FILE *file);
int std_fflush(std::FILE *file);
long std_ftell(std::FILE *file);
int std_fseek(std::FILE *file, long offset, int origin);
int std_feof(std::FILE *file);
int std_ferror(std::FILE *file);
int std_setvbuf(std::FILE *file, char *buffer, int mode, uint_size size);

/// The low 32 bits of a regular file's size, or FileSizeUnknown.
uint32 std_file_size(const char *path);
bool std_file_exists(const char *path);

/// True when the entry is gone, also when it was absent before. A pipe or character device is left alone, and counts as
/// deleted.
bool std_file_delete(const char *path);

/// For the file provider alone, since it is not thread-safe: one path buffer serves the whole process. A mode other
/// than 0, 2, 4 or 6 counts as 0. All other code asks `GetFileStatus` (FileStatus.h).
bool std_access(const char *path, int mode);

/// Copies with every backslash as a slash. `dest` needs room for all of `src`.
void std_path_to_slashes(char *dest, const char *src);

/// True on success. Note the order of the arguments.
bool std_getcwd(uint_size size, char *buffer);

/// Splits a path; a null output is skipped. False for a null or empty path. A part that does not fit is an assertion.
bool std_splitpath(const char *path, char *drive, uint_size driveSize, char *dir, uint_size dirSize, char *fname,
                   uint_size fnameSize, char *ext, uint_size extSize);

/// Local time in whole seconds; `millisecond` is always 0. The time zone is that of TZ, or else the system's, as they
/// are at the call. Allocates only when the zone has changed.
void std_local_time(int32 *year, int32 *month, int32 *day, int32 *hour, int32 *minute, int32 *second,
                    int32 *millisecond);

/// One forward pass without backtracking and without regard to case; its rules are its own, not those of a shell.
bool std_wildcard_match(const char *name, const char *pattern);

/// Cuts `text` at any of the delimiter characters. True if `parts` is not empty.
bool SplitString(const std::string &text, const std::string &delimiters, std::vector<std::string> &parts,
                 int dropEmpty);
std::vector<std::string> SplitString(const std::string &text, const std::string &delimiters);
} // namespace Keld
