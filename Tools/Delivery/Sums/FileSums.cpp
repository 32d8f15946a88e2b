#include "Tools/Delivery/Sums/FileSums.h"

#include "Tools/Common/ParallelWork.h"
#include "Tools/Delivery/Sums/CheckedReleases.h"
#include "Tools/Delivery/Text/TreePath.h"
#include "Tools/TreeReader/Census.h"
#include "Tools/TreeReader/DiskFile.h"
#include "Tools/TreeReader/ReleaseParts.h"
#include "Tools/TreeReader/TreeError.h"

#include <algorithm>

namespace Keld::Delivery
{
using TreeReader::Result;
using TreeReader::TreeError;

namespace
{
constexpr uint_size SumReadSize = uint_size(1) << 20; // bytes
constexpr uint_size FaultExamples = 3;

/// A file that needs no more reading than a large buffer at a time.
Result<ShippedFile> SumOpened(const TreeReader::DiskFile &disk, const std::string &path, const WorkCalls &calls)
{
    ShippedFile file{path, 0, {}};
    ContentSummer summer;
    std::vector<char> buffer(std::min<uint64>(SumReadSize, disk.GetSize() + 1));
    for (;;)
    {
        calls.checkpoint();
        const Result<uint_size> count = disk.ReadAt(file.size, buffer.data(), buffer.size());
        if (!count)
        {
            return count.GetFault();
        }
        if (*count == 0)
        {
            file.sum = summer.Finish();
            return file;
        }
        summer.Update({buffer.data(), *count});
        file.size += *count;
        calls.advance(*count);
    }
}
} // namespace

Result<ShippedFile> SumFile(const std::string &place, const std::string &path, const WorkCalls &calls)
{
    const Result<TreeReader::DiskFile> disk = TreeReader::DiskFile::Open(place);
    if (!disk)
    {
        return disk.GetFault();
    }
    if (!disk->IsRegular())
    {
        return TreeReader::Fault{TreeReader::FaultKind::WrongKind, place, "is no regular file"};
    }
    return SumOpened(*disk, path, calls);
}

bool HoldsText(const std::string &place, std::string_view text)
{
    const Result<LargeVector<char>> image = TreeReader::ReadFileImage(place, text.size());
    return image && std::string_view(image->data(), image->size()) == text;
}

FileSums::FileSums(std::string root, unsigned threadCount, const WorkCalls &calls)
    : mRoot(std::move(root)), mThreadCount(threadCount), mCalls(calls)
{
}

void FileSums::Read(const std::vector<std::string> &paths)
{
    std::vector<std::string> unknown;
    std::copy_if(paths.begin(), paths.end(), std::back_inserter(unknown),
                 [this](const std::string &path)
                 {
                     return mFiles.count(path) == 0;
                 });
    std::vector<ShippedFile> files(unknown.size());
    Common::ForEachInParallel(mThreadCount, unknown.size(),
                              [&](uint_size index)
                              {
                                  Result<ShippedFile> file =
                                      SumFile(mRoot + "/" + unknown[index], unknown[index], mCalls);
                                  if (!file)
                                  {
                                      throw TreeError(file.GetFault().GetMessage());
                                  }
                                  files[index] = std::move(*file);
                              });
    for (ShippedFile &file : files)
    {
        std::string path = file.path;
        mFiles.emplace(std::move(path), std::move(file));
    }
}

ShipList ListRelease(const TreeReader::View &view, FileSums &sums, const std::string &root, unsigned threadCount)
{
    const TreeReader::Census census = TreeReader::TakeCensus(view, threadCount);
    if (!census.IsWhole())
    {
        throw TreeError(view.GetName().GetText() + " is not whole:\n" + census.GetSummary());
    }
    const TreeReader::ReleaseParts parts = TreeReader::GatherParts(view, root, threadCount);
    if (!parts.doubts.empty())
    {
        throw TreeError(parts.doubts.front().GetMessage());
    }
    std::vector<std::string> paths;
    for (const TreeReader::ReleasePart &part : parts.parts)
    {
        const Result<TreePath> place = ReadTreePath(part.path);
        if (!place)
        {
            throw TreeError(place.GetFault().GetMessage());
        }
        paths.push_back(part.path);
    }
    if (!parts.outside.empty())
    {
        throw TreeError(view.GetName().GetText() +
                        " names a file outside the tree, which cannot be shipped: " + parts.outside.front());
    }
    sums.Read(paths);
    std::vector<ShippedFile> files;
    files.reserve(paths.size());
    for (const std::string &path : paths)
    {
        files.push_back(sums.Get(path));
    }
    return {view.GetName(), std::move(files)};
}

void RequireUndamaged(const std::string &root, const std::vector<TreeReader::ReleaseName> &releases,
                      unsigned threadCount, const WorkCalls &calls)
{
    const TreeChecker::CheckReport report = CheckReleases(root, releases, threadCount, calls);
    if (report.IsWhole())
    {
        return;
    }
    std::string text = "the tree is damaged, and damage is not shipped:";
    const uint_size shown = std::min(report.faults.size(), FaultExamples);
    for (uint_size index = 0; index < shown; ++index)
    {
        text += "\n" + report.faults[index].fault.GetMessage();
    }
    if (report.faults.size() > shown)
    {
        text += "\nand " + std::to_string(report.faults.size() - shown) + " more: morv verify tells all";
    }
    throw TreeError(text);
}
} // namespace Keld::Delivery
