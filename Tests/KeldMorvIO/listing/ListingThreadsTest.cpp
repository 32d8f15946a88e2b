#include "KeldFoundation/logger/Log.h"
#include "KeldMorvIO/listing/ProjectListing.h"
#include "ListingTree.h"
#include "Support/CompressedStream.h"
#include "Support/ReaderLogCapture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace Keld::MORV::Reader
{
namespace
{
using namespace Keld::Test;
using FileEntry = ProjectListing::FileEntry;

class ListingThreadsTest : public testing::Test
{
protected:
    static constexpr unsigned ThreadCount = 6;

    /// Runs `work(thread number)` on all threads and waits for them.
    template <class Work>
    static void RunOnAll(Work work)
    {
        std::vector<std::thread> threads;
        for (unsigned number = 0; number < ThreadCount; ++number)
        {
            threads.emplace_back(work, number);
        }
        for (std::thread &thread : threads)
        {
            thread.join();
        }
    }

    ReaderLogCapture mLog;
    ListingTree mTree;
};

TEST_F(ListingThreadsTest, FilesAreOpenedReadAndClosedFromManyThreads)
{
    const std::string plain = PatternBytes(70000);
    const auto size = static_cast<uint32>(plain.size());
    mTree.Naked("naked", plain).Managed("managed", plain).Archived("stored", plain);
    mTree.Archived("zlib", ZlibStream(plain), size, ArchivedZlibFlags);
    const std::size_t before = CountDescriptors();
    auto listing = mTree.Load();
    ASSERT_NE(listing, nullptr);
    LogRecorder::Clear();

    std::atomic<int> failures = 0;
    const char *const paths[] = {"naked", "managed", "stored", "zlib"};
    RunOnAll(
        [&](unsigned number)
        {
            for (unsigned round = 0; round < 24; ++round)
            {
                const FileEntry *const entry = listing->FindEntry(paths[(number + round) % 4]);
                if (!listing->Open(entry))
                {
                    ++failures;
                    continue;
                }
                failures += ReadWhole(*listing, entry) == plain ? 0 : 1;
                listing->Close(entry);
            }
        });
    EXPECT_EQ(failures, 0);
    for (const char *const path : paths)
    {
        EXPECT_EQ(listing->FindEntry(path)->mOpenState->GetReferenceCount(), 0u) << path;
    }
    EXPECT_EQ(CountDescriptors(), before + 1); // the data file
    listing.reset();
    EXPECT_EQ(CountDescriptors(), before);
    mLog.ExpectAll({});
}

TEST_F(ListingThreadsTest, ReadersShareOneOpenFile)
{
    const std::string plain = PatternBytes(300000);
    mTree.Archived("zlib", ZlibStream(plain), static_cast<uint32>(plain.size()), ArchivedZlibFlags);
    mTree.Naked("naked", plain);
    const auto listing = mTree.Load();
    ASSERT_NE(listing, nullptr);
    const FileEntry *const entries[] = {listing->FindEntry("zlib"), listing->FindEntry("naked")};
    ASSERT_TRUE(listing->Open(entries[0]) && listing->Open(entries[1]));
    std::atomic<int> failures = 0;
    RunOnAll(
        [&](unsigned number)
        {
            std::string part(977, '\0');
            for (uint32 offset = number * 101; offset + part.size() < plain.size(); offset += 9973)
            {
                uint32 bytesRead = 0;
                const bool read = listing->Read(entries[offset % 2], offset, static_cast<uint32>(part.size()),
                                                &bytesRead, part.data());
                failures += read && plain.compare(offset, part.size(), part) == 0 ? 0 : 1;
            }
        });
    EXPECT_EQ(failures, 0);
    listing->Close(entries[0]);
    listing->Close(entries[1]);
}

/// A logger that holds the first line back, and with it whoever logs, until it is told to go on.
struct Gate
{
    static void Log(std::int32_t, std::uint32_t, std::uint32_t, const char *, va_list)
    {
        std::unique_lock<std::mutex> lock(gMutex);
        gReached = true;
        gChanged.notify_all();
        gChanged.wait(lock,
                      []
                      {
                          return gOpen;
                      });
    }

    static void WaitUntilReached()
    {
        std::unique_lock<std::mutex> lock(gMutex);
        gChanged.wait(lock,
                      []
                      {
                          return gReached;
                      });
    }

    static void Open()
    {
        const std::lock_guard<std::mutex> lock(gMutex);
        gOpen = true;
        gChanged.notify_all();
    }

    static inline std::mutex gMutex;
    static inline std::condition_variable gChanged;
    static inline bool gReached = false;
    static inline bool gOpen = false;
};

TEST_F(ListingThreadsTest, AFirstOpenHoldsUpOtherOpensButNeitherReadsNorLookups)
{
    mTree.Naked("lost", "L").Naked("open", "already open").Naked("other", "O");
    const auto listing = mTree.Load();
    ASSERT_NE(listing, nullptr);
    const FileEntry *const open = listing->FindEntry("open");
    ASSERT_TRUE(listing->Open(open));
    mTree.Disk().Remove(ListingTree::NakedPath("lost"));
    Gate::gReached = Gate::gOpen = false;
    static IKeldLogger table{};
    table.Log = Gate::Log;
    SetCurrentLogger(&table);

    // The first open fails, and its line keeps it inside.
    std::thread slow(
        [&]
        {
            EXPECT_FALSE(listing->Open(listing->FindEntry("lost")));
        });
    Gate::WaitUntilReached();
    std::atomic<bool> otherIsOpen = false;
    std::thread waiting(
        [&]
        {
            otherIsOpen = listing->Open(listing->FindEntry("other"));
        });
    EXPECT_EQ(ReadWhole(*listing, open), "already open");
    EXPECT_EQ(NamesIn(listing->FindEntry("")).size(), 3u);
    for (int turn = 0; turn < 1000; ++turn)
    {
        std::this_thread::yield();
    }
    EXPECT_FALSE(otherIsOpen);

    Gate::Open();
    slow.join();
    waiting.join();
    EXPECT_TRUE(otherIsOpen);
    SetCurrentLogger(LogRecorder::Table());
    listing->Close(listing->FindEntry("other"));
    listing->Close(open);
}

TEST_F(ListingThreadsTest, LookupsAndWalksRunWhileFilesAreOpened)
{
    for (int index = 0; index < 50; ++index)
    {
        mTree.Naked("d" + std::to_string(index % 5) + "/f" + std::to_string(index), "x");
    }
    const auto listing = mTree.Load();
    ASSERT_NE(listing, nullptr);
    std::atomic<int> failures = 0;
    RunOnAll(
        [&](unsigned number)
        {
            for (int index = 0; index < 50; ++index)
            {
                const std::string directory = "d" + std::to_string(index % 5);
                const FileEntry *const entry = listing->FindEntry((directory + "/f" + std::to_string(index)).c_str());
                failures += entry != nullptr && ProjectListing::GetOwner(entry) == listing.get() ? 0 : 1;
                failures += NamesIn(listing->FindEntry(directory.c_str())).size() == 10 ? 0 : 1;
                if (number % 2 == 0 && listing->Open(entry))
                {
                    listing->Close(entry);
                }
            }
        });
    EXPECT_EQ(failures, 0);
}
} // namespace
} // namespace Keld::MORV::Reader
