#include "Tools/morv/Manual/ShellWords.h"

namespace Keld::Morv
{
std::vector<std::string> SplitShellWords(const std::string &line)
{
    std::vector<std::string> words(1);
    bool started = false;
    char quote = '\0';
    for (std::size_t index = 0; index < line.size(); ++index)
    {
        const char letter = line[index];
        if (letter == '\\' && quote != '\'' && index + 1 < line.size())
        {
            words.back() += line[++index];
            started = true;
        }
        else if (quote != '\0')
        {
            quote = letter == quote ? '\0' : quote;
            words.back().append(quote == '\0' ? 0U : 1U, letter);
        }
        else if (letter == '\'' || letter == '"')
        {
            quote = letter;
            started = true;
        }
        else if (letter == ' ' || letter == '\t' || letter == '\n')
        {
            if (started)
            {
                words.emplace_back();
            }
            started = false;
        }
        else
        {
            words.back() += letter;
            started = true;
        }
    }
    return words;
}
} // namespace Keld::Morv
