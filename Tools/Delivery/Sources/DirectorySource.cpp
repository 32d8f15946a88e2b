#include "Tools/Delivery/Sources/DirectorySource.h"

#include "Tools/Common/ParallelWork.h"
#include "Tools/Delivery/Sources/BroughtFile.h"
#include "Tools/TreeReader/ContentReader.h"
#include "Tools/TreeReader/DiskFile.h"

#include <algorithm>

#include <sys/stat.h>

namespace Keld::Delivery
{
using TreeReader::DiskFile;
using TreeReader::Fault;
using TreeReader::FaultKind;

namespace
{
constexpr uint_size CopySize = 1 << 20;

[[noreturn]] void FailWith(const Fault &fault)
{
    switch (fault.kind)
    {
    case FaultKind::NotThere:
        throw SourceError(SourceTrouble::NotThere, fault.GetMessage());
    case FaultKind::NotAllowed:
        throw SourceError(SourceTrouble::NotAllowed, fault.GetMessage());
    default:
        throw SourceError(SourceTrouble::Failed, fault.GetMessage());
    }
}

/// Nothing for what is not there; a directory is no file.
std::optional<DiskFile> OpenFile(const std::string &path)
{
    auto file = DiskFile::Open(path);
    if (file)
    {
        return file->IsRegular() ? std::optional<DiskFile>(std::move(*file)) : std::nullopt;
    }
    if (file.GetFault().kind != FaultKind::NotThere)
    {
        FailWith(file.GetFault());
    }
    return std::nullopt;
}

/// When a file was changed last; empty where nobody knows.
std::string TimeOf(const std::string &path)
{
    struct stat status = {};
    const bool isKnown = stat(path.c_str(), &status) == 0;
    return isKnown ? std::to_string(status.st_mtim.tv_sec) + "." + std::to_string(status.st_mtim.tv_nsec) : "";
}

/// Hands on the bytes from `offset` to `end`.
void ReadBytes(const DiskFile &file, uint64 offset, uint64 end, LargeVector<char> &piece,
               const std::function<void()> &checkpoint, const TreeReader::ContentSink &sink)
{
    while (offset < end)
    {
        checkpoint();
        piece.resize(static_cast<uint_size>(std::min<uint64>(CopySize, end - offset)));
        const auto count = file.ReadAt(offset, piece.data(), piece.size());
        if (!count)
        {
            FailWith(count.GetFault());
        }
        if (*count == 0)
        {
            throw SourceError(SourceTrouble::Untrue, file.GetPath() + ": it ends at byte " + std::to_string(offset) +
                                                         " of " + std::to_string(end));
        }
        sink({piece.data(), *count});
        offset += *count;
    }
}
} // namespace

DirectorySource::DirectorySource(std::string name, std::string directory, const SourceOptions &options)
    : mName(std::move(name)), mDirectory(std::move(directory)), mOptions(options)
{
}

std::optional<LargeVector<char>> DirectorySource::ReadWhole(const std::string &path, uint64 limit)
{
    mOptions.checkpoint();
    const std::optional<DiskFile> file = OpenFile(Place(path));
    if (!file)
    {
        return std::nullopt;
    }
    RequireNotLarger(file->GetPath(), file->GetSize(), limit);
    auto image = TreeReader::ReadFileImage(file->GetPath(), limit);
    if (!image)
    {
        FailWith(image.GetFault());
    }
    return std::move(*image);
}

void DirectorySource::ReadRanges(const std::string &path, const std::vector<ByteRange> &ranges, const RangeSink &sink)
{
    const std::optional<DiskFile> file = OpenFile(Place(path));
    if (!file)
    {
        throw SourceError(SourceTrouble::NotThere, Place(path) + ": it is not there");
    }
    LargeVector<char> piece;
    for (std::size_t number = 0; number < ranges.size(); ++number)
    {
        const ByteRange &range = ranges[number];
        ReadBytes(*file, range.offset, range.offset + range.size, piece, mOptions.checkpoint,
                  [&](std::string_view bytes)
                  {
                      sink(number, bytes);
                  });
    }
}

std::optional<uint64> DirectorySource::GetSize(const std::string &path)
{
    const std::optional<DiskFile> file = OpenFile(Place(path));
    return file ? std::optional<uint64>(file->GetSize()) : std::nullopt;
}

std::optional<std::vector<std::string>> DirectorySource::ListNames(const std::string &directory)
{
    auto names = TreeReader::ReadNames(Place(directory));
    if (names)
    {
        return std::move(*names);
    }
    if (names.GetFault().kind != FaultKind::NotThere)
    {
        FailWith(names.GetFault());
    }
    return std::vector<std::string>();
}

void DirectorySource::Bring(std::vector<Download> &downloads, const DownloadPlace &place, const DownloadCalls &calls)
{
    Common::ForEachInParallel(mOptions.downloads, downloads.size(),
                              [&](std::size_t index)
                              {
                                  BringOne(downloads[index], place, calls);
                              });
}

void DirectorySource::BringOne(Download &download, const DownloadPlace &place, const DownloadCalls &calls) const
{
    calls.checkpoint();
    if (IsBrought(download, place, calls))
    {
        return;
    }
    const std::string path = Place(download.path);
    const std::optional<DiskFile> file = OpenFile(path);
    if (!file)
    {
        RequireMayLack(download, path);
        return;
    }
    RequireExpectedSize(download, path, file->GetSize());
    const std::string tag = MakeTag(download, file->GetSize(), TimeOf(path));
    const bool isSame = !tag.empty() && place.GetTag(download.path) == tag;
    PartFile part(place, download.path);
    if (!isSame || part.GetSize() > file->GetSize())
    {
        part.Restart(tag);
    }
    download.isPieced = part.GetSize() != 0;
    calls.found(part.GetSize());
    calls.grown(download.path, part.GetSize());
    LargeVector<char> piece;
    ReadBytes(*file, part.GetSize(), file->GetSize(), piece, calls.checkpoint,
              [&](std::string_view bytes)
              {
                  part.Append(bytes);
                  calls.advance(bytes.size());
                  calls.grown(download.path, part.GetSize());
              });
    part.Close();
    download.isThere = true;
}
} // namespace Keld::Delivery
