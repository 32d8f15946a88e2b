#pragma once

#include <map>
#include <utility>

namespace Keld::MORV::Reader
{
/// Compares names without regard to case, and remembers its answers about long ones: in a damaged tree very many
/// entries can share one name of megabytes, of which each would be looked through anew.
class NameComparisons
{
public:
    /// As std_stricmp.
    /// \param name,other must stay where they are, and as they are, for as long as this object is asked.
    int Compare(const char *name, const char *other);

private:
    std::map<std::pair<const char *, const char *>, int> mLongNames;
};
} // namespace Keld::MORV::Reader
