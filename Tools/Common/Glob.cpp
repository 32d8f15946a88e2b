#include "Tools/Common/Glob.h"

#include "Tools/Common/Utf8.h"

#include <algorithm>

namespace Keld::Common
{
namespace
{
constexpr std::size_t MostAlternatives = 1000;

char32_t Fold(char32_t character)
{
    return character >= U'A' && character <= U'Z' ? character + (U'a' - U'A') : character;
}

char32_t Unfold(char32_t character)
{
    return character >= U'a' && character <= U'z' ? character - (U'a' - U'A') : character;
}

// The place behind the set that begins at `at` with '[', or 0 when it has no end. A ']' in front is one of the set.
std::size_t EndOfSet(const std::u32string &pattern, std::size_t at)
{
    std::size_t place = at + 1;
    place += place < pattern.size() && (pattern[place] == U'!' || pattern[place] == U'^') ? 1U : 0U;
    for (std::size_t first = place; place < pattern.size(); ++place)
    {
        if (pattern[place] == U']' && place > first)
        {
            return place + 1;
        }
        place += pattern[place] == U'\\' ? 1U : 0U;
    }
    return 0;
}

// The place behind what begins at `at` and must not be taken apart: a set, an escaped character, or one character.
std::size_t Skip(const std::u32string &pattern, std::size_t at)
{
    const std::size_t setEnd = pattern[at] == U'[' ? EndOfSet(pattern, at) : 0;
    return setEnd != 0 ? setEnd : at + (pattern[at] == U'\\' ? 2U : 1U);
}

// The text of each alternative of the group that begins at `at` with '{', and the place behind the group.
std::vector<std::u32string> SplitGroup(const std::u32string &pattern, std::size_t at, std::size_t &end)
{
    std::vector<std::u32string> parts(1);
    std::size_t depth = 1;
    std::size_t place = at + 1;
    while (place < pattern.size())
    {
        const std::size_t next = std::min(Skip(pattern, place), pattern.size());
        const char32_t character = pattern[place];
        depth += character == U'{' ? 1U : 0U;
        depth -= character == U'}' ? 1U : 0U;
        if (depth == 0)
        {
            end = next;
            return parts;
        }
        if (character == U',' && depth == 1)
        {
            parts.emplace_back();
        }
        else
        {
            parts.back().append(pattern, place, next - place);
        }
        place = next;
    }
    throw GlobError("has a { without its }");
}

// All patterns without groups that a pattern stands for.
void Expand(const std::u32string &pattern, std::vector<std::u32string> &expanded)
{
    for (std::size_t at = 0; at < pattern.size(); at = Skip(pattern, at))
    {
        if (pattern[at] == U'{')
        {
            std::size_t end = 0;
            for (const std::u32string &part : SplitGroup(pattern, at, end))
            {
                std::u32string chosen = pattern.substr(0, at);
                chosen.append(part).append(pattern, end, pattern.npos);
                Expand(chosen, expanded);
            }
            return;
        }
    }
    if (expanded.size() == MostAlternatives)
    {
        throw GlobError("stands for more than 1000 patterns: use fewer {,}");
    }
    expanded.push_back(pattern);
}
} // namespace

bool Glob::Token::Takes(char32_t subject) const
{
    switch (kind)
    {
    case Kind::Character:
        return Fold(subject) == Fold(character);
    case Kind::AnyPath:
    case Kind::AnyNames:
        return true;
    case Kind::AnyCharacter:
    case Kind::AnyRun:
        return subject != U'/';
    case Kind::Set:
        break;
    }
    const auto holds = [&](const Range &range)
    {
        const auto contains = [&range](char32_t one)
        {
            return range.first <= one && one <= range.last;
        };
        return contains(Fold(subject)) || contains(Unfold(subject));
    };
    return subject != U'/' && std::any_of(ranges.begin(), ranges.end(), holds) != negated;
}

Glob::Glob(std::string pattern) : mPattern(std::move(pattern))
{
    try
    {
        std::u32string text = DecodeUtf8(mPattern);
        mForWholePath = text.find(U'/') < text.size() - 1;
        mForDirectories = text.size() > 1 && text.back() == U'/';
        text.resize(text.size() - (mForDirectories ? 1U : 0U));
        text.erase(0, !text.empty() && text.front() == U'/' ? 1U : 0U);
        if (text.empty())
        {
            throw GlobError("is empty");
        }
        std::vector<std::u32string> expanded;
        Expand(text, expanded);
        std::transform(expanded.begin(), expanded.end(), std::back_inserter(mAlternatives), Compile);
    }
    catch (const GlobError &error)
    {
        throw GlobError("the pattern \"" + mPattern + "\" " + error.what());
    }
}

bool Glob::Matches(std::string_view path) const
{
    const std::size_t nameAt = path.rfind('/');
    const bool cuts = !mForWholePath && nameAt != path.npos;
    const std::u32string subject = DecodeUtf8(cuts ? path.substr(nameAt + 1) : path);
    return std::any_of(mAlternatives.begin(), mAlternatives.end(),
                       [&subject](const Tokens &tokens)
                       {
                           return TokensMatch(tokens, subject);
                       });
}

Glob::Tokens Glob::Compile(const std::u32string &pattern)
{
    Tokens tokens;
    for (std::size_t at = 0; at < pattern.size();)
    {
        const bool doubled = pattern.compare(at, 2, U"**") == 0;
        const bool opensName = at == 0 || pattern[at - 1] == U'/';
        if (doubled && opensName && at + 2 < pattern.size() && pattern[at + 2] == U'/')
        {
            tokens.push_back({Kind::AnyNames});
            at += 3;
        }
        else if (doubled || pattern[at] == U'*')
        {
            tokens.push_back({doubled ? Kind::AnyPath : Kind::AnyRun});
            at += doubled ? 2U : 1U;
        }
        else if (pattern[at] == U'[')
        {
            at = CompileSet(pattern, at, tokens);
        }
        else if (pattern[at] == U'?')
        {
            tokens.push_back({Kind::AnyCharacter});
            ++at;
        }
        else
        {
            at += pattern[at] == U'\\' ? 1U : 0U;
            if (at == pattern.size())
            {
                throw GlobError("ends in a \\ that hides nothing");
            }
            tokens.push_back({Kind::Character, pattern[at++]});
        }
    }
    return tokens;
}

std::size_t Glob::CompileSet(const std::u32string &pattern, std::size_t at, Tokens &tokens)
{
    const std::size_t end = EndOfSet(pattern, at);
    if (end == 0)
    {
        throw GlobError("has a [ without its ]");
    }
    Token token{Kind::Set};
    ++at;
    token.negated = pattern[at] == U'!' || pattern[at] == U'^';
    at += token.negated ? 1U : 0U;
    const auto take = [&pattern, &at]
    {
        at += pattern[at] == U'\\' ? 1U : 0U;
        return pattern[at++];
    };
    while (at < end - 1)
    {
        Range range{take(), 0};
        const bool spans = at + 1 < end - 1 && pattern[at] == U'-';
        at += spans ? 1U : 0U;
        range.last = spans ? take() : range.first;
        if (range.last < range.first)
        {
            throw GlobError("has a range in [] that runs backwards");
        }
        token.ranges.push_back(range);
    }
    tokens.push_back(std::move(token));
    return end;
}

// Follows all ways through the tokens at once, so that no pattern takes longer than its length times the path's.
bool Glob::TokensMatch(const Tokens &tokens, const std::u32string &subject)
{
    std::vector<char> current(tokens.size() + 1);
    std::vector<char> next(tokens.size() + 1);
    current[0] = 1;
    for (std::size_t place = 0;; ++place)
    {
        const bool opensName = place == 0 || subject[place - 1] == U'/';
        for (std::size_t at = 0; at < tokens.size(); ++at)
        {
            const Kind kind = tokens[at].kind;
            const bool mayEnd = kind == Kind::AnyRun || kind == Kind::AnyPath || (kind == Kind::AnyNames && opensName);
            if (current[at] != 0 && mayEnd)
            {
                current[at + 1] = 1;
            }
        }
        if (place == subject.size())
        {
            return current.back() != 0;
        }
        std::fill(next.begin(), next.end(), 0);
        for (std::size_t at = 0; at < tokens.size(); ++at)
        {
            const Kind kind = tokens[at].kind;
            const bool stays = kind == Kind::AnyRun || kind == Kind::AnyPath || kind == Kind::AnyNames;
            if (current[at] != 0 && tokens[at].Takes(subject[place]))
            {
                next[stays ? at : at + 1] = 1;
            }
        }
        current.swap(next);
    }
}
} // namespace Keld::Common
