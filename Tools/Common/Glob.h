#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace Keld::Common
{
/// What is wrong with a pattern, in words for the person who typed it.
class GlobError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// A pattern for virtual paths, the same wherever the tools take one.
///
///   *        any characters within one name: never '/'
///   ?        one character, never '/'
///   **       as a whole name between '/': any number of names, none included; elsewhere: any characters, '/' too
///   [a-z_]   one character of a set, never '/'; [!a-z] or [^a-z] one that is not in the set
///   {a,b}    either; may stand inside each other
///   \x       the character x itself
///
/// A pattern without '/' is held against the last name of a path, at any depth; one with '/' against the whole path. A
/// '/' in front only says that it is one for whole paths; one at the end, that it is for directories. ASCII letters
/// match without regard to case, as the paths of the library do. A character is one of UTF-8; a byte that belongs to
/// none stands for itself.
class Glob
{
public:
    /// Throws GlobError for an empty pattern, brackets and braces without an end, and a \ at the end.
    explicit Glob(std::string pattern);

    const std::string &GetPattern() const { return mPattern; }

    /// Whether the pattern is for directories alone.
    bool IsForDirectories() const { return mForDirectories; }

    /// Whether a virtual path matches: '/' between names, none in front.
    bool Matches(std::string_view path) const;

private:
    enum class Kind
    {
        Character,
        AnyCharacter, ///< but '/'
        AnyRun,       ///< without '/'
        AnyPath,      ///< with '/'
        AnyNames,     ///< whole names, each with the '/' behind it, or none
        Set
    };

    struct Range
    {
        char32_t first;
        char32_t last;
    };

    struct Token
    {
        Kind kind = Kind::Character;
        char32_t character = 0;
        bool negated = false;
        std::vector<Range> ranges = {};

        bool Takes(char32_t subject) const;
    };

    using Tokens = std::vector<Token>;

    static Tokens Compile(const std::u32string &pattern);
    static std::size_t CompileSet(const std::u32string &pattern, std::size_t at, Tokens &tokens);
    static bool TokensMatch(const Tokens &tokens, const std::u32string &subject);

    std::string mPattern;
    bool mForWholePath = false;
    bool mForDirectories = false;
    std::vector<Tokens> mAlternatives;
};
} // namespace Keld::Common
