#include "KeldMorvIO/environment/ManifestFields.h"

#include "KeldMorvIO/environment/TextFile.h"
#include "Support/ReaderLogCapture.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

namespace Keld::Test
{
namespace
{
using namespace MORV::Reader;

class ManifestFieldsTest : public testing::Test
{
protected:
    ManifestFieldsTest() { errno = 0; }

    std::string StringOf(const std::string &text, SIZE_T limit = ManifestLineLimit)
    {
        std::string value = "before";
        EXPECT_EQ(ReadString(mFiles.Open(text).get(), value, limit), S_OK);
        return value;
    }

    DWORD NumberOf(const std::string &text)
    {
        DWORD value = 77;
        EXPECT_EQ(ReadDWORD(mFiles.Open(text).get(), value), S_OK) << text;
        return value;
    }

    static std::string Text(int error) { return std::strerror(error); }

    TextFiles mFiles;
    ReaderLogCapture mLog;
};

const std::string StringSignature = "HRESULT Keld::MORV::Reader::ReadString(FILE *const, std::string &, const SIZE_T)";
const std::string NumberSignature = "HRESULT Keld::MORV::Reader::ReadDWORD(FILE *const, DWORD &)";
const std::string VersionSignature = "HRESULT Keld::MORV::Reader::ReadVersion(FILE *const, uint32 &)";
const std::string MorvVersionSignature = "HRESULT Keld::MORV::Reader::ReadMorvVersion(FILE *const, MorvVersion &)";

TEST_F(ManifestFieldsTest, AStringEndsAtItsLine)
{
    EXPECT_EQ(StringOf("first\nsecond\n"), "first");
    EXPECT_EQ(StringOf("first"), "first");
    EXPECT_EQ(StringOf("\nsecond\n"), "");
    mLog.ExpectAll({});
}

TEST_F(ManifestFieldsTest, AStringLosesOnlyLineEndsAndOnlyAtItsEnd)
{
    EXPECT_EQ(StringOf("text\r\n"), "text");
    EXPECT_EQ(StringOf("\r\n"), "");
    EXPECT_EQ(StringOf("text\r\r\n"), "text");
    EXPECT_EQ(StringOf("te\rxt\n"), "te\rxt");
    EXPECT_EQ(StringOf("  text \t \n"), "  text \t ");
}

TEST_F(ManifestFieldsTest, AStringEndsAtAnEmbeddedNul)
{
    EXPECT_EQ(StringOf(std::string("ab\0cd\n", 6)), "ab");
    EXPECT_EQ(StringOf(std::string("\0cd\n", 4)), "");
    EXPECT_EQ(StringOf(std::string("ab\n\0cd\n", 7)), "ab");
}

TEST_F(ManifestFieldsTest, TheRestOfAnOverlongLineIsTheNextField)
{
    const Stream file = mFiles.Open(std::string(1023, 'a') + std::string(977, 'b') + "\nnext\n");
    std::string value;
    EXPECT_EQ(ReadString(file.get(), value, 1024), S_OK);
    EXPECT_EQ(value, std::string(1023, 'a'));
    EXPECT_EQ(ReadString(file.get(), value, 1024), S_OK);
    EXPECT_EQ(value, std::string(977, 'b'));
    EXPECT_EQ(ReadString(file.get(), value, 1024), S_OK);
    EXPECT_EQ(value, "next");
    mLog.ExpectAll({});
}

TEST_F(ManifestFieldsTest, AStringIsEmptyAtTheEndOfTheFileWhateverTheOldErrorNumber)
{
    for (const int stale : {0, EIO})
    {
        const Stream file = mFiles.Open("only");
        std::string value;
        EXPECT_EQ(ReadString(file.get(), value, 1024), S_OK);
        EXPECT_EQ(value, "only");
        errno = stale;
        EXPECT_EQ(ReadString(file.get(), value, 1024), S_OK);
        EXPECT_EQ(value, "");
    }
    mLog.ExpectAll({});
}

TEST_F(ManifestFieldsTest, AStringFailsByTheStreamAndReportsWhatTheStreamSays)
{
    const Stream file = mFiles.OpenUnreadable();
    std::string value = "before";
    EXPECT_EQ(ReadString(file.get(), value, 1024), E_FAIL);
    // The stream's flag is 1, and it is the text of that number that is logged, not why the read failed.
    mLog.ExpectAll({Error(Text(1), StringSignature), Error("fgets failed", StringSignature)});
}

TEST_F(ManifestFieldsTest, ANumberIsDecimalHexadecimalOrOctal)
{
    EXPECT_EQ(NumberOf("12\n"), 12u);
    EXPECT_EQ(NumberOf("12abc\n"), 12u);
    EXPECT_EQ(NumberOf("0x10\r\n"), 16u);
    EXPECT_EQ(NumberOf("0X20"), 32u);
    EXPECT_EQ(NumberOf("010\n"), 8u);
    EXPECT_EQ(NumberOf("08\n"), 0u);
    EXPECT_EQ(NumberOf("0x\n"), 0u);
    EXPECT_EQ(NumberOf(" \t+7\n"), 7u);
    mLog.ExpectAll({});
}

TEST_F(ManifestFieldsTest, ANumberSaturatesAt32Bits)
{
    EXPECT_EQ(NumberOf("4294967295\n"), 0xFFFFFFFFu);
    EXPECT_EQ(NumberOf("4294967296\n"), 0xFFFFFFFFu);
    EXPECT_EQ(NumberOf("4294967297\n"), 0xFFFFFFFFu);
    EXPECT_EQ(NumberOf("0x1FFFFFFFF\n"), 0xFFFFFFFFu);
    EXPECT_EQ(NumberOf("99999999999999999999999999\n"), 0xFFFFFFFFu);
    EXPECT_EQ(NumberOf("-4294967296\n"), 0xFFFFFFFFu);
    EXPECT_EQ(NumberOf("-99999999999999999999999999\n"), 0xFFFFFFFFu);
    mLog.ExpectAll({});
}

TEST_F(ManifestFieldsTest, ANegativeNumberWrapsWithin32Bits)
{
    EXPECT_EQ(NumberOf("-1\n"), 0xFFFFFFFFu);
    EXPECT_EQ(NumberOf(" \t\v-5\n"), 4294967291u);
    EXPECT_EQ(NumberOf("-4294967295\n"), 1u);
    EXPECT_EQ(NumberOf("-0\n"), 0u);
}

TEST_F(ManifestFieldsTest, ANumberThatOverflowsLeavesAnErrorNumberForTheNextReadAtTheEnd)
{
    EXPECT_EQ(NumberOf("4294967296\n"), 0xFFFFFFFFu);
    EXPECT_EQ(errno, ERANGE);
    const Stream file = mFiles.Open("");
    DWORD value = 77;
    EXPECT_EQ(ReadDWORD(file.get(), value), E_FAIL);
    mLog.ExpectAll({Error(Text(ERANGE), NumberSignature), Error("fgets failed", NumberSignature)});
}

TEST_F(ManifestFieldsTest, ATextWithoutANumberFailsAndStoresZero)
{
    for (const std::string text : {"abc\n", "\n", "\r\n", "-\n", " \n", "x10\n"})
    {
        DWORD value = 77;
        EXPECT_EQ(ReadDWORD(mFiles.Open(text).get(), value), E_FAIL) << text;
        EXPECT_EQ(value, 0u);
        mLog.ExpectAll({Error("Could not convert string to number", NumberSignature)});
    }
}

TEST_F(ManifestFieldsTest, ANumberAtTheEndOfTheFileIsJudgedByTheErrorNumber)
{
    const Stream file = mFiles.Open("");
    DWORD value = 77;
    errno = 0;
    EXPECT_EQ(ReadDWORD(file.get(), value), E_FAIL);
    EXPECT_EQ(value, 0u);
    mLog.ExpectAll({Progress(Text(0), NumberSignature), Error("Could not convert string to number", NumberSignature)});

    value = 77;
    errno = ENOENT;
    EXPECT_EQ(ReadDWORD(file.get(), value), E_FAIL);
    EXPECT_EQ(value, 77u);
    EXPECT_EQ(errno, ENOENT);
    mLog.ExpectAll({Error(Text(ENOENT), NumberSignature), Error("fgets failed", NumberSignature)});
}

TEST_F(ManifestFieldsTest, ANumberFailsOnAStreamThatCannotBeRead)
{
    DWORD value = 77;
    EXPECT_EQ(ReadDWORD(mFiles.OpenUnreadable().get(), value), E_FAIL);
    mLog.ExpectAll({Error(Text(EISDIR), NumberSignature), Error("fgets failed", NumberSignature)});
}

TEST_F(ManifestFieldsTest, ANumberTakes255CharactersOfItsLine)
{
    std::string text(253, ' ');
    text += "123\n5\n";
    const Stream file = mFiles.Open(text);
    DWORD value = 0;
    EXPECT_EQ(ReadDWORD(file.get(), value), S_OK);
    EXPECT_EQ(value, 12u);
    EXPECT_EQ(ReadDWORD(file.get(), value), S_OK);
    EXPECT_EQ(value, 3u);
    EXPECT_EQ(ReadDWORD(file.get(), value), S_OK);
    EXPECT_EQ(value, 5u);
}

TEST_F(ManifestFieldsTest, AFileVersionThatIsNoneIsZeroAndNoFailure)
{
    for (const std::string text : {"abc\n", "1.2.3\n", "1.2.3.256\n", "1.2.3.4 \n", ""})
    {
        uint32 value = 77;
        errno = 0;
        EXPECT_EQ(ReadVersion(mFiles.Open(text).get(), value), S_OK) << text;
        EXPECT_EQ(value, 0u) << text;
    }
    mLog.ExpectAll({Progress(Text(0), VersionSignature)});
}

TEST_F(ManifestFieldsTest, AFileVersionFailsByTheErrorNumberAlone)
{
    uint32 value = 77;
    EXPECT_EQ(ReadVersion(mFiles.Open("1.0.0.0\r\n").get(), value), S_OK);
    EXPECT_EQ(value, 0x01000000u);
    mLog.ExpectAll({});

    errno = EACCES;
    EXPECT_EQ(ReadVersion(mFiles.Open("").get(), value), E_FAIL);
    EXPECT_EQ(value, 0x01000000u);
    mLog.ExpectAll({Error(Text(EACCES), VersionSignature), Error("fgets failed", VersionSignature)});
}

TEST_F(ManifestFieldsTest, AVersionIsReadThroughItsLineEnd)
{
    MorvVersion value = 0;
    EXPECT_EQ(ReadMorvVersion(mFiles.Open("1.2.3.4\r\n").get(), value), S_OK);
    EXPECT_EQ(value, 0x01020304u);
    EXPECT_EQ(ReadMorvVersion(mFiles.Open("1.2.3.4x\n").get(), value), S_OK);
    EXPECT_EQ(value, 0x01020304u);
    mLog.ExpectAll({});
}

TEST_F(ManifestFieldsTest, AVersionThatIsNoneFailsWithItsTextAndItsLineEnd)
{
    MorvVersion value = 77;
    EXPECT_EQ(ReadMorvVersion(mFiles.Open("abc\r\n").get(), value), E_FAIL);
    EXPECT_EQ(value, 0u);
    mLog.ExpectAll({Error("Failed to convert version string \"abc\r\n\".", MorvVersionSignature)});
}

TEST_F(ManifestFieldsTest, AVersionAtTheEndOfTheFileIsJudgedByTheErrorNumber)
{
    const Stream file = mFiles.Open("");
    MorvVersion value = 77;
    EXPECT_EQ(ReadMorvVersion(file.get(), value), E_FAIL);
    EXPECT_EQ(value, 0u);
    mLog.ExpectAll({Progress(Text(0), MorvVersionSignature),
                    Error("Failed to convert version string \"\".", MorvVersionSignature)});
    errno = EIO;
    EXPECT_EQ(ReadMorvVersion(file.get(), value), E_FAIL);
    mLog.ExpectAll({Error(Text(EIO), MorvVersionSignature), Error("fgets failed", MorvVersionSignature)});
}
} // namespace
} // namespace Keld::Test
