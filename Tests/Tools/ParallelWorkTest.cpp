#include "Tools/Common/ParallelWork.h"
#include "Tools/Common/Pool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <numeric>
#include <stdexcept>
#include <string>

namespace Keld::Test
{
namespace
{
using Common::ForEachInParallel;
using Common::OrderedWork;

constexpr uint64 Plenty = uint64{1} << 40;

uint64 WeighOne(std::size_t)
{
    return 1;
}

TEST(ParallelWorkTest, EveryIndexIsWorkedOnOnce)
{
    for (const unsigned threads : {1U, 2U, 7U, 64U})
    {
        std::vector<std::atomic<int>> counts(1000);
        ForEachInParallel(threads, counts.size(),
                          [&counts](std::size_t index)
                          {
                              ++counts[index];
                          });
        EXPECT_TRUE(std::all_of(counts.begin(), counts.end(),
                                [](const std::atomic<int> &count)
                                {
                                    return count == 1;
                                }));
    }
    ForEachInParallel(4, 0,
                      [](std::size_t)
                      {
                          ADD_FAILURE();
                      });
}

TEST(ParallelWorkTest, AFailureEndsTheWorkAndIsThrown)
{
    std::atomic<std::size_t> begun{0};
    const auto work = [&begun](std::size_t index)
    {
        ++begun;
        if (index == 5)
        {
            throw std::runtime_error("five");
        }
    };
    EXPECT_THROW(ForEachInParallel(4, 1000000, work), std::runtime_error);
    EXPECT_LT(begun, 1000000u);
}

TEST(ParallelWorkTest, StretchesHoldEveryIndexOnceAndKeepTheirLimits)
{
    for (const std::size_t count : {std::size_t{0}, std::size_t{1}, std::size_t{1000}})
    {
        const auto stretches = Common::CutIntoStretches(count, {1 << 20, 60, 2},
                                                        [](std::size_t index)
                                                        {
                                                            return index < 500 ? 100 : uint64{300} << 10;
                                                        });
        std::size_t next = 0;
        for (const Common::Stretch &stretch : stretches)
        {
            EXPECT_EQ(stretch.begin, next);
            EXPECT_GT(stretch.end, stretch.begin);
            EXPECT_LE(stretch.end - stretch.begin, stretch.begin < 500 ? 60u : 4u);
            next = stretch.end;
        }
        EXPECT_EQ(next, count);
    }
}

TEST(ParallelWorkTest, FewBytesAreCutForAllThreads)
{
    const auto stretches = Common::CutIntoStretches(64, {uint64{1} << 30, 1000, 4},
                                                    [](std::size_t)
                                                    {
                                                        return uint64{1} << 20;
                                                    });
    EXPECT_EQ(stretches.size(), 64u);
}

TEST(ParallelWorkTest, ResultsAreConsumedInOrderOnTheCallersThread)
{
    for (const unsigned threads : {1U, 2U, 8U})
    {
        std::vector<std::string> consumed;
        const std::thread::id caller = std::this_thread::get_id();
        OrderedWork<std::string>(threads, Plenty)
            .Run(
                2000, WeighOne,
                [](std::size_t index)
                {
                    return std::to_string(index);
                },
                [&](std::size_t index, std::string &&result)
                {
                    EXPECT_EQ(consumed.size(), index);
                    EXPECT_EQ(std::this_thread::get_id(), caller);
                    consumed.push_back(std::move(result));
                });
        ASSERT_EQ(consumed.size(), 2000u);
        EXPECT_EQ(consumed.back(), "1999");
    }
}

TEST(ParallelWorkTest, NoMoreIsMadeThanTheBudgetAllows)
{
    std::atomic<uint64> held{0};
    uint64 most = 0;
    const auto weigh = [](std::size_t index) -> uint64
    {
        return index % 50 == 0 ? 25 : 3; // 25 is more than the budget: allowed alone
    };
    OrderedWork<uint64>(6, 20).Run(
        1000, weigh,
        [&](std::size_t index)
        {
            held += weigh(index);
            return weigh(index);
        },
        [&](std::size_t, uint64 &&weight)
        {
            most = std::max<uint64>(most, held);
            held -= weight;
        });
    EXPECT_LE(most, 25u);
    EXPECT_EQ(held, 0u);
}

TEST(ParallelWorkTest, TheFirstFailureInOrderIsThrown)
{
    for (const unsigned threads : {1U, 4U})
    {
        std::size_t consumed = 0;
        const auto run = [&]
        {
            OrderedWork<int>(threads, Plenty)
                .Run(
                    100, WeighOne,
                    [](std::size_t index)
                    {
                        if (index >= 50)
                        {
                            throw std::runtime_error(std::to_string(index));
                        }
                        return 0;
                    },
                    [&consumed](std::size_t, int &&)
                    {
                        ++consumed;
                    });
        };
        try
        {
            run();
            ADD_FAILURE();
        }
        catch (const std::runtime_error &error)
        {
            EXPECT_STREQ(error.what(), "50");
        }
        EXPECT_EQ(consumed, 50u);
    }
}

TEST(ParallelWorkTest, AFailureWhileConsumingEndsTheThreads)
{
    OrderedWork<int> work(4, Plenty);
    const auto produce = [](std::size_t)
    {
        return 1;
    };
    const auto consume = [](std::size_t index, int &&)
    {
        if (index == 3)
        {
            throw std::runtime_error("three");
        }
    };
    EXPECT_THROW(work.Run(100000, WeighOne, produce, consume), std::runtime_error);
}

TEST(ParallelWorkTest, WhatWaitsInAPlaceIsFinishedWhenThereAreNoMoreStretches)
{
    struct Place
    {
        std::size_t waiting = 0;
    };
    for (const unsigned threads : {1U, 3U})
    {
        const auto stretches = Common::CutIntoStretches(1000, {100, 7, threads},
                                                        [](std::size_t)
                                                        {
                                                            return uint64{1};
                                                        });
        std::atomic<std::size_t> finished{0};
        std::atomic<std::size_t> places{0};
        Common::ForEachStretchInPlaces<Place>(
            threads, stretches,
            [](Place &place, const Common::Stretch &stretch)
            {
                place.waiting += stretch.end - stretch.begin;
            },
            [&](Place &place)
            {
                finished += place.waiting;
                ++places;
            });
        EXPECT_EQ(finished, 1000u);
        EXPECT_LE(places, threads);
    }
}
} // namespace
} // namespace Keld::Test
