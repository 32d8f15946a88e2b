#pragma once

#include "Tools/Common/Glob.h"
#include "Tools/TreeWriter/PackRequest.h"

#include <string>
#include <vector>

namespace Keld::TreeWriter
{
/// The rules of a request, and what became of each.
class RuleBook
{
public:
    /// Throws TreeError for a pattern that cannot be meant.
    explicit RuleBook(const std::vector<StorageRule> &rules);

    /// The first rule that matches a file, or null.
    const StorageRule *Find(const std::string &path);

    /// A sentence for each rule that decided about no file found so far: since none matches, or since earlier rules
    /// match all that it does.
    std::vector<std::string> Complaints() const;

private:
    struct Entry
    {
        const StorageRule *rule;
        Common::Glob glob;
        uint64 decided = 0;
        const Entry *shadow = nullptr; ///< an earlier rule that took a file from it
    };

    std::vector<Entry> mEntries;
};
} // namespace Keld::TreeWriter
