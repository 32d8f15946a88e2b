#pragma once

#include "Tools/Delivery/Sums/ContentBench.h"
#include "Tools/Delivery/Sums/ContentSum.h"
#include "Tools/TreeReader/ContentDigest.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

namespace Keld::Delivery
{
/// What is to be proved of a file that comes from its start to its end.
struct ExpectedFile
{
    std::string place; ///< where it comes to, absolute
    const TreeReader::Release *release = nullptr;
    std::vector<ContentToProve> contents = {}; ///< ascending by their offsets
    uint64 size = 0;                           ///< of the file; for its sum
    std::optional<ContentSum> sum = {};        ///< that all of its bytes shall have, where that is asked for
};

/// Proves files while they come, on threads of its own, so that little is left to be done when the last byte is there.
/// Small and compressed contents are proved when they are whole; a long one that is stored as it is, and the sum of a
/// file, are gone on with as bytes come. What it has proved is true of the bytes on disk; of all else nothing is known,
/// and whoever needs that checks it afterwards. Nothing that goes wrong here is told: it shows again there.
class EarlyProof
{
public:
    EarlyProof(unsigned threadCount, std::function<void()> checkpoint);
    ~EarlyProof();

    EarlyProof(const EarlyProof &) = delete;
    EarlyProof &operator=(const EarlyProof &) = delete;

    /// Before anything comes.
    void Expect(const std::string &path, ExpectedFile file);

    /// So many bytes of a file are there, from its start on. Fewer than before means that it comes anew: then all that
    /// was proved of it is forgotten, and so this has to be told before the first byte changes. By any thread.
    void Note(const std::string &path, uint64 size);

    /// Whether a file has its sum, over all of its bytes. By any thread.
    bool IsSummed(const std::string &path) const;

    /// Ends the threads, when they have done what they were at, and have come to the end of every content and sum that
    /// they were in the middle of and that is there. What follows may be called then.
    void Finish();

    /// What is still to be proved of a file, or nothing where the file was not expected.
    std::optional<std::vector<ContentToProve>> TakeUnproved(const std::string &path);

    /// Of all contents that were proved.
    uint64 GetProvedBytes() const { return mProvedBytes; }

private:
    struct File;

    /// Bytes of a file that are digested one after the other while they come: of a content, or all for the sum.
    struct Run
    {
        File *file;
        std::size_t content; ///< or SumOfFile
        uint64 next;         ///< the byte to go on with
        uint64 end;
        std::unique_ptr<TreeReader::ContentDigest> digest; ///< of a content, when it has begun
        std::unique_ptr<ContentSummer> summer;             ///< of a sum, when it has begun
        bool isTaken;                                      ///< it waits for a thread, or one is at it, or it failed

        bool HasBegun() const { return digest != nullptr || summer != nullptr; }
        void Begin();
        void Take(std::string_view bytes);
    };

    struct File
    {
        explicit File(ExpectedFile &&file) : expected(std::move(file)) {}

        ExpectedFile expected;   ///< a content that was proved has no entry any more
        uint64 size = 0;         ///< bytes that are there
        std::size_t waiting = 0; ///< the first content that lacks bytes
        uint64 proved = 0;       ///< bytes of contents
        std::shared_ptr<Run> sum = {};
        std::shared_ptr<Run> coming = {}; ///< the long content of which bytes come just now
        bool hasSum = false;
        bool cameAnew = false;
    };

    struct Ready
    {
        File *file;
        std::size_t content;
    };

    void AddThread();
    void End(bool isAbandoned);
    void Work();
    bool IsWorthAProof() const;
    void TakeContents(File &file);
    bool BeginsRun(const File &file) const;
    void AskFor(const std::shared_ptr<Run> &run);
    void GoOnWithRun(std::unique_lock<std::mutex> &lock);
    void FinishRun(Run &run);
    void NoteProved(File &file, std::size_t content);
    void ProveNext(std::unique_lock<std::mutex> &lock, ContentBench &bench);
    std::vector<Ready> TakeReady();
    static uint64 SizeOf(const File &file, std::size_t content);

    const unsigned mThreadCount;
    const std::function<void()> mCheckpoint;

    mutable std::mutex mMutex; ///< guards what follows, while threads run
    std::condition_variable mWake;
    std::unordered_map<std::string, File> mFiles; ///< by path below the root; does not grow while threads run
    std::deque<Ready> mReady;                     ///< contents of which every byte is there
    uint64 mReadyBytes = 0;                       ///< of these
    std::deque<std::shared_ptr<Run>> mRuns;       ///< that can be gone on with
    uint64 mProvedBytes = 0;
    bool mIsEnding = false;
    bool mIsAbandoned = false; ///< nobody asks for what was proved
    std::vector<std::thread> mThreads;
};
} // namespace Keld::Delivery
