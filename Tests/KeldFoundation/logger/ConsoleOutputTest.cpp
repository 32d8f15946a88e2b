#include "KeldFoundation/CStd/Assertion.h"
#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/logger/FdCapture.h"
#include "KeldFoundation/logger/LoggerTest.h"
#include "KeldFoundation/logger/StdErrLogTarget.h"
#include "KeldFoundation/logger/StdOutLogTarget.h"
#include "Support/LogRecorder.h"

#include <gmock/gmock.h>

#include <csignal>

#include <pthread.h>

// What a user sees of a logger with its default settings, byte for byte but for the number of the thread.
namespace Keld::Test
{
namespace
{
std::string Prefix()
{
    return "<unknown>(" + std::to_string(pthread_self()) + "): ";
}

class ConsoleOutputTest : public LoggerTest
{
protected:
    struct Output
    {
        std::string errors;
        std::string text;
    };

    template <class Call>
    static Output Capture(Call call)
    {
        FdCapture errors(STDERR_FILENO);
        FdCapture text(STDOUT_FILENO);
        call();
        std::string written = text.Stop();
        return {errors.Stop(), std::move(written)};
    }

    template <class Call>
    static std::string Errors(Call call)
    {
        const Output output = Capture(call);
        EXPECT_EQ(output.text, "");
        return output.errors;
    }
};

TEST_F(ConsoleOutputTest, AFailureIsOneLineOnStandardError)
{
    EXPECT_EQ(Errors(
                  []
                  {
                      Log(ERROR, DBG, 0, "%s: Failed to open: %s", "bool Keld::Open()", "a/b");
                  }),
              Prefix() + " ERROR| bool Keld::Open(): Failed to open: a/b\n");
}

TEST_F(ConsoleOutputTest, AWarningIsOneLineOnStandardError)
{
    EXPECT_EQ(Errors(
                  []
                  {
                      Log(WARN, DBG, 0, "careful");
                  }),
              Prefix() + "  WARN| careful\n");
}

TEST_F(ConsoleOutputTest, WhatIsLoggedAlwaysHasItsSixLetters)
{
    EXPECT_EQ(Errors(
                  []
                  {
                      Log(ALWAYS, DBG, 0, "text");
                  }),
              Prefix() + "ALWAYS| text\n");
}

TEST_F(ConsoleOutputTest, ALineCarriesTheLibrarysGroupWithoutShowingIt)
{
    EXPECT_EQ(Errors(
                  []
                  {
                      Log(ERROR, 0x100 | DBG, 0, "text");
                  }),
              Prefix() + " ERROR| text\n");
}

TEST_F(ConsoleOutputTest, ProgressAndTracesAreNotShown)
{
    const Output output = Capture(
        []
        {
            Log(OKAY, GEN, 0, "progress");
            Log(OKAY, DBG | XTR, 0, "trace");
        });
    EXPECT_EQ(output.errors, "");
    EXPECT_EQ(output.text, "");
}

TEST_F(ConsoleOutputTest, ProgressIsDroppedByStandardErrorAtEveryLevel)
{
    EXPECT_EQ(Errors(
                  [this]
                  {
                      mLogger.SetLevel(OKAY);
                      Log(OKAY, GEN, 0, "progress");
                      Log(ERROR, GEN, 0, "not for this target");
                  }),
              Prefix() + "ALWAYS| Global logging level set to   OKAY\n");
}

TEST_F(ConsoleOutputTest, ARecordOfBothGroupsIsRefusedByBothTargets)
{
    const Output output = Capture(
        [this]
        {
            mLogger.GetStdOutTarget()->Attach(mLogger.GetStdOutTarget());
            Log(ERROR, DBG | GEN, 0, "neither");
            Log(ERROR, DBG, 0, "errors");
            Log(ERROR, GEN, 0, "output");
            Log(ERROR, 0, 0, "both");
            mLogger.GetStdOutTarget()->Detach(mLogger.GetStdOutTarget());
        });
    EXPECT_EQ(output.errors, Prefix() + " ERROR| errors\n" + Prefix() + " ERROR| both\n");
    EXPECT_EQ(output.text, "output\nboth\n");
}

TEST_F(ConsoleOutputTest, OnlyTheFirstLineOfATextHasAPrefix)
{
    EXPECT_EQ(Errors(
                  []
                  {
                      Log(ERROR, DBG, 0, "one\ntwo\n");
                  }),
              Prefix() + " ERROR| one\ntwo\n");
}

TEST_F(ConsoleOutputTest, ALineIsCutToItsBuffer)
{
    const std::string line = Errors(
        []
        {
            Log(ERROR, DBG, 0, "%s", std::string(9000, 'x').c_str());
        });
    EXPECT_EQ(line.size(), 8190u);
    EXPECT_EQ(line.substr(0, Prefix().size() + 8), Prefix() + " ERROR| ");
    EXPECT_EQ(line.substr(line.size() - 3), "xx\n");
}

TEST_F(ConsoleOutputTest, StandardOutputIsNotFlushed)
{
    Logger::StdOutLogTarget target;
    const LogRecord record{2010, 1, 2, 3, 4, 5, 0, ERROR, GEN, "text"};
    FdCapture output(STDOUT_FILENO);
    char buffer[BUFSIZ];
    std::setvbuf(stdout, buffer, _IOFBF, sizeof buffer);
    target.Write(&record);
    EXPECT_EQ(lseek(STDOUT_FILENO, 0, SEEK_CUR), 0) << "nothing has come out yet";
    std::fflush(stdout);
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    EXPECT_EQ(output.Stop(), "text\n");
}

TEST_F(ConsoleOutputTest, AnAssertionPrintsItsTextAndDiesByAnIllegalInstruction)
{
    const auto stop = []
    {
        Log(OKAY, GEN, 0, "not shown, but the logger is there now");
        char *volatile nowhere = nullptr;
        std_strncpy(nowhere, 4, "abc", TRUNCATE);
    };
    EXPECT_EXIT(stop(), testing::KilledBySignal(SIGILL),
                testing::ContainsRegex(
                    "^<unknown>\\([0-9]+\\):  ERROR\\| Assertion failed!\n\n"
                    "File: Game/Core/KeldFoundation/CStd/CStd\\.cpp\nLine: [0-9]+\n\n"
                    "Function: char \\*Keld::std_strncpy\\(char \\*, uint_size, const char \\*, uint_size\\)\n\n"
                    "Expression: pDest\n$"));
}

TEST_F(ConsoleOutputTest, AnAssertionWithADescriptionEndsInIt)
{
    const auto stop = []
    {
        char buffer[8];
        std_strncpy(buffer, 4, "abc", 4);
    };
    EXPECT_EXIT(stop(), testing::KilledBySignal(SIGILL),
                testing::ContainsRegex("^<unknown>\\([0-9]+\\):  ERROR\\| Assertion failed!\n\nFile: [^\n]+\nLine: "
                                       "[0-9]+\n\nFunction: [^\n]+\n\nExpression: count != TRUNCATE \\? count < num : "
                                       "true\n\nDescription: String operation causes truncation\\.\n$"));
}

void StopInAnAssertion()
{
    char *volatile nowhere = nullptr;
    std_strncpy(nowhere, 4, "abc", TRUNCATE);
}

TEST(SilentAssertionTest, AnAssertionIsSilentWhenThereNeverWasALogger)
{
    EXPECT_EXIT(StopInAnAssertion(), testing::KilledBySignal(SIGILL), testing::Eq(""));
}

TEST(SilentAssertionTest, AnAssertionIsSilentWhenAnotherLoggerWasCurrentFromTheStart)
{
    const auto stop = []
    {
        SetCurrentLogger(LogRecorder::Table());
        Log(ERROR, DBG, 0, "goes to the recorder");
        StopInAnAssertion();
    };
    EXPECT_EXIT(stop(), testing::KilledBySignal(SIGILL), testing::Eq(""));
}
} // namespace
} // namespace Keld::Test
