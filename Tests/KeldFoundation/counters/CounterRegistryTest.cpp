#include "KeldFoundation/counters/CounterRegistry.h"

#include "KeldFoundation/counters/CounterHandles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <thread>

namespace Keld::Test
{
namespace
{
using Values = std::vector<std::pair<std::string, uint64>>;

TEST(CounterRegistryTest, LookupMakesACounterOnceAndFindsItAgain)
{
    CounterRegistry registry;
    Counter *const counter = registry.Lookup("name", 0, 0);
    EXPECT_EQ(counter->mValue, 0u);
    EXPECT_EQ(counter->mKind, 0u);
    counter->mValue = 5;
    EXPECT_EQ(registry.Lookup("name", 0, 0), counter);
    EXPECT_EQ(counter->mValue, 5u);
    EXPECT_NE(registry.Lookup("Name", 0, 0), counter) << "names differ by case";
}

TEST(CounterRegistryTest, LookupReplacesTheKindOfACounterThatIsThere)
{
    CounterRegistry registry;
    Counter *const counter = registry.Lookup("name", 1, 2);
    EXPECT_EQ(counter->mKind, 0x0000000200000001u);
    EXPECT_EQ(registry.Lookup("name", 0, 0), counter);
    EXPECT_EQ(counter->mKind, 0u);
}

TEST(CounterRegistryTest, CreateReplacesTheCounterOfAName)
{
    CounterRegistry registry;
    const std::unique_ptr<Counter> replaced(registry.Create("name"));
    replaced->mValue = 7;
    Counter *const counter = registry.Create("name");
    EXPECT_NE(counter, replaced.get());
    EXPECT_EQ(counter->mValue, 0u);
    EXPECT_EQ(registry.Lookup("name", 0, 0), counter);
    EXPECT_EQ(replaced->mValue, 7u) << "it is its holder's now";
}

TEST(CounterRegistryTest, GivesTheValueOfACounter)
{
    CounterRegistry registry;
    registry.Lookup("name", 0, 0)->mValue = 0x1234567890ABCDEF;
    uint64 value = 0;
    EXPECT_TRUE(registry.GetValue(value, "name"));
    EXPECT_EQ(value, 0x1234567890ABCDEFu);
}

TEST(CounterRegistryTest, LeavesTheResultAloneForAnUnknownName)
{
    CounterRegistry registry;
    uint64 value = 42;
    EXPECT_FALSE(registry.GetValue(value, "name"));
    EXPECT_EQ(value, 42u);
}

TEST(CounterRegistryTest, ListsCountersInTheOrderOfTheirNames)
{
    CounterRegistry registry;
    registry.Lookup("b", 0, 0)->mValue = 1;
    registry.Lookup("a", 0, 0)->mValue = 2;
    registry.Lookup("C", 0, 0)->mValue = 3;
    Values values = {{"left over", 0}};
    registry.GetAll(values);
    EXPECT_EQ(values, (Values{{"C", 3}, {"a", 2}, {"b", 1}}));
}

TEST(CounterRegistryTest, LooksAtTheLowestBitOfAKindAlone)
{
    CounterRegistry registry;
    registry.Lookup("hidden", 1, 0);
    registry.Lookup("hidden too", 0xFFFFFFFF, 0xFFFFFFFF);
    registry.Lookup("shown", 0xFFFFFFFE, 0xFFFFFFFF);
    Values values;
    registry.GetAll(values);
    EXPECT_EQ(values, (Values{{"shown", 0}}));
}

TEST(CounterRegistryTest, ResetForgetsEveryCounter)
{
    CounterRegistry registry;
    registry.Lookup("name", 0, 0)->mValue = 5;
    registry.Reset();
    uint64 value = 42;
    EXPECT_FALSE(registry.GetValue(value, "name"));
    Values values;
    registry.GetAll(values);
    EXPECT_TRUE(values.empty());
    registry.Activate();
    EXPECT_EQ(registry.Lookup("name", 0, 0)->mValue, 0u);
}

TEST(CounterRegistryTest, ThereIsOneForTheProcess)
{
    EXPECT_EQ(&CounterRegistry::Get(), &CounterRegistry::Get());
}

TEST(CounterRegistryTest, ThreadsGetOneCounterForOneName)
{
    CounterRegistry registry;
    std::vector<Counter *> found(4, nullptr);
    std::vector<std::thread> threads;
    threads.reserve(found.size());
    for (Counter *&result : found)
    {
        threads.emplace_back(
            [&]
            {
                result = registry.Lookup("name", 0, 0);
            });
    }
    for (std::thread &thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(std::count(found.begin(), found.end(), found[0]), 4);
}

// Handles look up in the process-wide registry, whose other counters are in use elsewhere.

TEST(CounterHandleTest, RefersToTheCounterOfItsName)
{
    const CounterHandle first("CounterHandleTest.One");
    const CounterHandle second("CounterHandleTest.One");
    EXPECT_EQ(&first.Get(), &second.Get());
    EXPECT_EQ(first.Get().mKind, 0u);
}

TEST(CounterHandleTest, CountsFromSeveralThreads)
{
    const CounterHandle handle("CounterHandleTest.Threads");
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int thread = 0; thread < 4; ++thread)
    {
        threads.emplace_back(
            [&]
            {
                for (int count = 0; count < 1000; ++count)
                {
                    handle.Increment();
                }
            });
    }
    uint64 seen = 0;
    EXPECT_TRUE(CounterRegistry::Get().GetValue(seen, "CounterHandleTest.Threads"));
    EXPECT_LE(seen, 4000u);
    for (std::thread &thread : threads)
    {
        thread.join();
    }
    EXPECT_TRUE(CounterRegistry::Get().GetValue(seen, "CounterHandleTest.Threads"));
    EXPECT_EQ(seen, 4000u);
}

TEST(CounterHandleTest, CountsThroughAll64Bits)
{
    const CounterHandle handle("CounterHandleTest.Wide");
    handle.Get().mValue = 0xFFFFFFFF;
    handle.Increment();
    EXPECT_EQ(handle.Get().mValue, 0x100000000u);
}

TEST(CounterHandleTest, ACompanionOfALastValueIsNotListed)
{
    const ValueCounterHandle handle("CounterHandleTest.Value");
    EXPECT_EQ(handle.Get().mKind, 0u);
    EXPECT_EQ(handle.GetLastValue().mKind, 1u);
    uint64 value = 0;
    EXPECT_TRUE(CounterRegistry::Get().GetValue(value, "CounterHandleTest.Value_LastValue"));

    Values values;
    CounterRegistry::Get().GetAll(values);
    const auto isNamed = [&](const char *name)
    {
        return std::any_of(values.begin(), values.end(),
                           [&](const auto &entry)
                           {
                               return entry.first == name;
                           });
    };
    EXPECT_TRUE(isNamed("CounterHandleTest.Value"));
    EXPECT_FALSE(isNamed("CounterHandleTest.Value_LastValue"));
}

TEST(CounterHandleTest, ATimedOneHasAStopwatchThatStandsStill)
{
    TimedCounterHandle handle("CounterHandleTest.Timed");
    EXPECT_EQ(&handle.Get(), &CounterHandle("CounterHandleTest.Timed").Get());
    EXPECT_EQ(handle.GetStopwatch().GetMilliseconds(), 0);
}
} // namespace
} // namespace Keld::Test
