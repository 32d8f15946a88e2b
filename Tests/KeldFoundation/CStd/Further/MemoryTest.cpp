#include "KeldFoundation/CStd/Further/Memory.h"

#include "KeldFoundation/CStd/CStd.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <cstring>
#include <string>

namespace Keld::Test
{
namespace
{
bool IsAligned(const void *pointer, uint_size alignment)
{
    return reinterpret_cast<std::uintptr_t>(pointer) % alignment == 0;
}
} // namespace

TEST(MemoryTest, FillsComparesAndResizes)
{
    auto *block = static_cast<char *>(std_malloc(4));
    ASSERT_NE(block, nullptr);
    std_memfill(block, 'q', 4);
    EXPECT_EQ(std_memcmp(block, "qqqq", 4), 0);
    EXPECT_LT(std_memcmp(block, "qqqr", 4), 0);
    block = static_cast<char *>(std_realloc(block, 4000));
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(std::string(block, 4), "qqqq");
    std_free(block);
}

TEST(AlignedMemoryTest, AlignsBlocksOfEverySize)
{
    for (uint_size alignment = 1; alignment <= 0x10000; alignment *= 2)
    {
        for (const uint_size size : {0u, 1u, 100u, 5000u})
        {
            void *const block = std_aligned_malloc(size, alignment);
            ASSERT_NE(block, nullptr);
            EXPECT_TRUE(IsAligned(block, alignment)) << alignment;
            std::memset(block, 0xAB, size);
            std_aligned_free(block);
        }
    }
    std_aligned_free(nullptr);
}

TEST(AlignedMemoryTest, KeepsTheDistanceToThePlatformsBlockInFrontOfTheResult)
{
    for (const uint_size alignment : {0u, 1u, 2u, 4u, 64u, 4096u})
    {
        void *const block = std_aligned_malloc(10, alignment);
        ASSERT_NE(block, nullptr);
        uint32 distance = 0;
        std::memcpy(&distance, static_cast<const char *>(block) - 4, 4);
        EXPECT_GE(distance, 4u) << alignment;
        EXPECT_LE(distance, alignment < 4 ? 4u : alignment) << alignment;
        std_aligned_free(block);
    }
}

TEST(AlignedMemoryTest, RefusesAlignmentsAndSizesThatCannotBe)
{
    EXPECT_EQ(std_aligned_malloc(10, 24), nullptr);
    EXPECT_EQ(std_aligned_malloc(10, uint_size{1} << 32), nullptr);
    EXPECT_EQ(std_aligned_malloc(static_cast<uint_size>(-1), 16), nullptr);
}

TEST(AlignedMemoryTest, KeepsTheContentWhenItResizes)
{
    void *block = std_aligned_realloc(nullptr, 6, 64);
    ASSERT_NE(block, nullptr);
    std::memcpy(block, "012345", 6);
    block = std_aligned_realloc(block, 100000, 4096);
    ASSERT_NE(block, nullptr);
    EXPECT_TRUE(IsAligned(block, 4096));
    EXPECT_EQ(std::memcmp(block, "012345", 6), 0);
    block = std_aligned_realloc(block, 3, 16);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(std::memcmp(block, "012", 3), 0);
    EXPECT_EQ(std_aligned_realloc(block, 3, 24), nullptr);
    EXPECT_EQ(std::memcmp(block, "012", 3), 0);
    std_aligned_free(block);
}

TEST(MemoryTest, KnowsThePageSize)
{
    const uint_size size = std_page_size();
    EXPECT_GE(size, 4096u);
    EXPECT_EQ(size & (size - 1), 0u);
}

TEST(MemoryTest, SleepsAtLeastSoLong)
{
    const auto begin = std::chrono::steady_clock::now();
    std_sleep(2);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(2));
    std_sleep(0);
}
} // namespace Keld::Test
