#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <cstdarg>
#include <string>

// Calls on narrow texts beside those of CStd.h, and on strings.
namespace Keld
{
char *std_strcat(char *dest, const char *src);
char *std_strcpy(char *dest, const char *src);
int std_strncmp(const char *lhs, const char *rhs, uint_size len);

/// Appends within `size` bytes and gives the length that the whole text would have had.
uint_size std_strlcat(char *dest, uint_size size, const char *src);

/// Fold a counted buffer in place, ASCII letters alone. 1 for a null pointer or a count of 0, else 0.
int std_strlwr(char *buffer, uint_size count);
int std_strupr(char *buffer, uint_size count);

/// Replaces every `from` of a text by `to`.
void std_strreplace(char *text, char from, char to);

/// The length that a text would have, or -1. The arguments are used up.
__attribute__((format(printf, 1, 0))) int std_vscprintf(const char *format, va_list arguments);

bool std_ends_with(const char *text, const char *end);

/// As `std_strncpy`, but what does not fit is cut at the start of a UTF-8 character, never inside one, and no count is
/// an assertion.
char *std_utf8_strncpy(char *dest, uint_size num, const char *src, uint_size count);

/// What stands between the first `first` and the last `last`. Throws std::out_of_range when there is no `first`, or no
/// `last` behind it.
std::string TextBetween(const std::string &text, char first, char last);

/// Cuts the text at the first occurrence of any character of the set.
void RemoveFromAny(std::string &text, const std::string &characters);

/// Removes blanks, the character 32 alone, at both ends.
void TrimBlanks(std::string &text);
} // namespace Keld
