#include "KeldFoundation/logger/LineFormat.h"

#include "KeldFoundation/counters/StatusHeader.h"
#include "KeldFoundation/logger/Log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include <pthread.h>

namespace Keld::Test
{
namespace
{
LogRecord SomeRecord(const char *message = "message")
{
    return LogRecord{2010, 1, 2, 3, 4, 5, 0, ERROR, DBG | MEM, message};
}

std::string Line(const char *format, const LogRecord &record = SomeRecord(), uint_size size = 8192)
{
    std::string buffer(size + 1, '!');
    Logger::FormatLine(buffer.data(), size, format, &record);
    EXPECT_EQ(buffer.back(), '!') << "written past the end";
    return buffer.c_str();
}

TEST(LineFormatTest, ExpandsTheDate)
{
    EXPECT_EQ(Line("#D"), "2010-01-02T03:04:05.000\n");
}

TEST(LineFormatTest, ExpandsTheApplicationName)
{
    EXPECT_EQ(Line("#E"), "<unknown>\n");
}

TEST(LineFormatTest, ExpandsTheGroups)
{
    EXPECT_EQ(Line("#G"), "DBG;MEM\n");
}

TEST(LineFormatTest, ExpandsTheStatusHeader)
{
    EXPECT_THAT(Line("#H"), testing::MatchesRegex("[0-9][0-9][0-9][0-9][0-9][0-9]\\.[0-9][0-9][0-9]\\|       "
                                                  "0\\.0000kb\\|      0\\.0000kb added\n"));
}

TEST(LineFormatTest, ExpandsTheSeverity)
{
    LogRecord record = SomeRecord();
    const char *const names[] = {"  OKAY\n", "  WARN\n", " ERROR\n", "ALWAYS\n"};
    for (record.severity = 0; record.severity < 4; ++record.severity)
    {
        EXPECT_EQ(Line("#L", record), names[record.severity]);
    }
    record.severity = 4;
    EXPECT_EQ(Line("#L", record), "??????\n");
    record.severity = -1;
    EXPECT_EQ(Line("#L", record), "??????\n");
}

TEST(LineFormatTest, ExpandsTheMessage)
{
    EXPECT_EQ(Line("#M"), "message\n");
    EXPECT_EQ(Line("<#M>", SomeRecord("")), "<>\n");
    EXPECT_EQ(Line("<#M>", SomeRecord(nullptr)), "<>\n");
}

TEST(LineFormatTest, DoesNotReadTokensInAMessage)
{
    EXPECT_EQ(Line("#M", SomeRecord("#M %s")), "#M %s\n");
}

TEST(LineFormatTest, ExpandsTheThread)
{
    EXPECT_EQ(Line("#T"), std::to_string(pthread_self()) + "\n");
}

TEST(LineFormatTest, LetsAnyOtherCharacterStandForItself)
{
    EXPECT_EQ(Line("#X"), "X\n");
    EXPECT_EQ(Line("##"), "#\n");
    EXPECT_EQ(Line("100#%"), "100%\n");
    EXPECT_EQ(Line("#m#d"), "md\n");
    EXPECT_EQ(Line("###M"), "#message\n");
}

TEST(LineFormatTest, StopsAtALoneMarkAtTheEnd)
{
    EXPECT_EQ(Line("a#"), "a\n");
    EXPECT_EQ(Line("#"), "\n");
}

TEST(LineFormatTest, CopiesAllOtherCharacters)
{
    EXPECT_EQ(Line("a | b"), "a | b\n");
    EXPECT_EQ(Line("#E(#L): #M"), "<unknown>( ERROR): message\n");
}

TEST(LineFormatTest, AnEmptyFormatGivesANewline)
{
    EXPECT_EQ(Line(""), "\n");
    EXPECT_EQ(Line(nullptr), "\n");
}

TEST(LineFormatTest, ARecordWithoutGroupsGivesAnEmptyField)
{
    LogRecord record = SomeRecord();
    record.groups = 0;
    EXPECT_EQ(Line("#G", record), "\n");
    EXPECT_EQ(Line("a#Gb", record), "ab\n");
}

TEST(LineFormatTest, DoesNotDoubleAFinalNewline)
{
    EXPECT_EQ(Line("#M", SomeRecord("text\n")), "text\n");
    EXPECT_EQ(Line("#M", SomeRecord("text\n\n")), "text\n\n");
    EXPECT_EQ(Line("#M|", SomeRecord("text\n")), "text\n|\n");
    EXPECT_EQ(Line("a\n"), "a\n");
}

TEST(LineFormatTest, KeepsANewlineInTheMiddleWithoutAPrefixBehindIt)
{
    EXPECT_EQ(Line("#L| #M", SomeRecord("one\ntwo")), " ERROR| one\ntwo\n");
}

TEST(LineFormatTest, WritesWhatFitsIntoTinyBuffers)
{
    EXPECT_EQ(Line("#M", SomeRecord(), 1), "");
    EXPECT_EQ(Line("#M", SomeRecord(), 2), "\n");
    EXPECT_EQ(Line("#M", SomeRecord(), 3), "\n");
    EXPECT_EQ(Line("#M", SomeRecord(), 4), "m\n");

    char byte = '!';
    const LogRecord record = SomeRecord();
    Logger::FormatLine(&byte, 0, "#M", &record);
    EXPECT_EQ(byte, '!');
    Logger::FormatLine(nullptr, 0, "#M", &record);
}

TEST(LineFormatTest, CutsToTheBufferAndStillEndsInANewline)
{
    const std::string text(20, 'x');
    for (uint_size size = 4; size <= 20; ++size)
    {
        SCOPED_TRACE(size);
        // Two bytes for newline and NUL, and one that stays free.
        const std::string expected = std::string(size - 3, 'x') + "\n";
        EXPECT_EQ(Line(text.c_str(), SomeRecord(), size), expected);
        EXPECT_EQ(Line("#M", SomeRecord(text.c_str()), size), expected);
    }
}

TEST(LineFormatTest, StopsAtTheFirstValueThatDoesNotFit)
{
    EXPECT_EQ(Line("ab#M#L", SomeRecord(), 8), "abmes\n");
    EXPECT_EQ(Line("#D#M", SomeRecord(), 13), "2010-01-02\n");
    EXPECT_EQ(Line("#G#M", SomeRecord(), 9), "DBG;ME\n");
    EXPECT_EQ(Line("#L#M", SomeRecord(), 9), " ERROR\n");
    EXPECT_EQ(Line("#E", SomeRecord(), 7), "<unk\n");
}

TEST(LineFormatTest, ACutLineNeverRunsPastItsBufferWhateverTheToken)
{
    for (const char *format : {"#D#D", "#E#E", "#G#G", "#H#H", "#L#L", "#M#M", "#T#T", "####", "abcd"})
    {
        for (uint_size size = 1; size < 80; ++size)
        {
            SCOPED_TRACE(std::string(format) + " in " + std::to_string(size));
            const std::string line = Line(format, SomeRecord(), size);
            EXPECT_LT(line.size(), size);
            EXPECT_TRUE(size == 1 || line.back() == '\n');
        }
    }
}
} // namespace
} // namespace Keld::Test
