#include "Tools/TreeChecker/ContentCheck.h"

#include "Tools/Common/ParallelWork.h"
#include "Tools/TreeReader/ContentReader.h"

#include "KeldMorvIO/blocks/CompressedFormat.h"

#include <algorithm>
#include <memory>
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
constexpr uint64 BytesAtOnce = 4 << 20;
constexpr uint_size UnitsAtOnce = 256;

/// Readers for whoever needs one: each keeps its buffers from use to use.
class ReaderPool
{
public:
    std::unique_ptr<ContentReader> Take()
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        if (mFree.empty())
        {
            return std::make_unique<ContentReader>();
        }
        std::unique_ptr<ContentReader> reader = std::move(mFree.back());
        mFree.pop_back();
        return reader;
    }

    void Give(std::unique_ptr<ContentReader> reader)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mFree.push_back(std::move(reader));
    }

private:
    std::mutex mMutex; ///< guards mFree
    std::vector<std::unique_ptr<ContentReader>> mFree;
};

class ContentCheck
{
public:
    ContentCheck(const StoredFiles &files, const ContentCheckOptions &options, CheckReport &report)
        : mFiles(files), mOptions(options), mReport(report)
    {
    }

    void Run(const std::vector<StoredUnit> &units);

private:
    void CheckUnit(ContentReader &reader, const StoredUnit &unit);
    void CheckSkippedBytes(const StoredUnit &unit);

    const StoredFiles &mFiles;
    const ContentCheckOptions &mOptions;
    ReaderPool mReaders;
    std::mutex mMutex; ///< guards mReport
    CheckReport &mReport;
};

void ContentCheck::Run(const std::vector<StoredUnit> &units)
{
    std::vector<std::pair<uint_size, uint_size>> stretches; // begin and end
    uint64 bytes = 0;
    for (uint_size index = 0; index < units.size(); ++index)
    {
        const bool isFull =
            bytes >= BytesAtOnce || (!stretches.empty() && index - stretches.back().first >= UnitsAtOnce);
        if (stretches.empty() || isFull)
        {
            stretches.emplace_back(index, index);
            bytes = 0;
        }
        stretches.back().second = index + 1;
        bytes += mFiles.GetFields(units[index].front()).size;
    }
    Common::ForEachInParallel(mOptions.threadCount, stretches.size(),
                              [&](std::size_t stretch)
                              {
                                  std::unique_ptr<ContentReader> reader = mReaders.Take();
                                  for (uint_size index = stretches[stretch].first; index < stretches[stretch].second;
                                       ++index)
                                  {
                                      CheckUnit(*reader, units[index]);
                                  }
                                  mReaders.Give(std::move(reader));
                              });
}

void ContentCheck::CheckUnit(ContentReader &reader, const StoredUnit &unit)
{
    mOptions.checkpoint();
    const StoredUse &use = unit.front();
    const auto failure = reader.Read(mFiles.GetRelease(use), use.file, use.stored, TreeReader::ReadOptions(),
                                     [this](std::string_view bytes)
                                     {
                                         mOptions.advance(bytes.size());
                                         mOptions.checkpoint();
                                     });
    if (failure)
    {
        Finding finding = mFiles.MakeFinding(unit, *failure);
        const std::lock_guard<std::mutex> lock(mMutex);
        mReport.faults.push_back(std::move(finding));
    }
    else if (use.stored.compression == TreeReader::Compression::Lzma)
    {
        CheckSkippedBytes(unit);
    }
}

/// The LZMA form states the size of its content, and no reader looks at it.
void ContentCheck::CheckSkippedBytes(const StoredUnit &unit)
{
    const StoredUse &use = unit.front();
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
