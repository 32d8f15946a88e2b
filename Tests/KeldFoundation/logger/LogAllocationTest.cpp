#include "KeldFoundation/logger/BuiltInLogger.h"
#include "KeldFoundation/logger/FdCapture.h"
#include "KeldFoundation/logger/LoggerCore.h"
#include "KeldFoundation/logger/LoggerTest.h"
#include "KeldFoundation/logger/StdErrLogTarget.h"

#include <cstdlib>
#include <cstring>
#include <new>

// A program of its own, since it replaces the allocation functions of the whole process.
namespace
{
// What this thread allocates.
thread_local unsigned long gAllocations = 0;

// How many uses of `new` succeed on this thread before one fails; negative for all.
thread_local long gAllocationsLeft = -1;

void *Allocate(std::size_t size)
{
    if (gAllocationsLeft == 0)
    {
        gAllocationsLeft = -1;
        throw std::bad_alloc();
    }
    gAllocationsLeft -= gAllocationsLeft > 0 ? 1 : 0;
#ifndef KELD_COUNT_MALLOC
    ++gAllocations;
#endif
    void *const memory = std::malloc(size);
    if (memory == nullptr)
    {
        throw std::bad_alloc();
    }
    return memory;
}
} // namespace

#ifdef KELD_COUNT_MALLOC
// The platform's C library allocates through these as well, if they are visible to it. Under a sanitizer, which has its
// own, only `new` counts.
#pragma GCC visibility push(default)
extern "C"
{
    void *__libc_malloc(std::size_t size);
    void *__libc_calloc(std::size_t count, std::size_t size);
    void *__libc_realloc(void *memory, std::size_t size);

    void *malloc(std::size_t size)
    {
        ++gAllocations;
        return __libc_malloc(size);
    }

    void *calloc(std::size_t count, std::size_t size)
    {
        ++gAllocations;
        return __libc_calloc(count, size);
    }

    void *realloc(void *memory, std::size_t size)
    {
        ++gAllocations;
        return __libc_realloc(memory, size);
    }
}
#pragma GCC visibility pop
#endif

void *operator new(std::size_t size)
{
    return Allocate(size);
}

void *operator new[](std::size_t size)
{
    return Allocate(size);
}

void operator delete(void *memory) noexcept
{
    std::free(memory);
}

void operator delete[](void *memory) noexcept
{
    std::free(memory);
}

void operator delete(void *memory, std::size_t) noexcept
{
    std::free(memory);
}

void operator delete[](void *memory, std::size_t) noexcept
{
    std::free(memory);
}

namespace Keld::Test
{
namespace
{
// First of all, because some of what the first logger of a process needs stays for the later ones.
TEST(FirstLoggerTest, AMessageThatCannotMakeTheLoggerThrowsAndLeavesNone)
{
    SetCurrentLogger(GetBuiltInLogger());
    FdCapture errors(STDERR_FILENO);
    long failures = 0;
    for (bool done = false; !done; ++failures)
    {
        gAllocationsLeft = failures;
        try
        {
            Log(ERROR, DBG, 0, "made");
            done = true;
        }
        catch (const std::bad_alloc &)
        {
            EXPECT_EQ(Logger::LoggerCore::Get(), nullptr);
        }
    }
    gAllocationsLeft = -1;
    EXPECT_GT(failures, 3);
    EXPECT_NE(errors.Stop().find(" ERROR| made\n"), std::string::npos);
    EndLogger();
}

TEST(CounterAllocationTest, ALookupThatCannotAllocateThrowsAndReleasesItsLock)
{
    const std::string name = "a name that is too long for a small string";
    CounterRegistry registry;
    for (long allowed = 0; allowed < 3; ++allowed)
    {
        gAllocationsLeft = allowed;
        EXPECT_THROW(registry.Lookup(name, 0, 0), std::bad_alloc);
        uint64 value = 42;
        EXPECT_FALSE(registry.GetValue(value, name)) << allowed;
    }
    EXPECT_NE(registry.Lookup(name, 0, 0), nullptr);
}

class LogAllocationTest : public LoggerTest
{
protected:
    template <class Call>
    static unsigned long CountAllocations(Call call)
    {
        const unsigned long before = gAllocations;
        call();
        return gAllocations - before;
    }
};

TEST_F(LogAllocationTest, TheCountIsAlive)
{
    EXPECT_EQ(CountAllocations(
                  []
                  {
                      delete new PlainTarget();
                  }),
              1u);
#ifdef KELD_COUNT_MALLOC
    EXPECT_EQ(CountAllocations(
                  []
                  {
                      char *volatile copy = strdup("text"); // volatile, or the pair of calls may be left out
                      std::free(copy);
                  }),
              1u);
#endif
}

TEST_F(LogAllocationTest, AFilteredMessageAllocatesNothing)
{
    EXPECT_EQ(CountAllocations(
                  []
                  {
                      Log(OKAY, GEN, 0, "%s: below the level", "signature");
                  }),
              0u);
    EXPECT_EQ(CountAllocations(
                  []
                  {
                      Log(ERROR, DBG | XTR, 0, "%s: ignored", "signature");
                  }),
              0u);
    mLogger.Mute();
    EXPECT_EQ(CountAllocations(
                  []
                  {
                      Log(ALWAYS, DBG, 0, "%s: muted", "signature");
                  }),
              0u);
}

TEST_F(LogAllocationTest, ADeliveredMessageAllocatesNothingOnItsWayToTheTarget)
{
    Log(ERROR, DBG, 0, "%s: the process's first, which takes in the time zone", "signature");
    EXPECT_EQ(CountAllocations(
                  []
                  {
                      Log(ERROR, DBG, 0, "%s: a line for standard error", "signature");
                  }),
              0u);
    EXPECT_EQ(CountAllocations(
                  []
                  {
                      Log(WARN, DBG, 0, "%s: a counted line for standard error", "signature");
                  }),
              0u);
}
} // namespace
} // namespace Keld::Test
