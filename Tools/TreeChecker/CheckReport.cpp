#include "Tools/TreeChecker/CheckReport.h"

#include <algorithm>
#include <iterator>
#include <tuple>

namespace Keld::TreeChecker
{
namespace
{
bool ComesBefore(const Finding &left, const Finding &right)
{
    return std::tie(left.fault.path, left.fault.offset, left.fault.kind, left.files, left.fault.text) <
           std::tie(right.fault.path, right.fault.offset, right.fault.kind, right.files, right.fault.text);
}
} // namespace

void CheckReport::AddFault(Finding finding)
{
    const FaultKey key(finding.fault.kind, finding.fault.path, finding.fault.text, finding.files);
    const auto [place, isNew] = mAdded.try_emplace(key, faults.size());
    if (isNew)
    {
        faults.push_back(std::move(finding));
    }
    else
    {
        MergeUsers(faults[place->second].users, finding.users);
    }
}

void CheckReport::Sort()
{
    mAdded.clear(); // its places hold no more
    std::sort(faults.begin(), faults.end(), ComesBefore);
    std::sort(notes.begin(), notes.end(), ComesBefore);
}

void MergeUsers(std::vector<uint32> &users, const std::vector<uint32> &more)
{
    std::vector<uint32> merged;
    std::set_union(users.begin(), users.end(), more.begin(), more.end(), std::back_inserter(merged));
    users = std::move(merged);
}
} // namespace Keld::TreeChecker
