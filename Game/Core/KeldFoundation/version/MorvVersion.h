#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <string>

namespace Keld
{
/// Four parts of 8 bits, the first in the top byte, so that versions compare as numbers. Text form "1.2.3.4".
using MorvVersion = uint32;

/// The same with four parts of 16 bits.
using WideVersion = uint64;

/// Reads "a.b.c.d"; what follows the fourth number is not looked at. False, and 0 stored, for null, a text that holds
/// a blank, fewer than four numbers, or a number outside 0 to 255.
bool ParseVersion(const char *text, MorvVersion *result);
bool ParseWideVersion(const char *text, WideVersion *result);

std::string FormatVersion(MorvVersion value);
void FormatVersion(MorvVersion value, std::string &out);
std::string FormatWideVersion(WideVersion value);
void FormatWideVersion(WideVersion value, std::string &out);

/// Writes parts by their index: "%0" to "%3", padded with blanks as in "%(W)0", and "%%". Anything else is copied.
void FormatVersionParts(std::string &out, const char *format, uint8 part0, uint8 part1, uint8 part2, uint8 part3);
void FormatVersionParts(std::string &out, const char *format, uint16 part0, uint16 part1, uint16 part2, uint16 part3);

/// The name of a thing without a name.
extern const std::string gNullName;
} // namespace Keld
