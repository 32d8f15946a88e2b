#include "Tools/TreeChecker/TreeCheck.h"

#include "Tools/TreeChecker/ArchiveCheck.h"
#include "Tools/TreeChecker/ContentCheck.h"
#include "Tools/TreeChecker/ManifestCheck.h"
#include "Tools/TreeChecker/ReleaseSet.h"
#include "Tools/TreeChecker/StoredFiles.h"
#include "Tools/TreeChecker/StrayFiles.h"
#include "Tools/TreeReader/ShipListNames.h"
#include "Tools/TreeReader/TreeText.h"

#include "KeldMorvIO/TreeWords.h"

#include <algorithm>
#include <map>

namespace Keld::TreeChecker
{
using TreeReader::Archive;
using TreeReader::Fault;
using TreeReader::FaultKind;
using TreeReader::ReleaseName;
using TreeReader::Result;
using TreeReader::Tree;
using TreeReader::VersionArchives;

namespace
{
/// One run over one tree.
class TreeCheck
{
public:
    TreeCheck(Tree &tree, const CheckOptions &options, bool isWholeTree)
        : mTree(tree), mOptions(options), mIsWholeTree(isWholeTree), mReleases(tree, mReport),
          mFiles(mReleases.GetReleases())
    {
    }

    CheckReport Run(const std::vector<ReleaseName> &names, const std::vector<Fault> &faults);

private:
    void FindArchives();
    void CheckIndexes();
    void CheckSpelling();
    void CheckStored();
    void FindStrays();

    Tree &mTree;
    const CheckOptions &mOptions;
    const bool mIsWholeTree; ///< only then does what nothing refers to mean anything
    CheckReport mReport;
    ReleaseSet mReleases;
    StoredFiles mFiles;
    std::map<std::string, std::pair<const VersionArchives *, std::vector<uint32>>> mVersions; ///< by directory
};

CheckReport TreeCheck::Run(const std::vector<ReleaseName> &names, const std::vector<Fault> &faults)
{
    for (const Fault &fault : faults)
    {
        mReport.AddFault({fault, {}, {}, {}, {}});
    }
    for (const ReleaseName &name : names)
    {
        mOptions.checkpoint();
        mReleases.Add(name);
    }
    for (const CheckedRelease &checked : mReleases.GetReleases())
    {
        CheckManifest(checked, mReport);
    }
    FindArchives();
    mFiles.Collect(mOptions.threadCount, mOptions.checkpoint, mReport);
    CheckIndexes();
    CheckSpelling();
    CheckStored();
    if (mIsWholeTree)
    {
        FindStrays();
    }
    mReport.Sort();
    return std::move(mReport);
}

/// The archives of a version are shared by all releases that need them.
void TreeCheck::FindArchives()
{
    for (const CheckedRelease &checked : mReleases.GetReleases())
    {
        for (const MorvVersion version : checked.release->GetArchiveVersions())
        {
            const VersionArchives &archives = checked.release->GetArchives(version);
            auto &[known, users] = mVersions[archives.GetDirectory()];
            known = &archives;
            MergeUsers(users, checked.users);
        }
    }
}

/// A version without archives is told by the files that need one.
void TreeCheck::CheckIndexes()
{
    std::map<const Archive *, std::vector<bool>> usedRecords;
    for (const StoredUnit &unit : mFiles.GetUnits())
    {
        for (const StoredUse &use : unit)
        {
            if (use.stored.archive != nullptr)
            {
                std::vector<bool> &used = usedRecords[use.stored.archive];
                used.resize(use.stored.archive->GetIndex().GetEntryCount());
                used[use.stored.record] = true;
            }
        }
    }
    for (const auto &[directory, entry] : mVersions)
    {
        const auto &[archives, users] = entry;
        for (const Fault &fault : archives->GetFaults())
        {
            if (fault.path != directory)
            {
                mReport.faults.push_back({fault, {}, TreeReader::Storage::Archive, fault.path, users});
            }
        }
        for (const auto &archive : archives->GetArchives())
        {
            mOptions.checkpoint();
            ++mReport.archives;
            std::vector<bool> used = usedRecords[archive.get()];
            used.resize(archive->GetIndex().GetEntryCount());
            CheckArchive(*archive, mTree.GetFiles(), {users, std::move(used), mIsWholeTree}, mReport);
        }
    }
}

/// The library compares paths without regard to case, and so does not mind. But where only few paths of an archive are
/// spelled differently by the manifest, one of both was changed; a writer with a spelling of its own changes most.
void TreeCheck::CheckSpelling()
{
    struct Count
    {
        uint64 uses = 0;
        std::vector<const StoredUse *> different;
    };
    std::map<const Archive *, Count> counts;
    for (const StoredUnit &unit : mFiles.GetUnits())
    {
        const Archive *archive = unit.front().stored.archive;
        if (archive == nullptr)
        {
            continue;
        }
        Count &count = counts[archive];
        count.uses += unit.size();
        for (const StoredUse &use : unit)
        {
            const char *spelled = archive->GetIndex().GetEntryPath(use.stored.record);
            if (spelled != nullptr && mFiles.GetPath(use) != spelled)
            {
                count.different.push_back(&use);
            }
        }
    }
    for (const auto &[archive, count] : counts)
    {
        const bool isStyle = count.different.size() * 2 > count.uses;
        if (isStyle)
        {
            mReport.notes.push_back({{FaultKind::OtherSpelling, archive->GetIndexPath(),
                                      "spells most paths in another case than the manifests"},
                                     {},
                                     TreeReader::Storage::Archive,
                                     archive->GetIndexPath(),
                                     {}});
            continue;
        }
        for (const StoredUse *use : count.different)
        {
            mReport.AddFault(mFiles.MakeFinding(
                {use, 1}, {FaultKind::OtherSpelling, archive->GetIndexPath(),
                           "spells a path in another case than the manifest: one of both was changed"}));
        }
    }
}

void TreeCheck::CheckStored()
{
    std::vector<StoredUnit> units = mFiles.CheckPlaces(mOptions.decode, mReport);
    for (const StoredUnit &unit : mFiles.GetUnits())
    {
        ++mReport.ranges;
        mReport.storedBytes += unit.front().stored.storedSize;
        mReport.contentBytes += mFiles.GetFields(unit.front()).size;
    }
    if (mOptions.decode)
    {
        mOptions.begin(mReport.contentBytes);
        CheckContents(mFiles, std::move(units), {mOptions.threadCount, mOptions.advance, mOptions.checkpoint}, mReport);
    }
}

void TreeCheck::FindStrays()
{
    std::vector<std::string> referred;
    for (const StoredUnit &unit : mFiles.GetUnits())
    {
        referred.push_back(unit.front().stored.path);
        if (unit.front().stored.archive != nullptr)
        {
            referred.push_back(unit.front().stored.archive->GetIndexPath());
        }
    }
    referred.erase(std::unique(referred.begin(), referred.end()), referred.end());
    for (const auto &[directory, entry] : mVersions)
    {
        for (const Fault &fault : entry.first->GetFaults())
        {
            referred.push_back(fault.path);
            referred.push_back(fault.path + ".dat");
        }
    }
    for (const ReleaseName &name : mReport.releases)
    {
        const std::string directory = name.isSolution ? mTree.GetSolutionDirectory(name.name, name.version)
                                                      : mTree.GetReleaseDirectory(name.name, name.version);
        for (const char *manifest : {MORV::Reader::ReleaseManifestName, MORV::Reader::SolutionManifestName,
                                     MORV::Reader::ConfigurationManifestName})
        {
            const bool isOfSolution = manifest != MORV::Reader::ReleaseManifestName;
            if (isOfSolution == name.isSolution)
            {
                referred.push_back(directory + "/" + manifest);
            }
        }
        referred.push_back(directory + "/" + TreeReader::ShipListName);
        referred.push_back(directory + "/" + TreeReader::ShipListSignatureName);
    }
    std::transform(referred.begin(), referred.end(), referred.begin(), TreeReader::ShortenPath);
    FindStrayFiles(mTree.GetRoot(), std::move(referred), mReport);
}

/// What cannot be listed is a fault, and the rest is checked all the same.
std::vector<ReleaseName> ListAllReleases(const Tree &tree, std::vector<Fault> &faults)
{
    const auto takeFrom = [&faults]<class Items>(Result<Items> listed)
    {
        if (!listed)
        {
            faults.push_back(listed.GetFault());
        }
        return listed ? std::move(*listed) : Items();
    };
    std::vector<ReleaseName> names;
    for (const bool isSolution : {false, true})
    {
        for (const std::string &owner : takeFrom(isSolution ? tree.ListSolutions(&faults) : tree.ListProjects(&faults)))
        {
            for (const MorvVersion version :
                 takeFrom(isSolution ? tree.ListSolutionReleases(owner, &faults) : tree.ListReleases(owner, &faults)))
            {
                names.push_back({isSolution, owner, version});
            }
        }
    }
    return names;
}
} // namespace

CheckReport CheckTree(Tree &tree, const std::vector<ReleaseName> &names, const CheckOptions &options)
{
    return TreeCheck(tree, options, false).Run(names, {});
}

CheckReport CheckWholeTree(Tree &tree, const CheckOptions &options)
{
    std::vector<Fault> faults;
    const std::vector<ReleaseName> names = ListAllReleases(tree, faults);
    return TreeCheck(tree, options, true).Run(names, faults);
}
} // namespace Keld::TreeChecker
