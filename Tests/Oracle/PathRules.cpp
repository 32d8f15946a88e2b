#include "Oracle/PathRules.h"

#include <algorithm>
#include <cstdio>

namespace Keld::Test::Oracle
{
std::string Folded(std::string text)
{
    for (char &character : text)
    {
        character = character >= 'A' && character <= 'Z' ? static_cast<char>(character + 32) : character;
    }
    return text;
}

std::string CanonicalPath(const std::string &path, bool dropsTrailingSeparator)
{
    std::string canonical;
    for (char character : path)
    {
        character = character == '\\' ? '/' : character;
        if (canonical.size() < 2 || character != '/' || canonical.back() != '/')
        {
            canonical += character;
        }
    }
    if (dropsTrailingSeparator && canonical.ends_with('/'))
    {
        canonical.pop_back();
    }
    return canonical;
}

std::optional<std::string> JoinedPath(const std::vector<std::string> &pieces)
{
    constexpr std::size_t longest = 1023;
    std::string joined;
    for (const std::string &piece : pieces)
    {
        if (piece.empty())
        {
            continue;
        }
        if (piece.front() == '/')
        {
            joined.clear();
        }
        joined += joined.empty() || joined.back() == '/' ? piece : '/' + piece;
        if (joined.size() > longest)
        {
            return std::nullopt;
        }
    }
    return joined;
}

std::optional<std::uint32_t> ParsedVersion(const std::string &text)
{
    unsigned parts[4] = {};
    int *const places[4] = {reinterpret_cast<int *>(&parts[0]), reinterpret_cast<int *>(&parts[1]),
                            reinterpret_cast<int *>(&parts[2]), reinterpret_cast<int *>(&parts[3])};
    if (text.find(' ') != std::string::npos ||
        std::sscanf(text.c_str(), "%d.%d.%d.%d", places[0], places[1], places[2], places[3]) != 4)
    {
        return std::nullopt;
    }
    std::uint32_t version = 0;
    for (const unsigned part : parts)
    {
        if (part > 255)
        {
            return std::nullopt;
        }
        version = version << 8 | part;
    }
    return version;
}

std::string VersionText(std::uint32_t version)
{
    return std::to_string(version >> 24) + '.' + std::to_string(version >> 16 & 0xFF) + '.' +
           std::to_string(version >> 8 & 0xFF) + '.' + std::to_string(version & 0xFF);
}

bool FitsPattern(const std::string &name, const std::string &pattern)
{
    const std::string text = Folded(name);
    std::size_t at = 0;
    bool hasStar = false;
    for (std::size_t next = 0; next < pattern.size();)
    {
        if (pattern[next] == '*')
        {
            hasStar = true;
            ++next;
            continue;
        }
        if (pattern[next] == '?')
        {
            if (at == text.size())
            {
                return false;
            }
            ++at;
            ++next;
            continue; // a star before it still stands
        }
        if (pattern[next] == '.')
        {
            at = hasStar ? std::min(text.find('.', at), text.size()) : at;
            if (at < text.size() && text[at] != '.')
            {
                return false;
            }
            at = std::min(at + 1, text.size());
            ++next;
        }
        else
        {
            const std::size_t end = std::min(pattern.find_first_of("*?", next), pattern.size());
            const std::string run = Folded(pattern.substr(next, end - next));
            const std::size_t found = hasStar ? text.find(run, at) : at;
            if (found == std::string::npos || text.compare(found, run.size(), run) != 0)
            {
                return false;
            }
            at = found + run.size();
            next = end;
        }
        hasStar = false;
    }
    return hasStar || at == text.size();
}
} // namespace Keld::Test::Oracle
