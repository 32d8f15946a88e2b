#pragma once

#include <string>
#include <string_view>

namespace Keld::Morv
{
enum class ColorChoice
{
    Auto, ///< on a terminal, unless NO_COLOR is set and not empty or TERM is "dumb"
    Always,
    Never
};

enum class Ink
{
    Strong,
    Faint,
    Red,
    Green,
    Yellow,
    Blue
};

/// What --color said; holds for everything painted from then on.
void ChooseColor(ColorChoice choice);

/// The text in colour, where the file behind the descriptor is to be coloured, else as it is.
std::string Paint(int descriptor, Ink ink, std::string_view text);

bool IsTerminal(int descriptor);

/// Columns of the terminal behind a descriptor; 80 where nobody knows.
unsigned GetTerminalWidth(int descriptor);

/// A name as it can be shown on a terminal: control characters and bytes that are no UTF-8 stand as \n, \t or \x1b.
std::string EscapeForTerminal(std::string_view name);

/// A name for a line on standard output: escaped when that is a terminal, else every byte as it is.
std::string Shown(std::string_view name);
} // namespace Keld::Morv
