#include "KeldFoundation/CStd/Assertion.h"

#include "KeldFoundation/CStd/CStd.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <string>
#include <vector>

namespace Keld::Test
{
namespace
{
std::vector<std::string> gReported;

void Collect(const char *text)
{
    gReported.emplace_back(text);
}

void Print(const char *text)
{
    std::fprintf(stderr, "<%s>", text);
}

// Leaves the slots as they were found: the logger fills them once for the whole process.
class AssertionTest : public testing::Test
{
protected:
    AssertionTest() : mOkay(gOkayReporter()), mWarning(gWarningReporter()), mError(gErrorReporter())
    {
        gReported.clear();
    }
    ~AssertionTest() override { SetReporters(mOkay, mWarning, mError); }

    std::string ReportOf(const char *description, int line = 7)
    {
        SetReporters({}, {}, Collect);
        ReportAssertionFailure("a < b", description, "Some/File.cpp", line, "void Some::Function()");
        return gReported.size() == 1 ? gReported[0] : "not one report";
    }

private:
    Reporter mOkay;
    Reporter mWarning;
    Reporter mError;
};

// Runs `call` in a process of its own, with reports on standard error.
template <class Call>
void WithPrintedReports(const Call &call)
{
    SetReporters(Print, Print, Print);
    call();
}

char *const NullText = nullptr;
} // namespace

TEST_F(AssertionTest, WritesEveryFieldInItsPlace)
{
    EXPECT_EQ(ReportOf("Why."),
              "Assertion failed!\n\nFile: Some/File.cpp\nLine: 7\n\nFunction: void Some::Function()\n\n"
              "Expression: a < b\n\nDescription: Why.");
}

TEST_F(AssertionTest, LeavesTheDescriptionOutWhenThereIsNone)
{
    const std::string expected = "Assertion failed!\n\nFile: Some/File.cpp\nLine: 7\n\nFunction: void "
                                 "Some::Function()\n\nExpression: a < b";
    EXPECT_EQ(ReportOf(nullptr), expected);
    gReported.clear();
    EXPECT_EQ(ReportOf(""), expected);
}

TEST_F(AssertionTest, WritesANegativeLineWithItsSign)
{
    EXPECT_THAT(ReportOf(nullptr, -12), testing::HasSubstr("\nLine: -12\n"));
}

TEST_F(AssertionTest, HandsEachReportToItsOwnSlot)
{
    SetReporters(
        [](const char *text)
        {
            gReported.push_back(std::string("okay ") + text);
        },
        [](const char *text)
        {
            gReported.push_back(std::string("warning ") + text);
        },
        [](const char *text)
        {
            gReported.push_back(std::string("error ") + text);
        });
    ReportOkay("1");
    ReportWarning("2");
    ReportError("3");
    EXPECT_EQ(gReported, (std::vector<std::string>{"okay 1", "warning 2", "error 3"}));
}

TEST_F(AssertionTest, SwallowsReportsWhileTheSlotsAreEmpty)
{
    SetReporters({}, {}, {});
    EXPECT_TRUE(gOkayReporter().empty());
    EXPECT_TRUE(gWarningReporter().empty());
    EXPECT_TRUE(gErrorReporter().empty());
    ReportOkay("1");
    ReportWarning("2");
    ReportError("3");
    EXPECT_TRUE(gReported.empty());
}

TEST_F(AssertionTest, StopsByAnIllegalInstruction)
{
    EXPECT_EXIT(AssertionStop(), testing::KilledBySignal(SIGILL), "^$");
}

TEST_F(AssertionTest, DiesWithoutAWordWhileTheSlotsAreEmpty)
{
    SetReporters({}, {}, {});
    EXPECT_EXIT(std_strncpy(NullText, 4, "a", TRUNCATE), testing::KilledBySignal(SIGILL), "^$");
}

TEST_F(AssertionTest, NamesTheSourceTheExpressionAndTheFunctionOfACopy)
{
    EXPECT_EXIT(WithPrintedReports(
                    []
                    {
                        std_strncpy(NullText, 4, "a", TRUNCATE);
                    }),
                testing::KilledBySignal(SIGILL),
                testing::ContainsRegex("^<Assertion failed!\n\nFile: Game/Core/KeldFoundation/CStd/CStd\\.cpp\n"
                                       "Line: [0-9]+\n\nFunction: char \\*Keld::std_strncpy\\(char \\*, uint_size, "
                                       "const char \\*, uint_size\\)\n\nExpression: pDest>$"));
    char buffer[4];
    EXPECT_EXIT(WithPrintedReports(
                    [&buffer]
                    {
                        std_strncpy(buffer, 4, NullText, 9);
                    }),
                testing::KilledBySignal(SIGILL), testing::EndsWith("\n\nExpression: pSrc>"));
}

TEST_F(AssertionTest, DescribesACountThatWouldCut)
{
    char buffer[4];
    EXPECT_EXIT(WithPrintedReports(
                    [&buffer]
                    {
                        std_strncpy(buffer, 4, "ab", 4);
                    }),
                testing::KilledBySignal(SIGILL),
                testing::EndsWith("\n\nExpression: count != TRUNCATE ? count < num : true\n\n"
                                  "Description: String operation causes truncation.>"));
}

TEST_F(AssertionTest, DescribesADestinationWithoutAnEnd)
{
    char buffer[3] = {'a', 'b', 'c'};
    EXPECT_EXIT(
        WithPrintedReports(
            [&buffer]
            {
                std_strncat(buffer, 3, "d", 1);
            }),
        testing::KilledBySignal(SIGILL),
        testing::EndsWith("\n\nFunction: char *Keld::std_strncat(char *, uint_size, const char *, uint_size)\n\n"
                          "Expression: num > DestLength\n\n"
                          "Description: Trying to std_strncat to a non-null-terminated string>"));
}

TEST_F(AssertionTest, NamesTheOtherCallsThatAssert)
{
    char buffer[4] = "";
    EXPECT_EXIT(WithPrintedReports(
                    []
                    {
                        std_strnlen(NullText, 4);
                    }),
                testing::KilledBySignal(SIGILL),
                testing::EndsWith("\n\nFunction: uint_size Keld::std_strnlen(const char *, uint_size)\n\n"
                                  "Expression: pStr>"));
    EXPECT_EXIT(WithPrintedReports(
                    [&buffer]
                    {
                        std_strlcpy(buffer, 4, NullText);
                    }),
                testing::KilledBySignal(SIGILL),
                testing::EndsWith("\n\nFunction: char *Keld::std_strlcpy(char *, uint_size, const char *)\n\n"
                                  "Expression: src>"));
    EXPECT_EXIT(WithPrintedReports(
                    []
                    {
                        std_memcpy(NullText, 4, "a", 1);
                    }),
                testing::KilledBySignal(SIGILL),
                testing::EndsWith("\n\nFunction: void *Keld::std_memcpy(void *, uint_size, const void *, uint_size)\n\n"
                                  "Expression: pDest>"));
    EXPECT_EXIT(WithPrintedReports(
                    [&buffer]
                    {
                        std_memcpy(buffer, 4, NullText, 1);
                    }),
                testing::KilledBySignal(SIGILL), testing::EndsWith("\n\nExpression: pSrc>"));
    EXPECT_EXIT(WithPrintedReports(
                    [&buffer]
                    {
                        std_strncat(buffer, 4, NullText, 1);
                    }),
                testing::KilledBySignal(SIGILL), testing::EndsWith("\n\nExpression: pSrc>"));
    EXPECT_EXIT(WithPrintedReports(
                    []
                    {
                        std_strncat(NullText, 4, "a", 1);
                    }),
                testing::KilledBySignal(SIGILL), testing::EndsWith("\n\nExpression: pDest>"));
}
} // namespace Keld::Test
