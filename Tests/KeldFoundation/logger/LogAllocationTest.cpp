#include "KeldFoundation/logger/LoggerTest.h"
#include "KeldFoundation/logger/StdErrLogTarget.h"

#include <cstdlib>
#include <new>

// A program of its own, since it replaces the allocation functions of the whole process.
namespace
{
thread_local unsigned long gAllocations = 0;

void *Allocate(std::size_t size)
{
    ++gAllocations;
    void *const memory = std::malloc(size);
    if (memory == nullptr)
    {
        throw std::bad_alloc();
    }
    return memory;
}
} // namespace

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
