#include "Tools/Delivery/Sums/EarlyProof.h"

#include "Tools/TreeReader/DiskFile.h"

#include "KeldFoundation/CStd/LargeVector.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <system_error>

namespace Keld::Delivery
{
namespace
{
// What a thread waits for, and what it takes at once. Few small contents would not be digested side by side.
constexpr uint64 FewestBytes = 1 << 20;
constexpr std::size_t FewestContents = 64;
constexpr uint64 MostBytes = 8 << 20;
constexpr std::size_t MostContents = 256;

// What is digested at once of bytes that come one after the other.
constexpr uint64 FewestOfRun = 1 << 20; // bytes
constexpr uint64 MostOfRun = 16 << 20;  // bytes
constexpr uint64 RunPiece = 1 << 18;    // bytes; what came last is still in the processor's caches

constexpr std::size_t SumOfFile = std::numeric_limits<std::size_t>::max();

uint64 EndOf(const TreeReader::StoredFile &stored)
{
    return stored.offset + stored.storedSize;
}

/// Hands on bytes of a file. False where they cannot be read.
bool ReadBytes(const std::string &place, uint64 begin, uint64 end, const TreeReader::ContentSink &sink)
{
    const auto file = TreeReader::DiskFile::Open(place);
    LargeVector<char> piece(static_cast<uint_size>(std::min(RunPiece, end - begin)));
    while (file && begin < end)
    {
        const auto count =
            file->ReadAt(begin, piece.data(), static_cast<uint_size>(std::min<uint64>(piece.size(), end - begin)));
        if (!count || *count == 0)
        {
            return false;
        }
        sink({piece.data(), *count});
        begin += *count;
    }
    return begin == end;
}
} // namespace

void EarlyProof::Run::Begin()
{
    if (content == SumOfFile)
    {
        summer = std::make_unique<ContentSummer>();
    }
    else
    {
        digest = std::make_unique<TreeReader::ContentDigest>();
    }
}

void EarlyProof::Run::Take(std::string_view bytes)
{
    if (content == SumOfFile)
    {
        summer->Update(bytes);
    }
    else
    {
        digest->Update(bytes);
    }
}

EarlyProof::EarlyProof(unsigned threadCount, std::function<void()> checkpoint)
    : mThreadCount(threadCount), mCheckpoint(std::move(checkpoint))
{
}

EarlyProof::~EarlyProof()
{
    End(true);
}

void EarlyProof::Expect(const std::string &path, ExpectedFile file)
{
    if (file.contents.empty() && !file.sum)
    {
        return;
    }
    const auto [place, isNew] = mFiles.emplace(path, std::move(file));
    File &added = place->second;
    if (isNew && added.expected.sum)
    {
        added.sum = std::make_shared<Run>(Run{&added, SumOfFile, 0, added.expected.size, {}, {}, false});
    }
}

void EarlyProof::Note(const std::string &path, uint64 size)
{
    const auto found = mFiles.find(path);
    if (found == mFiles.end())
    {
        return;
    }
    const std::lock_guard<std::mutex> lock(mMutex);
    File &file = found->second;
    if (size < file.size && !file.cameAnew)
    {
        file.cameAnew = true; // seldom enough to leave all of it to others
        mProvedBytes -= file.proved;
    }
    if (file.cameAnew || mIsEnding)
    {
        return;
    }
    file.size = size;
    TakeContents(file);
    if (file.sum != nullptr)
    {
        AskFor(file.sum);
    }
    if (mRuns.empty() && !IsWorthAProof())
    {
        return;
    }
    AddThread();
    mWake.notify_all();
}

/// Puts what came whole to what is ready. One long content at a time is gone on with while it comes; where others lie
/// over it, as only a damaged or a frugal archive has them, they wait for their ends.
void EarlyProof::TakeContents(File &file)
{
    const std::vector<ContentToProve> &contents = file.expected.contents;
    while (file.waiting < contents.size())
    {
        if (file.coming != nullptr && file.coming->end <= file.size)
        {
            AskFor(file.coming);
            file.coming = nullptr; // whoever is at it goes on to the end
        }
        const TreeReader::StoredFile &stored = contents[file.waiting].stored;
        if (BeginsRun(file))
        {
            file.coming = std::make_shared<Run>(Run{&file, file.waiting, stored.offset, EndOf(stored), {}, {}, false});
        }
        else if (EndOf(stored) <= file.size)
        {
            mReady.push_back({&file, file.waiting});
            mReadyBytes += SizeOf(file, file.waiting);
        }
        else
        {
            break;
        }
        ++file.waiting;
    }
    if (file.coming != nullptr)
    {
        AskFor(file.coming);
    }
}

/// Whether the next content is a long one that can be begun with.
bool EarlyProof::BeginsRun(const File &file) const
{
    const ContentToProve &content = file.expected.contents[file.waiting];
    const TreeReader::StoredFile &stored = content.stored;
    const bool isLong = stored.compression == TreeReader::Compression::None &&
                        !ContentBench::IsSmall(stored.storedSize) && stored.storedSize == SizeOf(file, file.waiting);
    return isLong && file.coming == nullptr && stored.offset + FewestOfRun <= file.size;
}

void EarlyProof::AddThread()
{
    if (mThreads.size() == mThreadCount)
    {
        return;
    }
    try
    {
        mThreads.emplace_back(
            [this]
            {
                Work();
            });
    }
    catch (const std::system_error &)
    {
        // There are fewer then, or none, and more is left for afterwards.
    }
}

void EarlyProof::Finish()
{
    End(false);
}

void EarlyProof::End(bool isAbandoned)
{
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mIsEnding = true;
        mIsAbandoned = isAbandoned;
        // What has not begun costs whoever checks afterwards no more than it would here.
        std::erase_if(mRuns,
                      [isAbandoned](const std::shared_ptr<Run> &run)
                      {
                          return isAbandoned || !run->HasBegun();
                      });
    }
    mWake.notify_all();
    for (std::thread &thread : mThreads)
    {
        thread.join();
    }
    mThreads.clear();
}

bool EarlyProof::IsSummed(const std::string &path) const
{
    const std::lock_guard<std::mutex> lock(mMutex);
    const auto found = mFiles.find(path);
    return found != mFiles.end() && !found->second.cameAnew && found->second.hasSum &&
           found->second.size == found->second.expected.size;
}

std::optional<std::vector<ContentToProve>> EarlyProof::TakeUnproved(const std::string &path)
{
    const auto found = mFiles.find(path);
    if (found == mFiles.end() || found->second.cameAnew)
    {
        return std::nullopt;
    }
    std::vector<ContentToProve> contents = std::move(found->second.expected.contents);
    std::erase_if(contents,
                  [](const ContentToProve &content)
                  {
                      return content.file == TreeReader::NoEntry;
                  });
    mFiles.erase(found);
    return contents;
}

void EarlyProof::Work()
{
    ContentBench bench;
    std::unique_lock<std::mutex> lock(mMutex);
    try
    {
        while (!mIsEnding || !mRuns.empty())
        {
            if (!mRuns.empty())
            {
                GoOnWithRun(lock);
            }
            else if (IsWorthAProof())
            {
                ProveNext(lock, bench);
            }
            else
            {
                mWake.wait(lock);
            }
        }
    }
    catch (...)
    {
        // Whoever waits for the files meets the same, and tells it.
    }
}

bool EarlyProof::IsWorthAProof() const
{
    return mReady.size() >= FewestContents || mReadyBytes >= FewestBytes;
}

void EarlyProof::AskFor(const std::shared_ptr<Run> &run)
{
    const uint64 end = std::min(run->file->size, run->end);
    const bool isWorthIt = end == run->end || end >= run->next + FewestOfRun;
    if (!run->isTaken && end > run->next && isWorthIt && !mIsAbandoned)
    {
        run->isTaken = true;
        mRuns.push_back(run);
    }
}

void EarlyProof::GoOnWithRun(std::unique_lock<std::mutex> &lock)
{
    const std::shared_ptr<Run> run = std::move(mRuns.front());
    mRuns.pop_front();
    if (run->file->cameAnew)
    {
        return;
    }
    if (!run->HasBegun())
    {
        run->Begin();
    }
    const uint64 end = std::min({run->file->size, run->end, run->next + MostOfRun});
    lock.unlock();
    const bool isRead = ReadBytes(run->file->expected.place, run->next, end,
                                  [&](std::string_view bytes)
                                  {
                                      mCheckpoint();
                                      run->Take(bytes);
                                  });
    lock.lock();
    run->next = end;
    if (!isRead || run->file->cameAnew)
    {
        return;
    }
    if (end == run->end)
    {
        FinishRun(*run);
        return;
    }
    run->isTaken = false;
    AskFor(run);
}

void EarlyProof::FinishRun(Run &run)
{
    File &file = *run.file;
    if (run.content == SumOfFile)
    {
        file.hasSum = run.summer->Finish() == file.expected.sum;
        return;
    }
    const ExpectedFile &expected = file.expected;
    const auto &fields = expected.release->GetTree().GetFields(expected.contents[run.content].file);
    const TreeReader::Digest digest = run.digest->Finish();
    if (std::equal(digest.begin(), digest.end(), std::begin(fields.digest), std::end(fields.digest)))
    {
        NoteProved(file, run.content);
    }
}

void EarlyProof::NoteProved(File &file, std::size_t content)
{
    mProvedBytes += SizeOf(file, content);
    file.proved += SizeOf(file, content);
    file.expected.contents[content].file = TreeReader::NoEntry;
}

void EarlyProof::ProveNext(std::unique_lock<std::mutex> &lock, ContentBench &bench)
{
    const std::vector<Ready> contents = TakeReady();
    std::vector<Ready> proved;
    proved.reserve(contents.size());
    lock.unlock();
    const ContentBench::Calls calls{mCheckpoint, [&](std::size_t number, const TreeReader::Failure &failure)
                                    {
                                        proved.insert(proved.end(), failure ? 0 : 1, contents[number]);
                                    }};
    for (std::size_t number = 0; number < contents.size(); ++number)
    {
        const ExpectedFile &file = contents[number].file->expected;
        bench.Take(*file.release, file.contents[contents[number].content], number, calls);
    }
    bench.Finish(calls);
    lock.lock();
    for (const Ready &one : proved)
    {
        if (!one.file->cameAnew)
        {
            NoteProved(*one.file, one.content);
        }
    }
}

/// All that is ready, or so much of it that what is left is worth a proof.
std::vector<EarlyProof::Ready> EarlyProof::TakeReady()
{
    std::vector<Ready> taken;
    uint64 bytes = 0;
    while (!mReady.empty() && ((taken.size() < MostContents && bytes < MostBytes) || !IsWorthAProof()))
    {
        const uint64 size = SizeOf(*mReady.front().file, mReady.front().content);
        bytes += size;
        mReadyBytes -= size;
        taken.push_back(mReady.front());
        mReady.pop_front();
    }
    return taken;
}

/// Of a content that was not proved.
uint64 EarlyProof::SizeOf(const File &file, std::size_t content)
{
    return file.expected.release->GetTree().GetFields(file.expected.contents[content].file).size;
}
} // namespace Keld::Delivery
