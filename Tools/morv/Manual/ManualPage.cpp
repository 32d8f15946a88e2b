#include "Tools/morv/Manual/ManualPage.h"

#include <algorithm>
#include <sstream>
#include <string_view>

namespace Keld::Morv
{
namespace
{
constexpr std::string_view ExitStatus = ".TP\n.B 0\nAll is good.\n"
                                        ".TP\n.B 1\nThe answer is no: something is not there, damaged or different.\n"
                                        ".TP\n.B 2\nThe command line is wrong, or something hinders the work.\n";

constexpr std::string_view RootEnvironment =
    ".TP\n.B MORV_ROOT\nThe deployment tree, a directory named MORV, where\n.B \\-\\-root\ndoes not name one; its help "
    "tells whether the tree around the working directory comes first.\n";

constexpr std::string_view ColorEnvironment =
    ".TP\n.B NO_COLOR\nWhen set and not empty, nothing is printed in colour unless\n.B \\-\\-color=always\n"
    "asks for it.\n";

// Text as it stands: no escapes, no requests, dashes that can be copied.
std::string Escape(std::string_view text)
{
    std::string escaped;
    bool atLineStart = true;
    for (const char letter : text)
    {
        if (atLineStart && (letter == '.' || letter == '\''))
        {
            escaped += "\\&";
        }
        atLineStart = letter == '\n';
        switch (letter)
        {
        case '\\':
            escaped += "\\e";
            break;
        case '-':
            escaped += "\\-";
            break;
        case '"':
            escaped += "\\(dq";
            break;
        case '\'':
            escaped += "\\(aq";
            break;
        case '`':
            escaped += "\\(ga";
            break;
        case '^':
            escaped += "\\(ha";
            break;
        case '~':
            escaped += "\\(ti";
            break;
        default:
            escaped += letter;
        }
    }
    return escaped;
}

std::string Heading(const std::string &page)
{
    std::string title = page;
    std::transform(title.begin(), title.end(), title.begin(),
                   [](char letter)
                   {
                       return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
                   });
    return ".TH " + Escape(title) + " 1 \"\" \"morv " KELD_VERSION "\" \"KeldMorvIO\"\n";
}

std::string OptionText(const OptionFacts &option)
{
    std::string text = ".TP\n";
    std::string separator = "\\fB";
    for (const std::string &name : option.names)
    {
        text += separator + Escape(name) + "\\fR";
        separator = ", \\fB";
    }
    if (option.names.empty())
    {
        text += "\\fI" + Escape(option.value) + "\\fR";
    }
    else if (!option.value.empty())
    {
        text += " \\fI" + Escape(option.value) + "\\fR";
    }
    text += "\n" + Escape(option.description) + ".\n";
    return text;
}

std::string OptionTexts(const std::vector<OptionFacts> &options)
{
    std::string text;
    for (const OptionFacts &option : options)
    {
        text += OptionText(option);
    }
    return text;
}

// A request is one only at the beginning of a line, so the last line is ended where it is not.
std::string Verbatim(const std::string &lines, bool newParagraph = true)
{
    const char *const end = lines.ends_with('\n') ? "" : "\n";
    return lines.empty() ? "" : (newParagraph ? ".PP\n" : "") + (".nf\n" + Escape(lines) + end + ".fi\n");
}

// Paragraphs are filled; lines that are indented are a table and stay as they are; "Words:" alone on a line is a
// heading.
class TextFormatter
{
public:
    std::string Format(const std::string &text)
    {
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);)
        {
            if (line.starts_with("  "))
            {
                mTable += line + "\n";
                continue;
            }
            EndTable();
            Take(line);
        }
        EndTable();
        return std::move(mFormatted);
    }

private:
    static bool IsHeading(const std::string &line) { return line.ends_with(':') && line.size() < 60; }

    void Take(const std::string &line)
    {
        if (line.empty())
        {
            mAtParagraph = true;
            mAtHeading = false;
        }
        else if (mAtParagraph && IsHeading(line))
        {
            mFormatted += ".SS \"" + Escape(line.substr(0, line.size() - 1)) + "\"\n";
            mAtParagraph = false;
            mAtHeading = true;
        }
        else
        {
            mFormatted += (mAtParagraph ? ".PP\n" : "") + Escape(line) + "\n";
            mAtParagraph = false;
            mAtHeading = false;
        }
    }

    void EndTable()
    {
        if (!mTable.empty())
        {
            mFormatted += Verbatim(mTable, !mAtHeading);
            mTable.clear();
            mAtParagraph = true;
            mAtHeading = false;
        }
    }

    std::string mFormatted;
    std::string mTable;       ///< indented lines that are not yet written
    bool mAtParagraph = true; ///< the next line begins one
    bool mAtHeading = false;
};

std::string FormatText(const std::string &text)
{
    return TextFormatter().Format(text);
}

// A footer ends in examples, or in one: what stands before them, and they themselves.
std::pair<std::string, std::string> SplitFooter(const std::string &footer)
{
    const std::size_t place = footer.find("\nExample");
    if (place == std::string::npos)
    {
        return {footer, ""};
    }
    const std::size_t first = footer.find('\n', place + 1);
    return {footer.substr(0, place + 1), footer.substr(std::min(footer.size(), first + 1))};
}

std::string Synopsis(const CommandFacts &command)
{
    std::string text = ".B morv " + Escape(command.name) + "\n[\\fIOPTION\\fR]...";
    for (const OptionFacts &operand : command.operands)
    {
        const std::string word = "\\fI" + Escape(operand.value) + "\\fR";
        text += " " + (operand.required ? word : "[" + word + "]") + (operand.repeats ? "..." : "");
    }
    return text + "\n";
}

// A heading begins a paragraph by itself.
std::string Section(const std::string &name, const std::string &content)
{
    constexpr std::string_view paragraph = ".PP\n";
    const std::size_t skipped = content.starts_with(paragraph) ? paragraph.size() : 0;
    return content.empty() ? "" : ".SH \"" + name + "\"\n" + content.substr(skipped);
}

std::string ReferTo(const std::vector<std::string> &pages)
{
    std::string text;
    for (const std::string &page : pages)
    {
        text += ".BR " + Escape(page) + " (1)" + (&page == &pages.back() ? "\n" : ",\n");
    }
    return text;
}

std::string Environment(bool takesRoot)
{
    return std::string(takesRoot ? RootEnvironment : "") + std::string(ColorEnvironment);
}

bool HasOption(const CommandFacts &command, const std::string &name)
{
    return std::any_of(command.options.begin(), command.options.end(),
                       [&name](const OptionFacts &option)
                       {
                           return option.names.back() == name;
                       });
}
} // namespace

std::string WriteToolPage(const ToolFacts &facts)
{
    std::string commands;
    std::vector<std::string> pages;
    for (const CommandFacts &command : facts.commands)
    {
        commands += ".TP\n.B " + Escape(command.name) + "\n" + Escape(command.description) + ".\n";
        pages.push_back("morv-" + command.name);
    }
    const auto [text, examples] = SplitFooter(facts.tool.footer);
    return Heading("morv") + Section("NAME", "morv \\- make, check and read deployed releases of versioned content\n") +
           Section("SYNOPSIS", ".B morv\n[\\fIOPTION\\fR]... \\fICOMMAND\\fR [\\fIARGUMENT\\fR]...\n") +
           Section("DESCRIPTION", Escape(facts.tool.description) + "\n" + FormatText(text)) +
           Section("COMMANDS", commands) + Section("OPTIONS", OptionTexts(facts.tool.options)) +
           Section("EXIT STATUS", std::string(ExitStatus)) + Section("ENVIRONMENT", Environment(true)) +
           Section("EXAMPLES", Verbatim(examples.substr(0, examples.find("\n\n") + 1))) +
           Section("SEE ALSO", ReferTo(pages));
}

std::string WriteCommandPage(const ToolFacts &facts, const CommandFacts &command)
{
    std::vector<OptionFacts> before = facts.tool.options;
    std::erase_if(before,
                  [&command](const OptionFacts &option)
                  {
                      return HasOption(command, option.names.back());
                  });
    const std::string page = "morv-" + command.name;
    const auto [text, examples] = SplitFooter(command.footer);
    return Heading(page) + Section("NAME", Escape(page) + " \\- " + Escape(command.description) + "\n") +
           Section("SYNOPSIS", Synopsis(command)) +
           Section("DESCRIPTION", Escape(command.description) + ".\n" + FormatText(text)) +
           Section("OPERANDS", OptionTexts(command.operands)) + Section("OPTIONS", OptionTexts(command.options)) +
           Section("OPTIONS BEFORE THE COMMAND", OptionTexts(before)) +
           Section("EXIT STATUS", std::string(ExitStatus)) +
           Section("ENVIRONMENT", Environment(HasOption(command, "--root"))) + Section("EXAMPLES", Verbatim(examples)) +
           Section("SEE ALSO", ReferTo({"morv"}));
}
} // namespace Keld::Morv
