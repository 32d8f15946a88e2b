#include "Tools/TreeChecker/ContentCheck.h"

#include "Tools/Common/Pool.h"
#include "Tools/TreeReader/DigestQueue.h"

#include "KeldMorvIO/blocks/CompressedFormat.h"

#include <algorithm>
#include <mutex>
#include <unordered_map>

#include <sys/stat.h>

namespace Keld::TreeChecker
{
using TreeReader::ContentReader;
using TreeReader::Fault;
using TreeReader::FaultKind;

namespace
{
// What a thread takes at once: enough to cost nothing, and little enough that all end together.
constexpr uint64 BytesAtOnce = 8 << 20;
constexpr uint_size UnitsAtOnce = 256;

using ContentQueue = TreeReader::DigestQueue<const StoredUnit *>;

class ContentCheck
{
public:
    ContentCheck(const StoredFiles &files, const ContentCheckOptions &options, CheckReport &report)
        : mFiles(files), mOptions(options), mReport(report)
    {
    }

    void Run(const std::vector<StoredUnit> &units);

private:
    void CheckUnit(ContentQueue &queue, const StoredUnit &unit);
    void ReadWithDigest(ContentReader &reader, const StoredUnit &unit);
    void CheckWaiting(ContentQueue &queue);
    void AddFault(const StoredUnit &unit, const Fault &fault);
    void CheckSkippedBytes(const StoredUnit &unit);

    const StoredFiles &mFiles;
    const ContentCheckOptions &mOptions;
    std::mutex mMutex; ///< guards mReport
    CheckReport &mReport;
};

void ContentCheck::Run(const std::vector<StoredUnit> &units)
{
    const std::vector<Common::Stretch> stretches =
        Common::CutIntoStretches(units.size(), {BytesAtOnce, UnitsAtOnce, mOptions.threadCount},
                                 [&](std::size_t index)
                                 {
                                     return uint64{mFiles.GetFields(units[index].front()).size};
                                 });
    Common::ForEachStretchInPlaces<ContentQueue>(
        mOptions.threadCount, stretches,
        [&](ContentQueue &queue, const Common::Stretch &stretch)
        {
            for (uint_size index = stretch.begin; index < stretch.end; ++index)
            {
                CheckUnit(queue, units[index]);
            }
        },
        [this](ContentQueue &queue)
        {
            CheckWaiting(queue);
        });
}

/// A small content waits, decoded, for others to be digested with.
void ContentCheck::CheckUnit(ContentQueue &queue, const StoredUnit &unit)
{
    mOptions.checkpoint();
    const StoredUse &use = unit.front();
    const uint64 size = mFiles.GetFields(use).size;
    if (!ContentQueue::IsSmall(size))
    {
        ReadWithDigest(queue.GetReader(), unit);
        return;
    }
    const auto failure = queue.Add(mFiles.GetRelease(use), use.file, use.stored, &unit);
    mOptions.advance(size);
    if (failure)
    {
        AddFault(unit, *failure);
    }
    if (queue.IsFull())
    {
        CheckWaiting(queue);
    }
}

void ContentCheck::ReadWithDigest(ContentReader &reader, const StoredUnit &unit)
{
    const StoredUse &use = unit.front();
    const auto failure = reader.Read(mFiles.GetRelease(use), use.file, use.stored, TreeReader::ReadOptions(),
                                     [this](std::string_view bytes)
                                     {
                                         mOptions.advance(bytes.size());
                                         mOptions.checkpoint();
                                     });
    if (failure)
    {
        AddFault(unit, *failure);
    }
    else
    {
        CheckSkippedBytes(unit);
    }
}

/// A content with the wrong digest is read once more, by whoever tells that in words.
void ContentCheck::CheckWaiting(ContentQueue &queue)
{
    queue.SettleAll(
        [&](const StoredUnit *unit, std::string_view, bool isRight)
        {
            if (isRight)
            {
                CheckSkippedBytes(*unit);
            }
            else
            {
                ReadWithDigest(queue.GetReader(), *unit);
            }
        });
}

void ContentCheck::AddFault(const StoredUnit &unit, const Fault &fault)
{
    Finding finding = mFiles.MakeFinding(unit, fault);
    const std::lock_guard<std::mutex> lock(mMutex);
    mReport.faults.push_back(std::move(finding));
}

/// The LZMA form states the size of its content, and no reader looks at it.
void ContentCheck::CheckSkippedBytes(const StoredUnit &unit)
{
    const StoredUse &use = unit.front();
    if (use.stored.compression != TreeReader::Compression::Lzma)
    {
        return;
    }
    MORV::Reader::LzmaFileHeader header = {};
    const auto file = mFiles.GetRelease(use).GetFiles().Open(use.stored.path);
    const uint32 size = mFiles.GetFields(use).size;
    if (size == 0 || !file || !(*file)->ReadAt(use.stored.offset, &header, sizeof header))
    {
        return;
    }
    const uint64 stated = uint64{header.contentSizeHigh} << 32 | header.contentSizeLow;
    if (stated != size)
    {
        Finding finding = mFiles.MakeFinding(
            unit, {FaultKind::UnusedData, use.stored.path,
                   "the stored form states " + std::to_string(stated) + " bytes of content and has " +
                       std::to_string(size) + "; nobody reads that number",
                   use.stored.offset + offsetof(MORV::Reader::LzmaFileHeader, contentSizeLow), sizeof(uint64)});
        const std::lock_guard<std::mutex> lock(mMutex);
        mReport.notes.push_back(std::move(finding));
    }
}

/// By number of the file on disk, which is near to the order in which files were laid down, and by place in it.
void SortByDisk(std::vector<StoredUnit> &units)
{
    std::unordered_map<std::string, uint64> numbers;
    struct Place
    {
        uint64 number;
        StoredUnit unit;
    };
    std::vector<Place> places;
    places.reserve(units.size());
    for (const StoredUnit &unit : units)
    {
        const std::string &path = unit.front().stored.path;
        const auto [known, isNew] = numbers.try_emplace(path, 0);
        if (isNew)
        {
            struct stat status = {};
            known->second = stat(path.c_str(), &status) == 0 ? status.st_ino : 0;
        }
        places.push_back({known->second, unit});
    }
    std::stable_sort(places.begin(), places.end(),
                     [](const Place &left, const Place &right)
                     {
                         return left.number < right.number;
                     });
    std::transform(places.begin(), places.end(), units.begin(),
                   [](const Place &place)
                   {
                       return place.unit;
                   });
}
} // namespace

void CheckContents(const StoredFiles &files, std::vector<StoredUnit> units, const ContentCheckOptions &options,
                   CheckReport &report)
{
    SortByDisk(units);
    ContentCheck(files, options, report).Run(units);
}
} // namespace Keld::TreeChecker
