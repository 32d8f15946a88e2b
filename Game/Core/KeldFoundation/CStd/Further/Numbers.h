#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

// Calls between numbers and texts beside those of CStd.h.
namespace Keld
{
int std_atoi(const char *text);
long std_atol(const char *text);
double std_strtod(const char *text, char **end);

/// The text of a number in a base of 2 to 36, lower-case digits, a '-' in front of any negative number. Another base
/// gives an empty text. `buffer` needs room for 34 bytes. Each gives `buffer`.
char *std_itoa(int32 value, char *buffer, int base);
char *std_utoa(uint32 value, char *buffer, int base);

/// The same into `size` bytes: 0, or -1 with an empty text for another base or a text that does not fit.
int std_itoa_s(int32 value, char *buffer, uint_size size, int base);

/// Base 16, of the number taken as unsigned, and base 10; any other leaves `buffer` as it is. Needs 21 bytes.
char *std_i64toa(int64 value, char *buffer, int base);
} // namespace Keld
