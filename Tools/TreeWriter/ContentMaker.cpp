#include "Tools/TreeWriter/ContentMaker.h"

#include "Tools/TreeReader/DigestLanes.h"
#include "Tools/TreeWriter/ArchiveWriter.h"
#include "Tools/TreeWriter/ContentDigest.h"
#include "Tools/TreeWriter/SourceContent.h"

#include <algorithm>
#include <cstdio>

namespace Keld::TreeWriter
{
using TreeReader::Compression;
using TreeReader::Storage;

namespace
{
constexpr uint64 TaskOverhead = 4096; // bytes beside the content, roughly

bool IsKept(const PlannedFile &file)
{
    return file.canBeKept && file.knownDigest && file.IsUnchanged(*file.knownDigest);
}
} // namespace

ContentMaker::ContentMaker(const PackRequest &request, const ReleaseStaging &staging,
                           const std::vector<PlannedFile> &plan)
    : mRequest(request), mStaging(staging), mPlan(plan)
{
}

ContentMaker::~ContentMaker() = default;

std::vector<ContentTask> ContentMaker::ListTasks() const
{
    std::vector<ContentTask> tasks;
    for (std::size_t index = 0; index < mPlan.size(); ++index)
    {
        if (IsKept(mPlan[index]) || mPlan[index].twin)
        {
            tasks.push_back({index});
            continue;
        }
        const std::vector<ContentTask> own = ListStoringTasks(index);
        tasks.insert(tasks.end(), own.begin(), own.end());
    }
    return tasks;
}

std::vector<ContentTask> ContentMaker::ListStoringTasks(std::size_t file) const
{
    const PlannedFile &planned = mPlan[file];
    const uint64 size = planned.entry.size;
    if (!planned.IsLarge() || planned.choice.compression == Compression::Lzma)
    {
        return {{file, 0, size}};
    }
    std::vector<ContentTask> tasks;
    for (uint64 offset = 0; offset < size; offset += PieceSize)
    {
        const uint64 left = size - offset;
        tasks.push_back({file, offset, std::min(PieceSize, left), true, left <= PieceSize});
    }
    return tasks;
}

uint64 ContentMaker::Weigh(const ContentTask &task)
{
    return TaskOverhead + 2 * std::min(task.size, LargestHeld);
}

MadeContent ContentMaker::Make(const ContentTask &task, bool findTwins)
{
    mRequest.checkpoint();
    const PlannedFile &file = mPlan[task.file];
    MadeContent made;
    if (findTwins && IsKept(file))
    {
        made.digest = *file.knownDigest;
    }
    else if (findTwins && file.twin)
    {
        made.kind = MadeContent::Kind::Twin;
        made.digest = *file.knownDigest;
        made.twin = *file.twin;
    }
    else if (task.isPiece)
    {
        made = MakePiece(file, task);
    }
    else if (file.IsLarge())
    {
        made = MakeLargeAlone(file);
    }
    else
    {
        std::string content = ReadHeld(file);
        const TreeReader::Digest digest = DigestOf(content);
        made = MakeWhole(task.file, std::move(content), digest, findTwins);
    }
    mRequest.advance(task.size);
    return made;
}

std::vector<MadeContent> ContentMaker::MakeAll(std::span<const ContentTask> tasks)
{
    std::vector<MadeContent> made;
    made.reserve(tasks.size());
    while (!tasks.empty())
    {
        const auto firstLarge = std::find_if(tasks.begin(), tasks.end(),
                                             [this](const ContentTask &task)
                                             {
                                                 return mPlan[task.file].IsLarge();
                                             });
        const auto heldCount = static_cast<std::size_t>(firstLarge - tasks.begin());
        if (heldCount == 0)
        {
            made.push_back(Make(tasks.front()));
            tasks = tasks.subspan(1);
            continue;
        }
        MakeHeld(tasks.first(heldCount), made);
        tasks = tasks.subspan(heldCount);
    }
    return made;
}

void ContentMaker::MakeHeld(std::span<const ContentTask> tasks, std::vector<MadeContent> &made)
{
    std::vector<std::string> contents;
    contents.reserve(tasks.size());
    for (const ContentTask &task : tasks)
    {
        mRequest.checkpoint();
        contents.push_back(ReadHeld(mPlan[task.file]));
    }
    const std::vector<TreeReader::Digest> digests =
        TreeReader::DigestsOf(std::vector<std::string_view>(contents.begin(), contents.end()));
    for (std::size_t at = 0; at < tasks.size(); ++at)
    {
        mRequest.checkpoint();
        made.push_back(MakeWhole(tasks[at].file, std::move(contents[at]), digests[at], true));
        mRequest.advance(tasks[at].size);
    }
}

uint64 ContentMaker::SizeInBatch(const ContentTask &task) const
{
    const PlannedFile &file = mPlan[task.file];
    const bool takesLong = file.IsLarge() || file.choice.compression == Compression::Lzma;
    return takesLong ? BatchSize : task.size;
}

MadeContent ContentMaker::MakeWhole(std::size_t index, std::string content, const TreeReader::Digest &digest,
                                    bool findTwins)
{
    const PlannedFile &file = mPlan[index];
    MadeContent made;
    made.digest = digest;
    if (file.canBeKept && file.IsUnchanged(made.digest))
    {
        return made;
    }
    if (file.choice.storage != Storage::Archive)
    {
        const bool naked = file.choice.storage == Storage::Naked;
        WriteFile((naked ? mStaging.NakedFiles() : mStaging.ManagedFiles()) / file.entry.path, content);
        made.kind = MadeContent::Kind::Plain;
        return made;
    }
    if (const auto twin = findTwins ? FindTwin(file, index, content, made.digest) : std::nullopt)
    {
        made.kind = MadeContent::Kind::Twin;
        made.twin = *twin;
        return made;
    }
    if (file.choice.compression == Compression::Lzma && !content.empty())
    {
        MadeContent alone = MakeAlone(file,
                                      [&content](const Sink &sink)
                                      {
                                          sink(content);
                                      });
        if (alone.kind == MadeContent::Kind::Alone)
        {
            alone.digest = made.digest;
            return alone;
        }
    }
    MakeStored(file, std::move(content), made);
    return made;
}

std::optional<std::size_t> ContentMaker::FindTwin(const PlannedFile &file, std::size_t index,
                                                  const std::string &content, const TreeReader::Digest &digest)
{
    if (!file.mayHaveTwin)
    {
        return std::nullopt;
    }
    const auto earlier = mTwins.FindEarlier({digest, file.entry.size, file.choice.compression}, index);
    return earlier && HasContent(mPlan[*earlier], content) ? earlier : std::nullopt;
}

void ContentMaker::MakeStored(const PlannedFile &file, std::string content, MadeContent &made)
{
    made.kind = MadeContent::Kind::Stored;
    if (file.choice.compression == Compression::Zlib && !content.empty())
    {
        std::unique_ptr<ZlibCompressor> compressor = TakeCompressor();
        std::string stored = compressor->Compress(content);
        GiveBack(std::move(compressor));
        if (stored.size() < content.size() || mRequest.compressAlways)
        {
            stored.shrink_to_fit(); // it may wait for a while
            made.bytes = std::move(stored);
            made.compression = Compression::Zlib;
            return;
        }
    }
    made.bytes = std::move(content);
}

/// An LZMA file has an archive of its own, so that each can be written to its end by whoever compresses it.
MadeContent ContentMaker::MakeAlone(const PlannedFile &file, const Feed &feed)
{
    ArchiveWriter archive(mStaging.Archives(), NameOfAlone(file));
    archive.Begin(file.entry.path);
    LzmaEncoder encoder(file.entry.size, mRequest.level,
                        [&archive](std::string_view stored)
                        {
                            archive.Append(stored);
                        });
    feed(
        [&](std::string_view piece)
        {
            for (; !piece.empty(); piece.remove_prefix(std::min<std::size_t>(piece.size(), PieceSize)))
            {
                mRequest.checkpoint(); // LZMA takes its time
                encoder.Add(piece.substr(0, PieceSize));
            }
        });
    encoder.Finish();
    MadeContent made;
    made.storedSize = archive.GetSize();
    made.compression = Compression::Lzma;
    if (made.storedSize < file.entry.size || mRequest.compressAlways)
    {
        archive.Finish();
        made.kind = MadeContent::Kind::Alone;
        return made;
    }
    archive.Abandon();
    made.kind = MadeContent::Kind::Rejected;
    made.compression = Compression::None;
    return made;
}

MadeContent ContentMaker::MakeLargeAlone(const PlannedFile &file)
{
    ContentDigest digest;
    MadeContent made = MakeAlone(file,
                                 [&](const Sink &sink)
                                 {
                                     ReadPieces(file, mRequest.checkpoint,
                                                [&](std::string_view piece)
                                                {
                                                    digest.Update(piece);
                                                    sink(piece);
                                                });
                                 });
    made.digest = digest.Finish();
    return made;
}

MadeContent ContentMaker::MakePiece(const PlannedFile &file, const ContentTask &task)
{
    const std::shared_ptr<InputFile> input = OpenLarge(file, task.file);
    const bool compress = file.choice.storage == Storage::Archive && file.choice.compression == Compression::Zlib;
    const uint64 before = compress ? std::min<uint64>(ZlibWindow, task.offset) : 0;
    MadeContent made;
    made.kind = MadeContent::Kind::Piece;
    made.bytes.resize(before + task.size);
    input->Read(task.offset - before, made.bytes.data(), made.bytes.size());
    if (compress)
    {
        const std::string_view both = made.bytes;
        made.compression = Compression::Zlib;
        made.deflated = CompressPiece(both.substr(0, before), both.substr(before), task.isLast, mRequest.level);
        made.deflated.bytes.shrink_to_fit();
        made.bytes.erase(0, before);
    }
    return made;
}

std::string ContentMaker::NameOfAlone(const PlannedFile &file)
{
    char name[40];
    std::snprintf(name, sizeof name, "lzma-%04zu", file.aloneNumber);
    return name;
}

void ContentMaker::Forget(std::size_t file)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    if (const auto open = mOpenFiles.find(file); open != mOpenFiles.end())
    {
        open->second->RequireUnchanged();
        mOpenFiles.erase(open);
    }
}

std::shared_ptr<InputFile> ContentMaker::OpenLarge(const PlannedFile &file, std::size_t index)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    std::shared_ptr<InputFile> &open = mOpenFiles[index];
    if (open == nullptr)
    {
        open = std::make_shared<InputFile>(file.source, file.entry.size);
    }
    return open;
}

std::unique_ptr<ZlibCompressor> ContentMaker::TakeCompressor()
{
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        if (!mIdleCompressors.empty())
        {
            std::unique_ptr<ZlibCompressor> compressor = std::move(mIdleCompressors.back());
            mIdleCompressors.pop_back();
            return compressor;
        }
    }
    return std::make_unique<ZlibCompressor>(mRequest.level);
}

void ContentMaker::GiveBack(std::unique_ptr<ZlibCompressor> compressor)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    mIdleCompressors.push_back(std::move(compressor));
}
} // namespace Keld::TreeWriter
