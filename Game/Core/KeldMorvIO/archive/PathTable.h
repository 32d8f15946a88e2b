#pragma once

#include "KeldMorvIO/archive/ArchiveFile.h"

#include <span>
#include <vector>

namespace Keld::MORV::Reader
{
/// Finds a path among the records of all archives of a version, in one look at a table of this object's own: HashName,
/// by which an index is sorted, is the same for hundreds of paths that end alike.
///
/// It gives what asking archive after archive gives where each index is sorted as it should be: by hash, and by name
/// among those of one hash. Where one is not, or where too many records would share a place of the table, nothing is
/// known, and the archives have to be asked.
class PathTable
{
public:
    /// The archives must stay as they are for as long as this is asked.
    explicit PathTable(const std::vector<const ArchiveFile *> &archives);

    bool IsKnown() const { return !mSlots.empty(); }

    /// The first archive that gives a range for the path, or null. Only while known.
    /// \param nameHash its HashName.
    /// \param pathHash its HashWholePath.
    const ArchiveFile *Find(ArchivePath &path, uint32 nameHash, uint32 pathHash, uint32 &offset, uint32 &size) const;

    /// Has the processor fetch what `Find` will look at for each path, given by its HashWholePath: for lookups that
    /// follow soon. Of the paths behind the first 16 nothing is fetched. Only while known.
    void FetchAhead(std::span<const uint32> pathHashes) const;

private:
    struct Slot
    {
        uint32 pathHash = 0;
        uint32 record = Empty; ///< counted through all archives

        static constexpr uint32 Empty = 0xFFFFFFFF;
    };

    struct Place
    {
        const ArchiveFile *archive;
        uint32 index;
    };

    bool Add(const ArchiveFile &archive, uint32 firstRecord);
    bool Insert(const Slot &record);
    Place PlaceOf(uint32 record) const;
    uint_size HomeOf(uint32 pathHash) const { return static_cast<uint_size>(uint64{pathHash} * mSlots.size() >> 32); }
    uint_size Behind(uint_size slot) const { return slot + 1 < mSlots.size() ? slot + 1 : 0; }

    const std::vector<const ArchiveFile *> mArchives;
    std::vector<uint32> mFirstRecords; ///< by archive
    LargeVector<Slot> mSlots;          ///< half as many again as there are records; a full one sends on to the next
};
} // namespace Keld::MORV::Reader
