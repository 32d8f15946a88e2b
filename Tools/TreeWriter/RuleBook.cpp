#include "Tools/TreeWriter/RuleBook.h"

#include "Tools/TreeReader/TreeError.h"

namespace Keld::TreeWriter
{
RuleBook::RuleBook(const std::vector<StorageRule> &rules)
{
    mEntries.reserve(rules.size());
    for (const StorageRule &rule : rules)
    {
        try
        {
            mEntries.push_back({&rule, Common::Glob(rule.glob)});
        }
        catch (const Common::GlobError &error)
        {
            throw TreeReader::TreeError(error.what());
        }
    }
}

const StorageRule *RuleBook::Find(const std::string &path)
{
    Entry *first = nullptr;
    for (Entry &entry : mEntries)
    {
        const bool isOpen = first == nullptr || (entry.decided == 0 && entry.shadow == nullptr);
        if (!isOpen || !entry.glob.Matches(path))
        {
            continue;
        }
        if (first == nullptr)
        {
            first = &entry;
            ++entry.decided;
        }
        else
        {
            entry.shadow = first;
        }
    }
    return first != nullptr ? first->rule : nullptr;
}

std::vector<std::string> RuleBook::Complaints() const
{
    std::vector<std::string> complaints;
    for (const Entry &entry : mEntries)
    {
        if (entry.decided == 0)
        {
            complaints.push_back("the rule \"" + entry.rule->glob + "\" " +
                                 (entry.shadow == nullptr
                                      ? "matches no file"
                                      : "decides nothing: earlier rules, as \"" + entry.shadow->rule->glob +
                                            "\", match all that it does"));
        }
    }
    return complaints;
}
} // namespace Keld::TreeWriter
