#include "Support/ReleaseFixture.h"

#include <cstdlib>
#include <new>

namespace
{
// Counts what this thread allocates, in the program and in the library alike: the library takes the operators of the
// program that loads it.
thread_local long gAllocations = 0;
thread_local long gReleases = 0;

void *CountedAllocation(std::size_t size)
{
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
