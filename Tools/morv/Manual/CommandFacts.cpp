#include "Tools/morv/Manual/CommandFacts.h"

#include "Tools/morv/HelpFormatter.h"

#include <CLI/CLI.hpp>

#include <algorithm>

namespace Keld::Morv
{
namespace
{
// The parser shows the values of a list behind the value's word: "WHEN:{auto,always,never}".
std::vector<std::string> ReadChoices(const std::string &type)
{
    const std::size_t begin = type.find('{');
    const std::size_t end = type.rfind('}');
    if (begin == std::string::npos || end == std::string::npos || end < begin)
    {
        return {};
    }
    return CLI::detail::split(type.substr(begin + 1, end - begin - 1), ',');
}

// The word alone, without what the parser's checks say of the values behind it, as in "WHEN:{auto,never}".
std::string ReadValue(const std::string &type)
{
    std::size_t end = std::string::npos;
    for (const char *const check : {":{", ":UINT in ", ":INT in ", ":NONNEGATIVE", ":POSITIVE", ":SIZE ["})
    {
        end = std::min(end, type.find(check));
    }
    return type.substr(0, end);
}

OptionFacts ReadOption(const CLI::Option &option)
{
    OptionFacts facts;
    for (const std::string &name : option.get_snames())
    {
        facts.names.push_back("-" + name);
    }
    for (const std::string &name : option.get_lnames())
    {
        facts.names.push_back("--" + name);
    }
    if (option.get_items_expected_max() > 0)
    {
        const std::string type = option.get_type_name();
        facts.value = option.get_positional() ? option.get_name(true) : ReadValue(type);
        facts.choices = ReadChoices(type);
    }
    facts.description = option.get_description();
    facts.required = IsShownAsRequired(option);
    facts.repeats = option.get_expected_max() > 1;
    return facts;
}

CommandFacts ReadCommand(const CLI::App &command)
{
    CommandFacts facts;
    facts.name = command.get_name();
    facts.description = command.get_description();
    facts.footer = command.get_footer();
    std::vector<OptionFacts> common;
    for (const CLI::Option *option : command.get_options())
    {
        if (option->get_positional())
        {
            facts.operands.push_back(ReadOption(*option));
        }
        else if (!option->get_group().empty())
        {
            (option->get_group() == "Options" ? facts.options : common).push_back(ReadOption(*option));
        }
    }
    facts.options.insert(facts.options.end(), common.begin(), common.end());
    return facts;
}

bool IsShown(const CLI::App *command)
{
    return !command->get_group().empty();
}
} // namespace

ToolFacts ReadToolFacts(const CLI::App &app)
{
    ToolFacts facts;
    facts.tool = ReadCommand(app);
    facts.tool.name.clear();
    for (const CLI::App *command : app.get_subcommands(IsShown))
    {
        facts.commands.push_back(ReadCommand(*command));
    }
    return facts;
}
} // namespace Keld::Morv
