#pragma once

#include "Tools/Delivery/Fetch/SourceArchives.h"

#include <string>
#include <vector>

namespace Keld::Delivery
{
/// A new archive with just the files of a source's archive that are wanted, made of byte ranges. It stands beside other
/// archives of its version, and lookups find its files as always.
class PartialArchive
{
public:
    /// Whether it pays: what is wanted is at most half of the archive, and may stand together with other files, as LZMA
    /// may not.
    static bool Pays(const SourceArchive &archive, const TreeReader::ManifestTree &tree);

    /// \param archive of the source; must outlive this
    PartialArchive(const SourceArchive &archive, const TreeReader::ManifestTree &tree);

    /// Bytes that come from the source.
    uint64 GetSize() const { return mSize; }

    /// Brings the bytes and writes both files of the new archive into the place; goes on where an earlier run ended.
    /// Throws SourceError with NoRanges where the source gives whole files alone.
    /// \returns the new archive, with the same files wanted of it
    SourceArchive Bring(Source &source, const DownloadPlace &place, const DownloadCalls &calls) const;

private:
    /// A record of the source's archive, by its path.
    struct Record
    {
        std::string path;
        TreeReader::EntryIndex file = TreeReader::NoEntry;
        uint32 offset = 0;
        uint32 size = 0;
    };

    void MergeRanges();
    uint64 NewOffsetOf(const Record &record) const;
    std::string MakeName() const;
    std::string DescribeRanges() const;
    bool BringRanges(Source &source, const std::string &dataPath, const DownloadPlace &place,
                     const DownloadCalls &calls) const;

    const SourceArchive &mArchive;
    std::vector<Record> mRecords;    ///< ascending by offset
    std::vector<ByteRange> mRanges;  ///< of the source's data file, ascending, none touching the next
    std::vector<uint64> mNewOffsets; ///< of the ranges, in the new data file
    uint64 mSize = 0;
};
} // namespace Keld::Delivery
