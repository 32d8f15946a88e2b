#include "Tools/morv/HelpFormatter.h"

#include <CLI/CLI.hpp>

namespace Keld::Morv
{
namespace
{
constexpr const char *RequiredText = "REQUIRED"; // as the parser shows it of options

bool MayRepeat(const CLI::Option &operand)
{
    return operand.get_expected_max() >= CLI::detail::expected_max_vector_size;
}

class HelpFormatter final : public CLI::Formatter
{
public:
    std::string make_option_usage(const CLI::Option *operand) const override
    {
        const std::string word = make_option_name(operand, true) + (MayRepeat(*operand) ? "..." : "");
        return IsShownAsRequired(*operand) ? word : "[" + word + "]";
    }

    std::string make_option_opts(const CLI::Option *option) const override
    {
        if (!option->get_positional())
        {
            return Formatter::make_option_opts(option);
        }
        const std::string required = IsShownAsRequired(*option) ? " " + get_label(RequiredText) : "";
        return (MayRepeat(*option) ? " ..." : "") + required;
    }
};
} // namespace

std::shared_ptr<CLI::FormatterBase> MakeHelpFormatter()
{
    return std::make_shared<HelpFormatter>();
}

void ShowAsRequired(CLI::Option &operand)
{
    operand.option_text(RequiredText);
}

bool IsShownAsRequired(const CLI::Option &option)
{
    return option.get_required() || option.get_option_text() == RequiredText;
}
} // namespace Keld::Morv
