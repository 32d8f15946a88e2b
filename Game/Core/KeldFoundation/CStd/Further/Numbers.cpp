#include "KeldFoundation/CStd/Further/Numbers.h"

#include "KeldFoundation/CStd/CStd.h"

#include <algorithm>
#include <cstdlib>

namespace Keld
{
namespace
{
// The digit of a remainder stands at 35 plus that remainder, so that the most negative number, which has no positive
// twin, needs no rule of its own.
constexpr const char *Digits = "zyxwvutsrqponmlkjihgfedcba9876543210123456789abcdefghijklmnopqrstuvwxyz";
constexpr int DigitZero = 35;

// A sign, 32 binary digits, the NUL.
constexpr uint_size NumberCapacity = 34;

bool IsBase(int base)
{
    return base >= 2 && base <= 36;
}

// Wide enough for both kinds of number; written backwards, then turned round.
char *WriteNumber(int64 value, char *buffer, int base)
{
    char *end = buffer;
    if (IsBase(base))
    {
        const bool negative = value < 0;
        do
        {
            *end++ = Digits[DigitZero + value % base];
            value /= base;
        } while (value != 0);
        if (negative)
        {
            *end++ = '-';
        }
        std::reverse(buffer, end);
    }
    *end = '\0';
    return buffer;
}
} // namespace

int std_atoi(const char *text)
{
    return std::atoi(text);
}

long std_atol(const char *text)
{
    return std::atol(text);
}

double std_strtod(const char *text, char **end)
{
    return std::strtod(text, end);
}

char *std_itoa(int32 value, char *buffer, int base)
{
    return WriteNumber(value, buffer, base);
}

char *std_utoa(uint32 value, char *buffer, int base)
{
    return WriteNumber(value, buffer, base);
}

int std_itoa_s(int32 value, char *buffer, uint_size size, int base)
{
    char number[NumberCapacity];
    WriteNumber(value, number, base);
    const bool fits = IsBase(base) && std_strlen(number) < size;
    std_strlcpy(buffer, size, fits ? number : "");
    return fits ? 0 : -1;
}

char *std_i64toa(int64 value, char *buffer, int base)
{
    if (base == 16)
    {
        std_sprintf(buffer, "%llx", static_cast<unsigned long long>(value));
    }
    else if (base == 10)
    {
        std_sprintf(buffer, "%lld", static_cast<long long>(value));
    }
    return buffer;
}
} // namespace Keld
