#include "Tools/Delivery/Fetch/PartialArchive.h"

#include "Tools/Delivery/Arrival/FileWriting.h"
#include "Tools/Delivery/Arrival/RangeProgress.h"
#include "Tools/TreeReader/ContentDigest.h"
#include "Tools/TreeReader/Storage.h"
#include "Tools/TreeWriter/ArchiveWriter.h"

#include "KeldFoundation/CStd/Hash.h"
#include "KeldMorvIO/archive/ArchiveFormat.h"

#include <algorithm>

namespace Keld::Delivery
{
using TreeReader::ManifestTree;

bool PartialArchive::Pays(const SourceArchive &archive, const ManifestTree &tree)
{
    const bool hasLzma = std::any_of(archive.wanted.begin(), archive.wanted.end(),
                                     [&tree](const WantedRecord &wanted)
                                     {
                                         return TreeReader::CompressionOf(tree.GetFields(wanted.file).flags) ==
                                                TreeReader::Compression::Lzma;
                                     });
    if (archive.isHere || hasLzma)
    {
        return false;
    }
    const uint64 size = PartialArchive(archive, tree).GetSize();
    return size != 0 && size <= archive.extent / 2; // an archive of empty files alone is none for readers
}

PartialArchive::PartialArchive(const SourceArchive &archive, const ManifestTree &tree) : mArchive(archive)
{
    for (const WantedRecord &wanted : archive.wanted)
    {
        Record record{tree.GetPath(wanted.file), wanted.file};
        archive.index->GetRange(wanted.record, record.offset, record.size);
        mRecords.push_back(std::move(record));
    }
    std::sort(mRecords.begin(), mRecords.end(),
              [](const Record &left, const Record &right)
              {
                  return left.offset != right.offset ? left.offset < right.offset : left.path < right.path;
              });
    MergeRanges();
}

void PartialArchive::MergeRanges()
{
    for (const Record &record : mRecords)
    {
        if (record.size == 0)
        {
            continue;
        }
        const uint64 end = uint64{record.offset} + record.size;
        if (!mRanges.empty() && record.offset <= mRanges.back().offset + mRanges.back().size)
        {
            ByteRange &last = mRanges.back();
            const uint64 more = std::max(end, last.offset + last.size) - (last.offset + last.size);
            last.size += more;
            mSize += more;
            continue;
        }
        mNewOffsets.push_back(mSize);
        mRanges.push_back({record.offset, record.size});
        mSize += record.size;
    }
}

uint64 PartialArchive::NewOffsetOf(const Record &record) const
{
    if (record.size == 0)
    {
        return 0;
    }
    const auto behind = std::upper_bound(mRanges.begin(), mRanges.end(), uint64{record.offset},
                                         [](uint64 offset, const ByteRange &range)
                                         {
                                             return offset < range.offset;
                                         });
    const auto range = static_cast<std::size_t>(behind - mRanges.begin()) - 1;
    return mNewOffsets[range] + record.offset - mRanges[range].offset;
}

/// The same for the same content, so that fetching twice gives one archive, and no other archive has it.
std::string PartialArchive::MakeName() const
{
    std::string content = mArchive.dataPath;
    for (const Record &record : mRecords)
    {
        content += '\0' + record.path;
    }
    return "partial-" + TreeReader::DigestText(TreeReader::DigestOf(content));
}

/// Differs where another part of the source's file is meant.
std::string PartialArchive::DescribeRanges() const
{
    std::string text = mArchive.dataPath;
    for (const ByteRange &range : mRanges)
    {
        text += " " + std::to_string(range.offset) + "+" + std::to_string(range.size);
    }
    return TreeReader::DigestText(TreeReader::DigestOf(text));
}

/// \returns whether some of the bytes are of an earlier run
bool PartialArchive::BringRanges(Source &source, const std::string &dataPath, const DownloadPlace &place,
                                 const DownloadCalls &calls) const
{
    std::vector<uint64> sizes;
    for (const ByteRange &range : mRanges)
    {
        sizes.push_back(range.size);
    }
    RangeProgress progress(place, dataPath, sizes, DescribeRanges());
    calls.found(progress.GetFound());
    std::vector<ByteRange> lacking;
    std::vector<std::size_t> numbers; // of the ranges that lack bytes
    for (std::size_t range = 0; range < mRanges.size(); ++range)
    {
        const uint64 done = progress.GetDone(range);
        if (done < mRanges[range].size)
        {
            lacking.push_back({mRanges[range].offset + done, mRanges[range].size - done});
            numbers.push_back(range);
        }
    }
    const Common::Descriptor data = place.GetArrival().OpenPartial(dataPath);
    const RangeSink sink = [&](std::size_t number, std::string_view bytes)
    {
        calls.checkpoint();
        const std::size_t range = numbers[number];
        WriteAllAt(data.Get(), mNewOffsets[range] + progress.GetDone(range), bytes, "what comes of " + dataPath);
        progress.Note(range, bytes.size());
        calls.advance(bytes.size());
    };
    if (!lacking.empty())
    {
        source.ReadRanges(mArchive.dataPath, lacking, sink);
    }
    return progress.GetFound() != 0;
}

SourceArchive PartialArchive::Bring(Source &source, const DownloadPlace &place, const DownloadCalls &calls) const
{
    SourceArchive made;
    made.indexPath = mArchive.indexPath.substr(0, mArchive.indexPath.rfind('/') + 1) + MakeName() + "." +
                     MORV::Reader::ArchiveIndexExtension;
    made.dataPath = made.indexPath + "." + MORV::Reader::ArchiveDataExtension;
    made.extent = mSize;
    if (!place.GetArrival().IsAccepted(made.dataPath))
    {
        made.isResumed = BringRanges(source, made.dataPath, place, calls);
    }
    std::vector<TreeWriter::ArchivedFile> files;
    for (const Record &record : mRecords)
    {
        files.push_back({record.path, static_cast<uint32>(NewOffsetOf(record)), record.size});
    }
    const std::string index = TreeWriter::BuildArchiveIndex(files);
    place.Write(made.indexPath, index);
    LargeVector<char> image(index.begin(), index.end());
    auto opened = std::make_unique<MORV::Reader::ArchiveFile>();
    opened->Adopt(image);
    for (const Record &record : mRecords)
    {
        const int32 number = opened->FindEntryIndex(HashName(record.path.c_str()), record.path.c_str());
        made.wanted.push_back({record.file, static_cast<uint32>(number)});
    }
    made.index = std::move(opened);
    return made;
}
} // namespace Keld::Delivery
