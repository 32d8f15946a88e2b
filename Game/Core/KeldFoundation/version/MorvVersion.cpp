#include "KeldFoundation/version/MorvVersion.h"

#include "KeldFoundation/CStd/CStd.h"

#include <optional>

namespace Keld
{
const std::string gNullName = "__NullName__";

namespace
{
constexpr uint_size PartCount = 4;

bool IsDigit(char character)
{
    return character >= '0' && character <= '9';
}

bool IsSpace(char character)
{
    return character == ' ' || (character >= '\t' && character <= '\r');
}

// Reads one number as a scan for "%d" does: white space, a sign, digits. What is no part, be it negative or larger than
// `limit`, becomes limit + 1, however many digits it has: a scan would wrap. Null when there is no digit.
const char *ScanPart(const char *text, uint64 limit, uint64 &part)
{
    while (IsSpace(*text))
    {
        ++text;
    }
    const bool negative = *text == '-';
    if (*text == '-' || *text == '+')
    {
        ++text;
    }
    if (!IsDigit(*text))
    {
        return nullptr;
    }
    part = 0;
    for (; IsDigit(*text); ++text)
    {
        const uint64 next = part * 10 + static_cast<uint64>(*text - '0');
        part = next <= limit ? next : limit + 1;
    }
    if (negative && part != 0)
    {
        part = limit + 1;
    }
    return text;
}

// The packed parts, the first on top, or nothing.
std::optional<uint64> ParseParts(const char *text, unsigned partBits)
{
    // A test of its own, since the scan below skips blanks.
    if (text == nullptr || std_strchr(text, ' ') != nullptr)
    {
        return std::nullopt;
    }
    const uint64 limit = (uint64{1} << partBits) - 1;
    uint64 packed = 0;
    for (uint_size index = 0; index < PartCount; ++index)
    {
        if (index != 0 && *text++ != '.')
        {
            return std::nullopt;
        }
        uint64 part = 0;
        text = ScanPart(text, limit, part);
        if (text == nullptr || part > limit)
        {
            return std::nullopt;
        }
        packed = packed << partBits | part;
    }
    return packed;
}

// One "%..." sequence of the part format.
struct Field
{
    uint_size length; ///< characters, the percent sign included; 0 when this is no field
    uint_size width;  ///< least number of characters to write
    uint_size index;  ///< of the part; from 4 on the field is copied as it stands
};

uint_size DigitValue(char character)
{
    return static_cast<uint_size>(character - '0');
}

// Reads "%N", "%(W)N", "%(.P)N" or "%(W.P)N", each letter a digit. P has no effect.
Field ReadField(const char *percent)
{
    constexpr Field none{0, 0, 0};
    const char *cursor = percent + 1;
    uint_size width = 0;
    if (*cursor == '(')
    {
        ++cursor;
        const bool hasWidth = IsDigit(*cursor);
        if (hasWidth)
        {
            width = DigitValue(*cursor++);
        }
        const bool hasPrecision = *cursor == '.' && IsDigit(cursor[1]);
        if (hasPrecision)
        {
            cursor += 2;
        }
        if ((!hasWidth && !hasPrecision) || *cursor != ')')
        {
            return none;
        }
        ++cursor;
    }
    if (!IsDigit(*cursor))
    {
        return none;
    }
    return Field{static_cast<uint_size>(cursor + 1 - percent), width, DigitValue(*cursor)};
}

void AppendPart(std::string &out, uint_size width, unsigned part)
{
    const std::string digits = std::to_string(part);
    if (digits.size() < width)
    {
        out.append(width - digits.size(), ' ');
    }
    out += digits;
}

template <class Part>
void FormatParts(std::string &out, const char *format, const Part (&parts)[PartCount])
{
    out.clear();
    out.reserve(std_strlen(format) + 128);
    while (*format != '\0')
    {
        if (format[0] == '%' && format[1] == '%')
        {
            out += '%';
            format += 2;
            continue;
        }
        const Field field = *format == '%' ? ReadField(format) : Field{0, 0, 0};
        if (field.length == 0)
        {
            out += *format++;
        }
        else if (field.index < PartCount)
        {
            AppendPart(out, field.width, parts[field.index]);
            format += field.length;
        }
        else
        {
            out.append(format, field.length);
            format += field.length;
        }
    }
}

constexpr const char *VersionFormat = "%0.%1.%2.%3";
} // namespace

bool ParseVersion(const char *text, MorvVersion *result)
{
    *result = 0;
    const std::optional<uint64> packed = ParseParts(text, 8);
    *result = static_cast<MorvVersion>(packed.value_or(0));
    return packed.has_value();
}

bool ParseWideVersion(const char *text, WideVersion *result)
{
    *result = 0;
    const std::optional<uint64> packed = ParseParts(text, 16);
    *result = packed.value_or(0);
    return packed.has_value();
}

std::string FormatVersion(MorvVersion value)
{
    std::string text;
    FormatVersion(value, text);
    return text;
}

void FormatVersion(MorvVersion value, std::string &out)
{
    FormatVersionParts(out, VersionFormat, static_cast<uint8>(value >> 24), static_cast<uint8>(value >> 16),
                       static_cast<uint8>(value >> 8), static_cast<uint8>(value));
}

std::string FormatWideVersion(WideVersion value)
{
    std::string text;
    FormatWideVersion(value, text);
    return text;
}

void FormatWideVersion(WideVersion value, std::string &out)
{
    FormatVersionParts(out, VersionFormat, static_cast<uint16>(value >> 48), static_cast<uint16>(value >> 32),
                       static_cast<uint16>(value >> 16), static_cast<uint16>(value));
}

void FormatVersionParts(std::string &out, const char *format, uint8 part0, uint8 part1, uint8 part2, uint8 part3)
{
    FormatParts(out, format, {part0, part1, part2, part3});
}

void FormatVersionParts(std::string &out, const char *format, uint16 part0, uint16 part1, uint16 part2, uint16 part3)
{
    FormatParts(out, format, {part0, part1, part2, part3});
}
} // namespace Keld
