#include "Tools/morv/Manual/Completer.h"

#include "Tools/morv/Manual/TreeCandidates.h"

#include <algorithm>
#include <optional>
#include <string_view>

namespace Keld::Morv
{
namespace
{
char FoldedLetter(char letter)
{
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

// As the library looks names up: case of ASCII letters does not count.
bool BeginsWith(std::string_view word, std::string_view beginning)
{
    return word.size() >= beginning.size() && std::equal(beginning.begin(), beginning.end(), word.begin(),
                                                         [](char left, char right)
                                                         {
                                                             return FoldedLetter(left) == FoldedLetter(right);
                                                         });
}

const OptionFacts *FindOption(const std::vector<OptionFacts> &options, std::string_view name)
{
    const auto found =
        std::find_if(options.begin(), options.end(),
                     [name](const OptionFacts &option)
                     {
                         return std::find(option.names.begin(), option.names.end(), name) != option.names.end();
                     });
    return found == options.end() ? nullptr : &*found;
}

// As the help of --root says.
TreeSearch SearchOf(const CommandFacts *command)
{
    const OptionFacts *const root = command == nullptr ? nullptr : FindOption(command->options, "--root");
    if (root == nullptr)
    {
        return TreeSearch::Around;
    }
    const bool namedFirst = root->description.find("(default: $MORV_ROOT)") != std::string::npos;
    return namedFirst ? TreeSearch::NamedFirst : TreeSearch::AroundFirst;
}

// What was typed before the word in progress.
class TypedLine
{
public:
    TypedLine(const ToolFacts &facts, const std::vector<std::string> &words) : mFacts(facts)
    {
        for (std::size_t index = 0; index + 1 < words.size(); ++index)
        {
            Take(words[index]);
        }
    }

    const CommandFacts *GetCommand() const { return mCommand; }

    // The option whose value is being typed, or null.
    const OptionFacts *GetPending() const { return mPending; }

    bool MayBeOption() const { return !mOptionsOver; }

    // The operand that stands next, or null where none can.
    const OptionFacts *GetOperand() const
    {
        if (mCommand == nullptr || mCommand->operands.empty())
        {
            return nullptr;
        }
        if (mOperands.size() < mCommand->operands.size())
        {
            return &mCommand->operands[mOperands.size()];
        }
        return mCommand->operands.back().repeats ? &mCommand->operands.back() : nullptr;
    }

    const OptionFacts *Find(std::string_view name) const
    {
        const OptionFacts *const own = mCommand == nullptr ? nullptr : FindOption(mCommand->options, name);
        return own != nullptr ? own : FindOption(mFacts.tool.options, name);
    }

    // The last value of an option, or nothing.
    std::string GetValue(const std::string &name) const
    {
        const auto found = mValues.find(name);
        return found == mValues.end() ? "" : found->second;
    }

    // The release that --release or an operand names, or nothing.
    std::string GetReference() const
    {
        if (std::string named = GetValue("--release"); named.find('/') != std::string::npos)
        {
            return named;
        }
        for (std::size_t index = 0; mCommand != nullptr && index < mOperands.size(); ++index)
        {
            const std::size_t place = std::min(index, mCommand->operands.size() - 1);
            if (KindOfValue(mCommand->operands[place]) == ValueKind::Reference)
            {
                return mOperands[index];
            }
        }
        return "";
    }

private:
    void Take(const std::string &word)
    {
        if (mPending != nullptr)
        {
            Remember(*mPending, word);
            mPending = nullptr;
        }
        else if (!mOptionsOver && word == "--")
        {
            mOptionsOver = true;
        }
        else if (!mOptionsOver && word.size() > 1 && word.front() == '-')
        {
            TakeOption(word);
        }
        else if (mCommand == nullptr)
        {
            const auto found = std::find_if(mFacts.commands.begin(), mFacts.commands.end(),
                                            [&word](const CommandFacts &command)
                                            {
                                                return command.name == word;
                                            });
            mCommand = found == mFacts.commands.end() ? nullptr : &*found;
        }
        else if (!mCommand->operands.empty())
        {
            mOperands.push_back(word);
        }
    }

    void TakeOption(const std::string &word)
    {
        const std::size_t equals = word.starts_with("--") ? word.find('=') : std::string::npos;
        const OptionFacts *const option = Find(word.substr(0, equals));
        if (option != nullptr && !option->value.empty())
        {
            if (equals == std::string::npos)
            {
                mPending = option;
            }
            else
            {
                Remember(*option, word.substr(equals + 1));
            }
        }
    }

    void Remember(const OptionFacts &option, const std::string &value)
    {
        for (const std::string &name : option.names)
        {
            mValues[name] = value;
        }
    }

    const ToolFacts &mFacts;
    const CommandFacts *mCommand = nullptr;
    const OptionFacts *mPending = nullptr;
    bool mOptionsOver = false;
    std::vector<std::string> mOperands;
    std::map<std::string, std::string> mValues; ///< by every name of the option
};

// Gathers the candidates for one word.
class WordCompleter
{
public:
    WordCompleter(const ToolFacts &facts, const TypedLine &line, const std::string &word)
        : mFacts(facts), mLine(line), mWord(word), mTyped(word)
    {
    }

    Completions Complete()
    {
        const std::size_t equals = mWord.starts_with("--") ? mWord.find('=') : std::string::npos;
        if (mLine.GetPending() != nullptr)
        {
            OfferValues(*mLine.GetPending(), "", mWord);
        }
        else if (mLine.MayBeOption() && equals != std::string::npos)
        {
            const OptionFacts *const option = mLine.Find(mWord.substr(0, equals));
            if (option != nullptr && !option->value.empty())
            {
                OfferValues(*option, mWord.substr(0, equals + 1), mWord.substr(equals + 1));
            }
        }
        else if (mLine.MayBeOption() && mWord.starts_with('-'))
        {
            OfferOptions();
        }
        else if (mLine.GetCommand() == nullptr)
        {
            for (const CommandFacts &command : mFacts.commands)
            {
                Offer("", command.name, command.description);
            }
        }
        else if (const OptionFacts *const operand = mLine.GetOperand())
        {
            OfferValues(*operand, "", mWord);
        }
        return std::move(mCompletions);
    }

private:
    void OfferOptions()
    {
        if (mLine.GetCommand() != nullptr)
        {
            OfferOptionsOf(*mLine.GetCommand());
        }
        OfferOptionsOf(mFacts.tool);
    }

    void OfferOptionsOf(const CommandFacts &command)
    {
        for (const OptionFacts &option : command.options)
        {
            for (const std::string &name : option.names)
            {
                const bool known = std::any_of(mCompletions.candidates.begin(), mCompletions.candidates.end(),
                                               [&name](const Candidate &candidate)
                                               {
                                                   return candidate.word == name;
                                               });
                if (!known)
                {
                    Offer("", name, option.description);
                }
            }
        }
    }

    void OfferValues(const OptionFacts &option, const std::string &before, const std::string &typed)
    {
        mTyped = typed;
        const TreeCandidates tree(mLine.GetValue("--root"), mLine.GetValue("--directory"),
                                  SearchOf(mLine.GetCommand()));
        switch (KindOfValue(option))
        {
        case ValueKind::File:
            mCompletions.kind = Completion::Files;
            break;
        case ValueKind::Directory:
            mCompletions.kind = Completion::Directories;
            break;
        case ValueKind::Storage:
            OfferAll(before, {"naked", "managed", "archive"});
            break;
        case ValueKind::Method:
            OfferAll(before, {"none", "zlib", "lzma"});
            break;
        case ValueKind::Project:
            OfferAll(before, tree.ListProjects());
            break;
        case ValueKind::Solution:
            OfferAll(before, tree.ListSolutions());
            break;
        case ValueKind::Version:
            OfferAll(before, tree.ListVersions(mLine.GetValue("--project")));
            break;
        case ValueKind::Reference:
            mCompletions.kind =
                typed.starts_with('.') || typed.starts_with('/') ? Completion::Directories : Completion::Words;
            OfferAll(before, tree.ListReferences());
            break;
        case ValueKind::Path:
            mCompletions.kind = Completion::Paths;
            OfferAll(before, tree.ListPaths(mLine.GetReference(), typed));
            break;
        case ValueKind::Anything:
        case ValueKind::Unknown:
            OfferAll(before, option.choices);
            break;
        }
    }

    void OfferAll(const std::string &before, const std::vector<std::string> &words)
    {
        for (const std::string &word : words)
        {
            Offer(before, word, "");
        }
    }

    void Offer(const std::string &before, const std::string &word, const std::string &description)
    {
        if (BeginsWith(word, mTyped))
        {
            mCompletions.candidates.push_back({before + word, description});
        }
    }

    const ToolFacts &mFacts;
    const TypedLine &mLine;
    const std::string &mWord;
    std::string mTyped; ///< what of the word is to be gone on with: behind "--option=" the value
    Completions mCompletions;
};

const std::map<std::string, ValueKind> KindsByValue = {
    {"DIR", ValueKind::Directory},
    {"FILE", ValueKind::File},
    {"SOURCE", ValueKind::File},
    {"STORAGE", ValueKind::Storage},
    {"METHOD", ValueKind::Method},
    {"VERSION", ValueKind::Version},
    {"RELEASE", ValueKind::Reference},
    {"REF", ValueKind::Reference},
    {"BASE", ValueKind::Reference},
    {"TARGET", ValueKind::Reference},
    {"A", ValueKind::Reference},
    {"B", ValueKind::Reference},
    {"PATH", ValueKind::Path},
    {"GLOB", ValueKind::Anything},
    {"GLOB=STORAGE[:METHOD]", ValueKind::Anything},
    {"BYTES", ValueKind::Anything},
    {"SIZE", ValueKind::Anything},
    {"OPTION,...", ValueKind::Anything},
    {"N", ValueKind::Anything},
    {"NAME", ValueKind::Anything},
    {"PATTERN", ValueKind::Anything},
    {"WHEN", ValueKind::Anything},
    {"WHAT", ValueKind::Anything},
    {"NAME=VERSION:PRIORITY", ValueKind::Anything},
    {"NAME=PROJECT,...", ValueKind::Anything},
    {"PROJECT,...", ValueKind::Anything},
};
} // namespace

ValueKind KindOfValue(const OptionFacts &option)
{
    if (!option.choices.empty())
    {
        return ValueKind::Anything;
    }
    if (option.value == "NAME" && !option.names.empty() && option.names.back() == "--project")
    {
        return ValueKind::Project;
    }
    if (option.value == "NAME" && !option.names.empty() &&
        (option.names.back() == "--name" || option.names.back() == "--solution"))
    {
        return ValueKind::Solution;
    }
    const auto found = KindsByValue.find(option.value);
    return found == KindsByValue.end() ? ValueKind::Unknown : found->second;
}

Completions Complete(const ToolFacts &facts, const std::vector<std::string> &words)
{
    const TypedLine line(facts, words);
    const std::string word = words.empty() ? "" : words.back();
    return WordCompleter(facts, line, word).Complete();
}
} // namespace Keld::Morv
