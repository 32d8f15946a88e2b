#pragma once

#include "Tools/TreeChecker/ReleaseSet.h"

#include "Tools/TreeReader/StoredFile.h"

#include <functional>
#include <span>
#include <string>
#include <vector>

namespace Keld::TreeChecker
{
/// One file of one release, with the place of its bytes.
struct StoredUse
{
    TreeReader::StoredFile stored;
    uint32 release = 0; ///< place in the releases under check
    TreeReader::EntryIndex file = TreeReader::NoEntry;
};

/// All uses of the same bytes that expect the same content of them: what has to be looked at once.
using StoredUnit = std::span<const StoredUse>;

/// Where the files of all releases lie on disk, gathered so that each stored range is met once. What is missing goes
/// into the report.
class StoredFiles
{
public:
    /// \param releases must outlive this.
    explicit StoredFiles(const std::vector<CheckedRelease> &releases) : mReleases(releases) {}

    /// Looks every file up, on several threads.
    void Collect(unsigned threadCount, const std::function<void()> &checkpoint, CheckReport &report);

    /// Units in the order of places on disk, those of one archive in a row.
    const std::vector<StoredUnit> &GetUnits() const { return mUnits; }

    const TreeReader::Release &GetRelease(const StoredUse &use) const { return *mReleases[use.release].release; }
    const MORV::Reader::FileTableFields &GetFields(const StoredUse &use) const
    {
        return GetRelease(use).GetTree().GetFields(use.file);
    }
    std::string GetPath(const StoredUse &use) const { return GetRelease(use).GetTree().GetPath(use.file); }

    /// A fault of a unit, with all paths and releases that it concerns.
    Finding MakeFinding(const StoredUnit &unit, TreeReader::Fault fault) const;

    /// Tells sizes and places that contradict each other, without reading what is stored. The units without such a
    /// fault are those worth reading; where nobody will read them, contents that contradict each other are told too.
    std::vector<StoredUnit> CheckPlaces(bool willRead, CheckReport &report) const;

private:
    struct Missing
    {
        uint32 release;
        TreeReader::EntryIndex file;
        TreeReader::Fault fault;
    };
    struct Part
    {
        std::vector<StoredUse> uses;
        std::vector<Missing> missing;
    };

    Part CollectSome(uint32 release, uint32 firstFile, uint32 endFile) const;
    void AddMissing(std::vector<Missing> missing, CheckReport &report) const;
    void MakeUnits();
    int ComparePlaces(const StoredUse &left, const StoredUse &right) const;
    int CompareUses(const StoredUse &left, const StoredUse &right) const;
    TreeReader::Failure CheckPlace(const StoredUse &use, uint64 dataSize) const;
    TreeReader::Failure CheckAgreement(const StoredUnit &first, const StoredUnit &second) const;

    const std::vector<CheckedRelease> &mReleases;
    std::vector<StoredUse> mUses; ///< sorted; the units are pieces of it
    std::vector<StoredUnit> mUnits;
};
} // namespace Keld::TreeChecker
