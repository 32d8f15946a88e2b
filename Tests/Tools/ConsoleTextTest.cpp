#include "Tools/Common/Utf8.h"
#include "Tools/morv/Json.h"
#include "Tools/morv/Progress.h"
#include "Tools/morv/Quantity.h"
#include "Tools/morv/Terminal.h"

#include <gtest/gtest.h>

#include <cstdio>

#include <pty.h>
#include <unistd.h>

namespace Keld::Test
{
namespace
{
using namespace Morv;

TEST(QuantityTest, NounsFollowTheirNumber)
{
    EXPECT_EQ(CountText(1, "file"), "1 file");
    EXPECT_EQ(CountText(0, "file"), "0 files");
    EXPECT_EQ(CountText(2, "directory"), "2 directories");
    EXPECT_EQ(CountText(2, "day"), "2 days");
}

TEST(QuantityTest, BytesAreToldInThreeDigits)
{
    EXPECT_EQ(ByteText(1), "1 byte");
    EXPECT_EQ(ByteText(1023), "1023 bytes");
    EXPECT_EQ(ByteText(1024), "1.00 KiB");
    EXPECT_EQ(ByteText(10239), "10.0 KiB");
    EXPECT_EQ(ByteText(uint64{1} << 30), "1.00 GiB");
    EXPECT_EQ(ByteText((uint64{1} << 20) - 1), "1.00 MiB");
    EXPECT_EQ(ByteText(~uint64{0}), "16.0 EiB");
}

TEST(QuantityTest, DurationsAndRates)
{
    EXPECT_EQ(DurationText(0.042), "0.04 s");
    EXPECT_EQ(DurationText(59.4), "59.4 s");
    EXPECT_EQ(DurationText(59.6), "1 min 0 s");
    EXPECT_EQ(DurationText(3600 * 2 + 180), "2 h 3 min");
    EXPECT_EQ(RateText(2048, 2), "1.00 KiB/s");
    EXPECT_EQ(RateText(1024, 0), "1000 KiB/s");
}

TEST(ProgressTest, TheLineTellsShareRateAndTimeLeft)
{
    EXPECT_EQ(Progress::Line("packing", 512, 2048, 1),
              "packing  25 %  512 bytes of 2.00 KiB, 512 bytes/s, 3.00 s left");
    EXPECT_EQ(Progress::Line("packing", 0, 2048, 1), "packing   0 %  0 bytes of 2.00 KiB, 0 bytes/s");
    EXPECT_EQ(Progress::Line("reading", 4096, 0, 2), "reading 4.00 KiB, 2.00 KiB/s");
    EXPECT_EQ(Progress::Line("packing", 4096, 2048, 2).find("100 %"), 8u);
}

TEST(ProgressTest, AppearsOnATerminalOnceTheWorkTakesLongerAndIsWipedAway)
{
    int terminal = -1;
    int program = -1;
    ASSERT_EQ(openpty(&terminal, &program, nullptr, nullptr, nullptr), 0);
    const int before = dup(STDERR_FILENO);
    dup2(program, STDERR_FILENO);
    {
        Morv::Progress progress("packing", 100, true);
        progress.Add(10); // too early to be told
        usleep(600'000);
        progress.Add(40);
    }
    {
        Morv::Progress silent("packing", 100, false);
        usleep(600'000);
        silent.Add(40);
    }
    std::fflush(stderr);
    dup2(before, STDERR_FILENO);
    close(before);
    close(program);
    std::string shown(4096, '\0');
    const ssize_t size = read(terminal, shown.data(), shown.size());
    close(terminal);
    shown.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    EXPECT_EQ(shown.rfind("\r\x1b[Kpacking  50 %", 0), 0u) << shown;
    EXPECT_EQ(shown.substr(shown.size() - 4), "\r\x1b[K") << shown;
    EXPECT_EQ(shown.find("10 %"), std::string::npos) << shown;
}

TEST(JsonTest, BytesThatAreNoTextAreEscapedAndMarked)
{
    EXPECT_EQ(TextValue("caf\u00e9 \\").dump(), "\"caf\u00e9 \\\\\"");
    EXPECT_EQ(TextValue("caf\xe9 \\").dump(), R"({"escaped":"caf\\xe9 \\\\"})");
    EXPECT_EQ(NewDocument("pack").dump(), R"({"format":"morv.pack/1"})");
}

TEST(TerminalTest, NamesAreShownWithoutWhatMovesTheCursor)
{
    EXPECT_EQ(EscapeForTerminal("a b\u00e9"), "a b\u00e9");
    EXPECT_EQ(EscapeForTerminal("a\n\t\x1b[31m\xff\x7f"), "a\\n\\t\\x1b[31m\\xff\\x7f");
    EXPECT_EQ(EscapeForTerminal("\u009b"), "\\x9b");
}

TEST(TerminalTest, ColorIsForTerminalsUnlessToldOtherwise)
{
    int pipeEnds[2];
    ASSERT_EQ(pipe(pipeEnds), 0);
    EXPECT_EQ(Paint(pipeEnds[1], Ink::Red, "x"), "x");
    ChooseColor(ColorChoice::Always);
    EXPECT_EQ(Paint(pipeEnds[1], Ink::Red, "x"), "\x1b[1;31mx\x1b[0m");
    ChooseColor(ColorChoice::Never);
    EXPECT_EQ(Paint(pipeEnds[1], Ink::Red, "x"), "x");
    ChooseColor(ColorChoice::Auto);
    close(pipeEnds[0]);
    close(pipeEnds[1]);
}

TEST(Utf8Test, WhatIsNotWellFormedIsNotTakenForACharacter)
{
    for (const char *text : {"\xc0\x80", "\xed\xa0\x80", "\xf4\x90\x80\x80", "\xe2\x82", "\x80", "\xf0\x80\x80\x80"})
    {
        EXPECT_FALSE(Common::IsUtf8(text));
    }
    for (const char *text : {"", "a", "\u00e9", "\u20ac", "\U0010FFFF"})
    {
        EXPECT_TRUE(Common::IsUtf8(text));
        std::string again;
        for (const char32_t character : Common::DecodeUtf8(text))
        {
            Common::AppendUtf8(again, character);
        }
        EXPECT_EQ(again, text);
    }
}
} // namespace
} // namespace Keld::Test
