#include "Tools/TreeChecker/ArchiveCheck.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/CStd/Hash.h"
#include "KeldFoundation/CStd/PathLimit.h"
#include "KeldMorvIO/archive/ArchiveFormat.h"

#include <algorithm>
#include <numeric>
#include <tuple>

namespace Keld::TreeChecker
{
using MORV::Reader::ArchiveFile;
using MORV::Reader::ArchiveFileEntry;
using TreeReader::Archive;
using TreeReader::Fault;
using TreeReader::FaultKind;

namespace
{
/// The walk over one index. Faults of one sort are told together: where one word shifts all that stands behind it,
/// every record is wrong.
class ArchiveCheck
{
public:
    ArchiveCheck(const Archive &archive, const ArchiveContext &context, CheckReport &report)
        : mArchive(archive), mIndex(archive.GetIndex()), mContext(context), mReport(report)
    {
    }

    void CheckRecords();
    void CheckOverlaps();
    void CheckUnused(uint64 dataSize);

private:
    using Records = std::vector<uint32>;

    /// "entry 12, and 3 more"
    static std::string NameOf(const Records &records)
    {
        return "entry " + std::to_string(records.front()) +
               (records.size() > 1 ? ", and " + std::to_string(records.size() - 1) + " more" : "");
    }

    Finding MakeFinding(Fault fault, const Records &records) const
    {
        Finding finding{std::move(fault), {}, TreeReader::Storage::Archive, mArchive.GetIndexPath(), mContext.users};
        uint64 bytes = 0;
        for (const uint32 record : records)
        {
            const char *path = mIndex.GetEntryPath(record);
            if (path == nullptr)
            {
                continue;
            }
            finding.files.emplace_back(path, std_strnlen(path, PathBufferSize));
            bytes += finding.files.back().size();
            if (bytes > mIndex.GetImageSize())
            {
                break; // many records share one path: so many names are in no good index
            }
        }
        return finding;
    }

    /// Whether a program can ask for a path. Many records may share one that is huge, and who looks at its end for
    /// each of them does not come to an end himself.
    static bool CanBeAsked(const char *path) { return std_strnlen(path, PathBufferSize) < PathBufferSize; }

    void AddIndexFault(const Records &records, const std::string &text);

    const Archive &mArchive;
    const ArchiveFile &mIndex;
    const ArchiveContext &mContext;
    CheckReport &mReport;
};

void ArchiveCheck::AddIndexFault(const Records &records, const std::string &text)
{
    if (!records.empty())
    {
        Fault fault{FaultKind::BadRecord, mArchive.GetIndexPath(), NameOf(records) + ": " + text,
                    mIndex.GetEntryOffset(records.front()), sizeof(ArchiveFileEntry)};
        mReport.faults.push_back(MakeFinding(std::move(fault), records));
    }
}

void ArchiveCheck::CheckRecords()
{
    Records withoutPath;
    Records wrongHash;
    Records outOfOrder;
    Records twice;
    for (uint32 record = 0; record < mIndex.GetEntryCount(); ++record)
    {
        const ArchiveFileEntry &entry = *mIndex.GetEntry(record);
        const char *path = mIndex.GetEntryPath(record);
        if (path == nullptr)
        {
            withoutPath.push_back(record);
            continue;
        }
        if (!CanBeAsked(path))
        {
            continue;
        }
        if (HashName(path) != entry.hash)
        {
            wrongHash.push_back(record);
        }
        const char *before = record > 0 ? mIndex.GetEntryPath(record - 1) : nullptr;
        if (before == nullptr)
        {
            continue;
        }
        const uint32 hashBefore = mIndex.GetEntry(record - 1)->hash;
        const int order = hashBefore != entry.hash ? (hashBefore < entry.hash ? -1 : 1) : std_stricmp(before, path);
        if (order > 0)
        {
            outOfOrder.push_back(record);
        }
        else if (order == 0)
        {
            twice.push_back(record);
        }
    }
    AddIndexFault(withoutPath, "names a path that the index does not have");
    AddIndexFault(wrongHash, "its hash is not that of its path, so that the library does not find it");
    AddIndexFault(outOfOrder, "stands before an entry that belongs in front of it, so that searches go wrong");
    AddIndexFault(twice, "has the path of the entry before, which hides it");
}

/// Several paths may share one stored form, whole.
void ArchiveCheck::CheckOverlaps()
{
    std::vector<uint32> order(mIndex.GetEntryCount());
    std::iota(order.begin(), order.end(), 0U);
    std::erase_if(order,
                  [this](uint32 record)
                  {
                      return mIndex.GetEntry(record)->size == 0;
                  });
    const auto placeOf = [this](uint32 record)
    {
        const ArchiveFileEntry &entry = *mIndex.GetEntry(record);
        return std::make_pair(uint64{entry.dataOffset}, uint64{entry.size});
    };
    std::sort(order.begin(), order.end(),
              [&](uint32 left, uint32 right)
              {
                  return placeOf(left) < placeOf(right);
              });
    uint32 reaching = 0; // the record among those before that reaches farthest
    uint64 end = 0;
    for (const uint32 record : order)
    {
        const auto [offset, size] = placeOf(record);
        if (offset < end && placeOf(record) != placeOf(reaching))
        {
            Fault fault{FaultKind::Overlap, mArchive.GetDataPath(),
                        "two files share bytes " + std::to_string(offset) + " to " +
                            std::to_string(std::min(end, offset + size)) + " of their stored forms",
                        offset, std::min(end, offset + size) - offset};
            mReport.faults.push_back(MakeFinding(std::move(fault), {reaching, record}));
        }
        if (offset + size > end)
        {
            end = offset + size;
            reaching = record;
        }
    }
}

void ArchiveCheck::CheckUnused(uint64 dataSize)
{
    Records unused;
    uint64 bytes = 0;
    for (uint32 record = 0; record < mIndex.GetEntryCount(); ++record)
    {
        if (!mContext.usedRecords[record])
        {
            unused.push_back(record);
            bytes += mIndex.GetEntry(record)->size;
        }
    }
    if (!unused.empty())
    {
        Fault fault{FaultKind::NotReferred, mArchive.GetIndexPath(),
                    std::to_string(unused.size()) + " of " + std::to_string(mIndex.GetEntryCount()) +
                        " entries are used by no release: " + std::to_string(bytes) + " of " +
                        std::to_string(dataSize) + " bytes"};
        Finding finding = MakeFinding(std::move(fault), unused);
        finding.users.clear();
        mReport.notes.push_back(std::move(finding));
    }
}
} // namespace

void CheckArchive(const Archive &archive, TreeReader::DiskFileCache &files, const ArchiveContext &context,
                  CheckReport &report)
{
    ArchiveCheck check(archive, context, report);
    check.CheckRecords();
    check.CheckOverlaps();
    if (context.tellUnused)
    {
        const auto data = files.Open(archive.GetDataPath());
        check.CheckUnused(data ? (*data)->GetSize() : 0);
    }
}
} // namespace Keld::TreeChecker
