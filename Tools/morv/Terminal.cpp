#include "Tools/morv/Terminal.h"

#include "Tools/Common/Utf8.h"

#include <fmt/format.h>

#include <cstdlib>

#include <sys/ioctl.h>
#include <unistd.h>

namespace Keld::Morv
{
namespace
{
constexpr unsigned UsualWidth = 80;

ColorChoice gColorChoice = ColorChoice::Auto;

const char *CodeOf(Ink ink)
{
    switch (ink)
    {
    case Ink::Strong:
        return "1";
    case Ink::Faint:
        return "2";
    case Ink::Red:
        return "1;31";
    case Ink::Green:
        return "32";
    case Ink::Yellow:
        return "33";
    case Ink::Blue:
        break;
    }
    return "1;34";
}

bool EnvironmentAllowsColor()
{
    const char *noColor = std::getenv("NO_COLOR");
    const char *terminal = std::getenv("TERM");
    const bool forbidden = noColor != nullptr && *noColor != '\0';
    return !forbidden && terminal != nullptr && std::string_view(terminal) != "dumb";
}

bool UsesColor(int descriptor)
{
    const bool wanted = gColorChoice == ColorChoice::Auto && IsTerminal(descriptor) && EnvironmentAllowsColor();
    return gColorChoice == ColorChoice::Always || wanted;
}

bool IsControl(char32_t character)
{
    return character < 0x20 || (character >= 0x7F && character < 0xA0);
}
} // namespace

void ChooseColor(ColorChoice choice)
{
    gColorChoice = choice;
}

std::string Paint(int descriptor, Ink ink, std::string_view text)
{
    return UsesColor(descriptor) ? fmt::format("\x1b[{}m{}\x1b[0m", CodeOf(ink), text) : std::string(text);
}

bool IsTerminal(int descriptor)
{
    return isatty(descriptor) == 1;
}

unsigned GetTerminalWidth(int descriptor)
{
    winsize size = {};
    return ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : UsualWidth;
}

std::string EscapeForTerminal(std::string_view name)
{
    std::string shown;
    for (const char32_t character : Common::DecodeUtf8(name))
    {
        if (character >= Common::UndecodedByte || IsControl(character))
        {
            const bool named = character == U'\n' || character == U'\t';
            shown += named ? (character == U'\n' ? "\\n" : "\\t")
                           : fmt::format("\\x{:02x}", static_cast<unsigned>(character) & 0xFFU);
        }
        else
        {
            Common::AppendUtf8(shown, character);
        }
    }
    return shown;
}

std::string Shown(std::string_view name)
{
    static const bool onTerminal = IsTerminal(STDOUT_FILENO);
    return onTerminal ? EscapeForTerminal(name) : std::string(name);
}
} // namespace Keld::Morv
