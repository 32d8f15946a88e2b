#pragma once

#include <string>
#include <unordered_map>

namespace Keld::MORV::Reader
{
/// Tells which names match a wildcard pattern, and remembers its answers for long names: in a damaged tree very many
/// entries can share one name of megabytes, of which each would be looked through anew.
class NameMatches
{
public:
    /// \param name    must stay where it is, and as it is, for as long as this object is asked.
    /// \param pattern the same with every call.
    bool Matches(const char *name, const std::string &pattern);

private:
    std::unordered_map<const char *, bool> mLongNames; ///< at most one for each such name of a tree
};
} // namespace Keld::MORV::Reader
