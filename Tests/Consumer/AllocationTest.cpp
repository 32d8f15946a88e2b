#include "Support/ArchiveImage.h"
#include "Support/ReleaseFixture.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <new>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KELD_TEST_LEAK_CHECKER
#endif
#elif defined(__SANITIZE_ADDRESS__)
#define KELD_TEST_LEAK_CHECKER
#endif
#ifdef KELD_TEST_LEAK_CHECKER
#include <sanitizer/lsan_interface.h>
#endif

namespace
{
// Counts what this thread allocates, in the program and in the library alike: the library takes the operators of the
// program that loads it.
thread_local long gAllocations = 0;
thread_local long gReleases = 0;

// How many allocations of this thread succeed before one fails; negative for all.
thread_local long gAllocationsLeft = -1;

void *CountedAllocation(std::size_t size)
{
    if (gAllocationsLeft == 0)
    {
        gAllocationsLeft = -1;
        throw std::bad_alloc();
    }
    gAllocationsLeft -= gAllocationsLeft > 0 ? 1 : 0;
    ++gAllocations;
    void *const memory = std::malloc(size != 0 ? size : 1);
    if (memory == nullptr)
    {
        throw std::bad_alloc();
    }
    return memory;
}

void CountedRelease(void *memory)
{
    gReleases += memory != nullptr ? 1 : 0;
    std::free(memory);
}
} // namespace

void *operator new(std::size_t size)
{
    return CountedAllocation(size);
}

void *operator new[](std::size_t size)
{
    return CountedAllocation(size);
}

void *operator new(std::size_t size, const std::nothrow_t &) noexcept
{
    ++gAllocations;
    return std::malloc(size != 0 ? size : 1);
}

void operator delete(void *memory) noexcept
{
    CountedRelease(memory);
}

void operator delete[](void *memory) noexcept
{
    CountedRelease(memory);
}

void operator delete(void *memory, std::size_t) noexcept
{
    CountedRelease(memory);
}

void operator delete[](void *memory, std::size_t) noexcept
{
    CountedRelease(memory);
}

namespace Keld::Test
{
namespace
{
class AllocationTest : public ReleaseFixture
{
protected:
    AllocationTest()
    {
        Start(mTree.Project("atlas", "1.0.0.0",
                            {{"data/a-name-that-is-long-enough-not-to-fit-in-a-small-string.txt", "content"},
                             {"data/managed-and-again-long-enough-to-need-an-allocation.txt", "content", true}}));
    }

    template <class Call>
    static long Count(const Call &call)
    {
        const long before = gAllocations;
        call();
        return gAllocations - before;
    }

    static constexpr const char *Naked = "DATA//a-name-that-is-long-enough-not-to-fit-in-a-small-string.txt/";
    static constexpr const char *Managed = "data\\managed-and-again-long-enough-to-need-an-allocation.txt";
};

TEST_F(AllocationTest, CountsTheLibraryToo)
{
    EXPECT_GT(Count(
                  []
                  {
                      MorvFindClose(MorvFindFirstFile("*"));
                  }),
              0);
}

TEST_F(AllocationTest, ALookupAllocatesNothing)
{
    std::uint32_t found = 0;
    EXPECT_EQ(Count(
                  [&found]
                  {
                      found = MorvFileExists(Naked) + MorvFileExists(Managed) + MorvFileExists("data") +
                              MorvFileExists("not/there");
                  }),
              0);
    EXPECT_EQ(found, 3u);
}

TEST_F(AllocationTest, AnOpenBesideAnotherAllocatesItsHandleAndNothingElse)
{
    for (const char *path : {Naked, Managed})
    {
        OpenFileHandle *const first = MorvOpenFile(path);
        ASSERT_NE(first, nullptr);
        OpenFileHandle *second = nullptr;
        EXPECT_EQ(Count(
                      [&second, path]
                      {
                          second = MorvOpenFile(path);
                      }),
                  1)
            << path;
        ASSERT_NE(second, nullptr);
        char buffer[7];
        EXPECT_EQ(Count(
                      [&]
                      {
                          EXPECT_EQ(MorvRead(second, 0, sizeof buffer, nullptr, buffer), S_OK);
                      }),
                  0);
        EXPECT_EQ(Count(
                      [&]
                      {
                          EXPECT_EQ(MorvGetFileSize(second), 7);
                      }),
                  0);
        EXPECT_EQ(Count(
                      [&]
                      {
                          MorvCloseFile(second);
                      }),
                  0);
        MorvCloseFile(first);
    }
}

TEST_F(AllocationTest, AFirstOpenOfAPlainFileAlsoMakesTheVersionOfItsPathAndKeepsTheHandleAlone)
{
    for (const char *path : {Naked, Managed})
    {
        OpenFileHandle *handle = nullptr;
        const long releases = gReleases;
        EXPECT_EQ(Count(
                      [&handle, path]
                      {
                          handle = MorvOpenFile(path);
                      }),
                  2)
            << path;
        EXPECT_EQ(gReleases - releases, 1);
        ASSERT_NE(handle, nullptr);
        MorvCloseFile(handle);
        EXPECT_EQ(gReleases - releases, 2);
    }
}

TEST_F(AllocationTest, AnOpenWithoutMemoryForItsHandleIsTakenBack)
{
    OpenFileHandle *const first = MorvOpenFile(Naked);
    ASSERT_NE(first, nullptr);
    gAllocationsLeft = 0;
    EXPECT_THROW(MorvOpenFile(Naked), std::bad_alloc);
    MorvCloseFile(first);
    LogRecorder::Clear();
    MorvShutdown();
    ExpectAll({}); // nothing is left open
}

TEST_F(AllocationTest, AFirstOpenWithoutMemoryForItsPathIsTakenBack)
{
    for (const char *path : {Naked, Managed})
    {
        gAllocationsLeft = 0;
        EXPECT_THROW(MorvOpenFile(path), std::bad_alloc);
        OpenFileHandle *const handle = MorvOpenFile(path);
        ASSERT_NE(handle, nullptr);
        char buffer[7];
        EXPECT_EQ(MorvRead(handle, 0, sizeof buffer, nullptr, buffer), S_OK) << path;
        MorvCloseFile(handle);
    }
    LogRecorder::Clear();
    MorvShutdown();
    ExpectAll({}); // nothing is left open
}

TEST_F(AllocationTest, AStartWithoutMemoryForItsLastStepLeavesNothingLoaded)
{
    const std::string directory = mTree.Path("projects/atlas/releases/1.0.0.0");
    const auto start = [&]
    {
        MorvShutdown();
        LogRecorder::Clear();
        return MorvInitialize(0, 0, 0, directory.c_str());
    };
    EXPECT_EQ(start(), S_OK);
    HRESULT result = E_FAIL;
    const long allocations = Count(
        [&]
        {
            result = start();
        });
    EXPECT_EQ(result, S_OK);

    // The last of them is the count behind the environment, which is whole by then.
    gAllocationsLeft = allocations - 1;
    EXPECT_THROW(start(), std::bad_alloc);
    EXPECT_EQ(gAllocationsLeft, -1);
    EXPECT_EQ(Initialize(directory), S_OK);
    EXPECT_EQ(MorvFileExists(Naked), 1u);
}

/// Open descriptors of this process.
std::ptrdiff_t CountDescriptors()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
}

/// Lets the leak checker of a sanitizer build overlook what is leaked on purpose in a scope.
class LeaksAllowed
{
public:
    LeaksAllowed()
    {
#ifdef KELD_TEST_LEAK_CHECKER
        __lsan_disable();
#endif
    }

    ~LeaksAllowed()
    {
#ifdef KELD_TEST_LEAK_CHECKER
        __lsan_enable();
#endif
    }

    LeaksAllowed(const LeaksAllowed &) = delete;
    LeaksAllowed &operator=(const LeaksAllowed &) = delete;
};

// Until a listing is whole, nothing of it stays open. Behind that the start has it in a vector of plain pointers, whose
// exception leaves it undestroyed, with its two data files; only the environment, at the very end, owns it.
TEST_F(AllocationTest, AStartThatRunsOutOfMemoryKeepsNoFileOpenButThoseOfAWholeListing)
{
    const std::string archives = "MORV/projects/packed/filearchives/1.0.0.0/";
    ManifestImage manifest("packed", 0x01000000);
    for (const char *const name : {"first", "second"})
    {
        const std::string path = std::string(name) + "/a-name-that-is-long-enough-not-to-fit-in-a-small-string.txt";
        mTree.Disk().Write(archives + name + ".vka", ArchiveImage().File(path, 0, 7).Bytes());
        mTree.Disk().Write(archives + name + ".vka.dat", "content");
        manifest.File(path, {.flags = 0x02, .size = 7});
    }
    mTree.Disk().Write("MORV/projects/packed/releases/1.0.0.0/releasemanifest", manifest.Bytes());
    const std::string directory = mTree.Path("projects/packed/releases/1.0.0.0");
    MorvShutdown();
    const long allocations = Count(
        [&directory]
        {
            Start(directory);
        });

    const LeaksAllowed leaksAllowed;
    std::string kept; // a digit for each allocation that fails: how many files stay open
    for (long succeeding = 0; succeeding < allocations; ++succeeding)
    {
        MorvShutdown();
        LogRecorder::Clear();
        const auto before = CountDescriptors();
        gAllocationsLeft = succeeding;
        try
        {
            Initialize(directory);
        }
        catch (const std::bad_alloc &)
        {
            kept += std::to_string(CountDescriptors() - before);
        }
        gAllocationsLeft = -1;
    }
    EXPECT_THAT(kept, testing::MatchesRegex("0+2+0"));
}

TEST_F(AllocationTest, AnOpenThatFindsNothingAllocatesNothing)
{
    EXPECT_EQ(Count(
                  []
                  {
                      MorvOpenFile("not/there");
                  }),
              0);
    EXPECT_EQ(Count(
                  []
                  {
                      MorvOpenFile("data");
                  }),
              0);
}
} // namespace
} // namespace Keld::Test
