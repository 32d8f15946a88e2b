#include "Tools/Delivery/EarlyProof.h"

#include "Tools/TreeReader/DiskFile.h"

#include "KeldFoundation/CStd/LargeVector.h"

#include <algorithm>
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

constexpr uint64 FewestToSum = 1 << 20; // bytes
constexpr uint64 SumPiece = 1 << 18;    // bytes; what came last is still in the processor's caches

uint64 EndOf(const TreeReader::StoredFile &stored)
{
    return stored.offset + stored.storedSize;
}

/// Goes on with the sum of a file. False where the bytes cannot be read.
bool SumBytes(const std::string &place, uint64 begin, uint64 end, ContentSummer &summer,
              const std::function<void()> &checkpoint)
{
    const auto file = TreeReader::DiskFile::Open(place);
    LargeVector<char> piece(static_cast<uint_size>(std::min(SumPiece, end - begin)));
    while (file && begin < end)
    {
        checkpoint();
        const auto count =
            file->ReadAt(begin, piece.data(), static_cast<uint_size>(std::min<uint64>(piece.size(), end - begin)));
        if (!count || *count == 0)
        {
            return false;
        }
        summer.Update({piece.data(), *count});
        begin += *count;
    }
    return begin == end;
}
} // namespace

EarlyProof::EarlyProof(unsigned threadCount, std::function<void()> checkpoint)
    : mThreadCount(threadCount), mCheckpoint(std::move(checkpoint))
{
}

EarlyProof::~EarlyProof()
{
    Finish();
}

void EarlyProof::Expect(const std::string &path, ExpectedFile file)
{
    if (!file.contents.empty() || file.sum)
    {
        mFiles.emplace(path, std::move(file));
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
    const std::vector<ContentToProve> &contents = file.expected.contents;
    for (; file.waiting < contents.size() && EndOf(contents[file.waiting].stored) <= size; ++file.waiting)
    {
        mReady.push_back({&file, file.waiting});
        mReadyBytes += SizeOf(mReady.back());
    }
    AskForSum(file);
    if (mToSum.empty() && !IsWorthAProof())
    {
        return;
    }
    AddThread();
    mWake.notify_all();
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
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mIsEnding = true;
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
        while (!mIsEnding)
        {
            if (!mToSum.empty())
            {
                SumNext(lock);
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

void EarlyProof::AskForSum(File &file)
{
    const bool isWorthIt = file.size - file.summed >= FewestToSum || file.size == file.expected.size;
    if (file.expected.sum && !file.isSumTaken && file.size > file.summed && isWorthIt)
    {
        file.isSumTaken = true;
        mToSum.push_back(&file);
    }
}

void EarlyProof::SumNext(std::unique_lock<std::mutex> &lock)
{
    File &file = *mToSum.front();
    mToSum.pop_front();
    if (file.summer == nullptr)
    {
        file.summer = std::make_unique<ContentSummer>();
    }
    const uint64 end = file.size;
    lock.unlock();
    const bool isRead = SumBytes(file.expected.place, file.summed, end, *file.summer, mCheckpoint);
    lock.lock();
    file.summed = end;
    if (isRead && end == file.expected.size)
    {
        file.hasSum = file.summer->Finish() == file.expected.sum;
    }
    else if (isRead)
    {
        file.isSumTaken = false;
        AskForSum(file);
    }
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
            mProvedBytes += SizeOf(one);
            one.file->proved += SizeOf(one);
            one.file->expected.contents[one.content].file = TreeReader::NoEntry;
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
        const uint64 size = SizeOf(mReady.front());
        bytes += size;
        mReadyBytes -= size;
        taken.push_back(mReady.front());
        mReady.pop_front();
    }
    return taken;
}

/// Of a content that was not proved.
uint64 EarlyProof::SizeOf(const Ready &ready)
{
    const ExpectedFile &file = ready.file->expected;
    return file.release->GetTree().GetFields(file.contents[ready.content].file).size;
}
} // namespace Keld::Delivery
