#include "Tools/TreeReader/Release.h"

#include "KeldFoundation/CStd/PathLimit.h"
#include "KeldMorvIO/listing/ManifestFileIterator.h"

#include <set>

namespace Keld::TreeReader
{
Release::Release(std::string directory, std::shared_ptr<const ManifestTree> tree, const Shared &shared)
    : mDirectory(std::move(directory)), mTree(std::move(tree)), mPlaces(*mTree, shared)
{
}

const LookupIndex &Release::GetListedIndex() const
{
    std::call_once(mListedIndexMade,
                   [this]
                   {
                       mListedIndex = std::make_unique<const LookupIndex>(*mTree, 0);
                   });
    return *mListedIndex;
}

const LookupIndex &Release::GetPresentIndex() const
{
    std::call_once(mPresentIndexMade,
                   [this]
                   {
                       const auto missing = static_cast<uint32>(GetMissing(1).size());
                       mPresentIndex = std::make_unique<const LookupIndex>(*mTree, missing);
                   });
    return *mPresentIndex;
}

/// A path that means one entry needs no more than that entry. Only where several have one path, as in a damaged
/// manifest, or where accidents of the hash count, do the library's own buckets decide.
EntryIndex Release::Find(const std::string &path) const
{
    if (path.size() >= PathBufferSize || path.starts_with('/'))
    {
        return NoEntry;
    }
    if (mTree->HasOddities())
    {
        return FindExactly(path);
    }
    EntryIndex found = NoEntry;
    bool isUnique = true;
    GetListedIndex().ForEachMatch(path,
                                  [&](EntryIndex entry)
                                  {
                                      isUnique = found == NoEntry;
                                      found = isUnique ? entry : found;
                                      return isUnique;
                                  });
    if (!isUnique)
    {
        return FindExactly(path);
    }
    return found != NoEntry && CanBeServed(found) ? found : NoEntry;
}

EntryIndex Release::FindExactly(const std::string &path) const
{
    EntryIndex found = NoEntry;
    GetPresentIndex().ForEachMatch(path,
                                   [&](EntryIndex entry)
                                   {
                                       const bool counts = CanBeServed(entry);
                                       found = counts ? entry : NoEntry;
                                       return !counts;
                                   });
    return found;
}

std::vector<EntryIndex> Release::FindListed(const std::string &path) const
{
    std::vector<EntryIndex> found;
    if (path.size() < PathBufferSize && !path.starts_with('/'))
    {
        GetListedIndex().ForEachMatch(path,
                                      [&](EntryIndex entry)
                                      {
                                          found.push_back(entry);
                                          return true;
                                      });
    }
    return found;
}

EntryIndex Release::FindEvery(const std::string &path, std::vector<EntryIndex> &others) const
{
    others = FindListed(path);
    const bool isPlain = others.size() == 1 && !mTree->HasOddities();
    const EntryIndex found = !isPlain ? Find(path) : CanBeServed(others.front()) ? others.front() : NoEntry;
    std::erase(others, found);
    return found;
}

Result<StoredFile> Release::Locate(EntryIndex file) const
{
    return Locate(file, mTree->GetPath(file));
}

Fault Release::ExplainMissing(EntryIndex file) const
{
    const Result<StoredFile> location = Locate(file);
    return location ? Fault{FaultKind::ReadError, mTree->GetPath(file),
                            "was not found a moment ago, though it is there now: try again"}
                    : location.GetFault();
}

std::vector<EntryIndex> Release::GetMissing(unsigned threadCount) const
{
    SettleAll(threadCount);
    std::vector<EntryIndex> missing;
    for (uint32 number = 0; number < mTree->GetFileCount(); ++number)
    {
        const EntryIndex file = mTree->GetFileEntry(number);
        if (!IsPresent(file))
        {
            missing.push_back(file);
        }
    }
    return missing;
}

/// Plain files are asked for first: for one that an archive holds, indexes are read.
bool Release::HasAnyFile() const
{
    for (const bool isArchived : {false, true})
    {
        for (uint32 number = 0; number < mTree->GetFileCount(); ++number)
        {
            const bool isOfThese = MORV::Reader::IsArchivedFile(mTree->GetTables().GetFile(number).flags) == isArchived;
            if (isOfThese && IsPresent(mTree->GetFileEntry(number)))
            {
                return true;
            }
        }
    }
    return false;
}

std::vector<MorvVersion> Release::GetArchiveVersions() const
{
    std::set<MorvVersion> versions;
    for (uint32 number = 0; number < mTree->GetFileCount(); ++number)
    {
        const auto &fields = mTree->GetTables().GetFile(number);
        if (mTree->IsHeld(mTree->GetFileEntry(number)) && MORV::Reader::IsArchivedFile(fields.flags))
        {
            versions.insert(fields.version);
        }
    }
    return {versions.begin(), versions.end()};
}
} // namespace Keld::TreeReader
