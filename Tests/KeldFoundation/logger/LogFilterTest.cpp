#include "KeldFoundation/logger/Log.h"

#include "KeldFoundation/logger/LoggerTest.h"

#include <atomic>
#include <thread>

#include <sys/mman.h>

namespace Keld::Test
{
namespace
{
class LogFilterTest : public LoggerTest
{
protected:
    LogFilterTest()
    {
        DetachStdErr();
        mLogger.AddTarget(&mTarget);
    }

    ~LogFilterTest() override { mLogger.RemoveTarget(&mTarget); }

    /// Whether the message reaches the target.
    bool Passes(int32 severity, uint32 groupLow, uint32 groupHigh = 0)
    {
        mTarget.texts.clear();
        Log(severity, groupLow, groupHigh, "message");
        return !mTarget.texts.empty();
    }

    PlainTarget mTarget;
};

TEST_F(LogFilterTest, PassesTheLevelAndAbove)
{
    for (int32 level = 0; level < 4; ++level)
    {
        mLogger.SetLevel(level);
        for (int32 severity = 0; severity < 4; ++severity)
        {
            EXPECT_EQ(Passes(severity, DBG), severity >= level) << level << " " << severity;
        }
    }
}

TEST_F(LogFilterTest, ComparesTheLevelSigned)
{
    EXPECT_FALSE(Passes(-1, DBG));
    mTarget.level = -10;
    mLogger.SetLevel(-2);
    EXPECT_TRUE(Passes(-1, DBG));
    EXPECT_FALSE(Passes(-3, DBG));
}

TEST_F(LogFilterTest, DropsEverythingWhenMuted)
{
    mLogger.Mute();
    EXPECT_FALSE(Passes(ALWAYS, DBG));
    mLogger.Unmute();
    EXPECT_TRUE(Passes(ALWAYS, DBG));
}

TEST_F(LogFilterTest, DropsAMessageWithAnIgnoredGroupOfEitherWord)
{
    EXPECT_FALSE(Passes(ERROR, DBG | XTR));
    mLogger.SetIgnoredGroups(GEN, 0x80000000);
    EXPECT_TRUE(Passes(ERROR, DBG | XTR));
    EXPECT_FALSE(Passes(ERROR, DBG | GEN));
    EXPECT_FALSE(Passes(ERROR, DBG, 0x80000000));
    EXPECT_TRUE(Passes(ERROR, DBG, 0x40000000));
}

TEST_F(LogFilterTest, AnEmptyMaskPassesAllGroupFilters)
{
    mLogger.SetIgnoredGroups(0xFFFFFFFF, 0xFFFFFFFF);
    mTarget.ignored = ~static_cast<uint64>(0);
    mTarget.required = GEN;
    EXPECT_TRUE(Passes(ERROR, 0));
    mTarget.level = ALWAYS;
    EXPECT_FALSE(Passes(ERROR, 0)) << "the target's level still counts";
}

TEST_F(LogFilterTest, AMessageMustPassTheTargetsLevelAsWell)
{
    mLogger.SetLevel(OKAY);
    mTarget.level = WARN;
    EXPECT_FALSE(Passes(OKAY, DBG));
    EXPECT_TRUE(Passes(WARN, DBG));
    mLogger.SetLevel(ERROR);
    EXPECT_FALSE(Passes(WARN, DBG));
}

TEST_F(LogFilterTest, ATargetSkipsItsIgnoredGroups)
{
    mTarget.ignored = GEN | static_cast<uint64>(1) << 63;
    EXPECT_TRUE(Passes(ERROR, DBG));
    EXPECT_FALSE(Passes(ERROR, DBG | GEN));
    EXPECT_FALSE(Passes(ERROR, DBG, 0x80000000));
}

TEST_F(LogFilterTest, ATargetThatRequiresGroupsTakesAnyOfThem)
{
    mTarget.required = DBG | static_cast<uint64>(MEM) << 32;
    EXPECT_TRUE(Passes(ERROR, DBG | NET));
    EXPECT_TRUE(Passes(ERROR, NET, MEM));
    EXPECT_FALSE(Passes(ERROR, NET));
    EXPECT_FALSE(Passes(ERROR, MEM, DBG));
}

TEST_F(LogFilterTest, IgnoredComesBeforeRequired)
{
    mTarget.required = DBG;
    mTarget.ignored = GEN;
    EXPECT_FALSE(Passes(ERROR, DBG | GEN));
}

TEST_F(LogFilterTest, CountsOnlyTheWarningsThatItWants)
{
    const uint64 before = Warnings();
    Log(WARN, DBG, 0, "counted");
    EXPECT_EQ(Warnings(), before + 1);
    Log(WARN, DBG | XTR, 0, "ignored");
    Log(ERROR, DBG, 0, "no warning");
    Log(ALWAYS, DBG, 0, "no warning");
    EXPECT_EQ(Warnings(), before + 1);
    mLogger.Mute();
    Log(WARN, DBG, 0, "muted");
    mLogger.Unmute();
    mLogger.SetLevel(ERROR);
    Log(WARN, DBG, 0, "below the level");
    EXPECT_EQ(Warnings(), before + 1);
}

TEST_F(LogFilterTest, CountsAWarningThatNoTargetTakes)
{
    const uint64 before = Warnings();
    mTarget.level = ALWAYS;
    Log(WARN, DBG, 0, "counted");
    EXPECT_TRUE(mTarget.texts.empty());
    EXPECT_EQ(Warnings(), before + 1);
}

TEST_F(LogFilterTest, AFilteredMessageIsNotFormatted)
{
    void *const page = mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(page, MAP_FAILED);
    const char *const unreadable = static_cast<const char *>(page);
    Log(OKAY, GEN, 0, "%s", unreadable);
    Log(ERROR, DBG | XTR, 0, "%s", unreadable);
    mLogger.Mute();
    Log(ALWAYS, DBG, 0, "%s", unreadable);
    mLogger.Unmute();
    EXPECT_TRUE(mTarget.texts.empty());
    munmap(page, 4096);
}

TEST_F(LogFilterTest, AFilteredMessageTakesNoLock)
{
    std::atomic<bool> inside{false};
    std::atomic<bool> filtered{false};
    mTarget.onWrite = [&]
    {
        inside.store(true);
        while (!filtered.load())
        {
            std::this_thread::yield();
        }
    };
    std::thread writer(
        []
        {
            Log(ERROR, DBG, 0, "holds the logger's lock");
        });
    while (!inside.load())
    {
        std::this_thread::yield();
    }
    Log(OKAY, GEN, 0, "below the level");
    Log(ERROR, DBG | XTR, 0, "ignored");
    filtered.store(true);
    writer.join();
    EXPECT_EQ(mTarget.texts.size(), 1u);
}
} // namespace
} // namespace Keld::Test
