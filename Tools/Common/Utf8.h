#pragma once

#include <string>
#include <string_view>

namespace Keld::Common
{
/// Numbers from here on stand for bytes that belong to no character: UndecodedByte plus the byte.
inline constexpr char32_t UndecodedByte = 0x110000;

/// The characters of a text in UTF-8. A byte that is no part of a well-formed one comes as itself, above
/// UndecodedByte: paths of a disk may hold any bytes.
std::u32string DecodeUtf8(std::string_view text);

/// Adds a character to a text; one from UndecodedByte on as the byte that it stands for.
void AppendUtf8(std::string &text, char32_t character);

/// Whether a text is UTF-8 from its start to its end.
bool IsUtf8(std::string_view text);
} // namespace Keld::Common
