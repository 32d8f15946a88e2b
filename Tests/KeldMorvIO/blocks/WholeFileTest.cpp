#include "KeldMorvIO/blocks/WholeFile.h"

#include "KeldFoundation/CStd/CStd.h"
#include "Support/ReaderLogCapture.h"
#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace Keld::MORV::Reader
{
namespace
{
using Test::Error;
using Test::LogLine;
using Test::LogRecorder;
using Test::Progress;
using Test::ReaderLogCapture;
using Test::TempTree;
using Test::Trace;

constexpr const char *OpenSignature = "FILE *Keld::MORV::Reader::morv_fopen(const char *, const char *)";
constexpr const char *SafeOpenSignature =
    "errno_t Keld::MORV::Reader::morv_fopen_s(FILE **, const char *, const char *)";
constexpr const char *BlockSignature = "HRESULT Keld::MORV::Reader::ReadFileBlockIntoBuffer(const std::string &, "
                                       "const DWORD, const DWORD, std::vector<char> &)";
constexpr const char *WholeSignature =
    "HRESULT Keld::MORV::Reader::ReadFileIntoBuffer(const std::string &, std::vector<char> &)";

std::string TextOf(int error)
{
    return std::strerror(error);
}

std::string TextOf(const LargeVector<char> &buffer)
{
    return std::string(buffer.begin(), buffer.end());
}

std::ptrdiff_t CountOpenFiles()
{
    const std::filesystem::directory_iterator entries("/proc/self/fd");
    return std::distance(begin(entries), end(entries));
}

class WholeFileTest : public testing::Test
{
protected:
    /// A file that has a size and cannot be opened.
    std::string MakeSocket(const char *name) const
    {
        const std::string path = mTree.Path(name);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        const int handle = socket(AF_UNIX, SOCK_STREAM, 0);
        EXPECT_EQ(0, bind(handle, reinterpret_cast<const sockaddr *>(&address), sizeof address));
        close(handle);
        return path;
    }

    TempTree mTree;
    ReaderLogCapture mLog;
    LargeVector<char> mBuffer;
};

TEST_F(WholeFileTest, ReadsAWholeFile)
{
    const std::string path = mTree.Write("a.txt", std::string("one\0two", 7));
    EXPECT_EQ(S_OK, ReadFileIntoBuffer(path, mBuffer));
    EXPECT_EQ(std::string("one\0two", 7), TextOf(mBuffer));
    mLog.ExpectAll({Trace("(" + path + ")", WholeSignature), Trace("(" + path + ", 0, 7)", BlockSignature)});
}

TEST_F(WholeFileTest, AnEmptyFileSucceedsAndLeavesNoStorage)
{
    EXPECT_EQ(S_OK, ReadFileIntoBuffer(mTree.Write("empty", ""), mBuffer));
    EXPECT_TRUE(mBuffer.empty());
    EXPECT_EQ(0u, mBuffer.capacity());
    mLog.ExpectFailures({});
}

TEST_F(WholeFileTest, ALongerBufferIsCutToTheFile)
{
    mBuffer.assign(100, 'x');
    EXPECT_EQ(S_OK, ReadFileIntoBuffer(mTree.Write("a.txt", "abc"), mBuffer));
    EXPECT_EQ("abc", TextOf(mBuffer));
}

TEST_F(WholeFileTest, BackslashesOfThePathCountAsSlashes)
{
    mTree.Write("dir/a.txt", "abc");
    EXPECT_EQ(S_OK, ReadFileBlockIntoBuffer(mTree.Path("dir\\a.txt"), 0, 3, mBuffer));
    EXPECT_EQ("abc", TextOf(mBuffer));
}

TEST_F(WholeFileTest, AMissingFileHasNoSize)
{
    const std::string path = mTree.Path("missing");
    EXPECT_EQ(E_FAIL, ReadFileIntoBuffer(path, mBuffer));
    mLog.ExpectAll(
        {Trace("(" + path + ")", WholeSignature), Error("Failed to get size of \"" + path + "\".", WholeSignature)});
}

TEST_F(WholeFileTest, ADirectoryHasNoSizeAndIsNotOpened)
{
    const std::string path = mTree.MakeDirectory("dir");
    EXPECT_EQ(E_FAIL, ReadFileIntoBuffer(path, mBuffer));
    mLog.ExpectAll(
        {Trace("(" + path + ")", WholeSignature), Error("Failed to get size of \"" + path + "\".", WholeSignature)});
}

TEST_F(WholeFileTest, AFileOfTheSizeThatMeansUnknownIsRefused)
{
    const std::string path = mTree.Write("huge", "");
    std::filesystem::resize_file(path, 0xFFFFFFFFu);
    EXPECT_EQ(E_FAIL, ReadFileIntoBuffer(path, mBuffer));
    mLog.ExpectFailures({Error("Failed to get size of \"" + path + "\".", WholeSignature)});

    std::filesystem::resize_file(path, 0x1FFFFFFFFu);
    EXPECT_EQ(E_FAIL, ReadFileIntoBuffer(path, mBuffer));
    mLog.ExpectFailures({Error("Failed to get size of \"" + path + "\".", WholeSignature)});
}

TEST_F(WholeFileTest, AFailedOpenTellsTheWholeChain)
{
    const std::string path = MakeSocket("socket");
    EXPECT_EQ(E_FAIL, ReadFileIntoBuffer(path, mBuffer));
    mLog.ExpectAll({
        Trace("(" + path + ")", WholeSignature),
        Trace("(" + path + ", 0, 0)", BlockSignature),
        Error(TextOf(ENXIO), SafeOpenSignature),
        Error("(\"" + path + "\", \"rb\") failed: " + TextOf(ENXIO), SafeOpenSignature),
        Error(TextOf(ENXIO), BlockSignature),
        Progress(TextOf(0), BlockSignature), // there is no stream to have an error
        Error("Failed to open \"" + path + "\".", BlockSignature),
        Error("Failed to read \"" + path + "\".", WholeSignature),
    });
    EXPECT_TRUE(mBuffer.empty());
}

TEST_F(WholeFileTest, ReadsABlockFromItsOffset)
{
    const std::string path = mTree.Write("a.txt", "0123456789");
    mBuffer.assign(1, 'x');
    EXPECT_EQ(S_OK, ReadFileBlockIntoBuffer(path, 3, 4, mBuffer));
    EXPECT_EQ("3456", TextOf(mBuffer));
    mLog.ExpectAll({Trace("(" + path + ", 3, 4)", BlockSignature)});
}

TEST_F(WholeFileTest, OffsetsFromTwoGigabytesOnAreReadAndShowNegativeInTheTrace)
{
    const std::string path = mTree.Write("huge", "");
    std::filesystem::resize_file(path, 0x80000000u);
    std::FILE *const stream = std::fopen(path.c_str(), "ab");
    ASSERT_NE(nullptr, stream);
    std::fputs("tail", stream);
    std::fclose(stream);

    EXPECT_EQ(S_OK, ReadFileBlockIntoBuffer(path, 0x80000000u, 4, mBuffer));
    EXPECT_EQ("tail", TextOf(mBuffer));
    mLog.ExpectAll({Trace("(" + path + ", -2147483648, 4)", BlockSignature)});
}

TEST_F(WholeFileTest, AShortReadFailsAndKeepsWhatCame)
{
    const std::string path = mTree.Write("a.txt", "0123456789");
    const std::ptrdiff_t descriptors = CountOpenFiles();
    EXPECT_EQ(E_FAIL, ReadFileBlockIntoBuffer(path, 7, 5, mBuffer));
    EXPECT_EQ(std::string("789\0\0", 5), TextOf(mBuffer));
    EXPECT_EQ(descriptors, CountOpenFiles());
    mLog.ExpectAll({
        Trace("(" + path + ", 7, 5)", BlockSignature),
        Progress(TextOf(0), BlockSignature), // the end of a file is no error of the stream
        Error("fread failed", BlockSignature),
    });
}

TEST_F(WholeFileTest, AFileThatEndsBeforeItsSizeFailsTheWholeRead)
{
    const std::string path = "/sys/kernel/uevent_seqnum"; // claims a page, as the kernel's own files do
    EXPECT_EQ(E_FAIL, ReadFileIntoBuffer(path, mBuffer));
    mLog.ExpectFailures(
        {Error("fread failed", BlockSignature), Error("Failed to read \"" + path + "\".", WholeSignature)});
}

TEST_F(WholeFileTest, AStreamWithAnErrorTellsIt)
{
    const std::string path = mTree.MakeDirectory("dir"); // opens, and cannot be read
    EXPECT_EQ(E_FAIL, ReadFileBlockIntoBuffer(path, 0, 5, mBuffer));
    mLog.ExpectAll({
        Trace("(" + path + ", 0, 5)", BlockSignature),
        Error(TextOf(1), BlockSignature), // the answer of ferror, taken as an error number
        Error("fread failed", BlockSignature),
    });
}

TEST_F(WholeFileTest, AFailedSeekIsReportedAndClosesTheStream)
{
    const std::string path = mTree.Path("pipe");
    ASSERT_EQ(0, mkfifo(path.c_str(), 0600));
    const int keeper = open(path.c_str(), O_RDWR); // else the open would wait for a writer
    ASSERT_GE(keeper, 0);
    const std::ptrdiff_t descriptors = CountOpenFiles();

    mBuffer.assign(3, 'x');
    EXPECT_EQ(E_FAIL, ReadFileBlockIntoBuffer(path, 1, 5, mBuffer));
    EXPECT_EQ("xxx", TextOf(mBuffer));
    EXPECT_EQ(descriptors, CountOpenFiles());
    close(keeper);
    mLog.ExpectAll({
        Trace("(" + path + ", 1, 5)", BlockSignature),
        Error(TextOf(ESPIPE), BlockSignature),
        Progress(TextOf(0), BlockSignature),
        Error("Failed to fseek to offset.", BlockSignature),
    });
}

TEST_F(WholeFileTest, ReportsReadErrnoAgainBehindALogLine)
{
    errno = EDOM; // what an earlier call left behind must not show
    EXPECT_EQ(E_FAIL, ReadFileBlockIntoBuffer(mTree.Path("missing"), 0, 1, mBuffer));
    const std::vector<LogLine> failures = LogRecorder::Failures();
    ASSERT_EQ(4u, failures.size());
    EXPECT_EQ(std::string(BlockSignature) + ": " + TextOf(ENOENT), failures[2].text);
}

TEST_F(WholeFileTest, TheCheckedOpenLogsUnderItsOwnName)
{
    const std::string path = mTree.Path("missing");
    EXPECT_EQ(nullptr, morv_fopen(path.c_str(), "r"));
    mLog.ExpectAll({
        Error(TextOf(ENOENT), OpenSignature),
        Error("(\"" + path + "\", \"r\") failed: " + TextOf(ENOENT), OpenSignature),
    });
}

TEST_F(WholeFileTest, TheCheckedOpenWithAResultGivesTheErrorNumber)
{
    const std::string path = mTree.Path("missing");
    FILE *stream = stdin;
    EXPECT_EQ(ENOENT, morv_fopen_s(&stream, path.c_str(), "rt"));
    EXPECT_EQ(nullptr, stream);
    mLog.ExpectAll({
        Error(TextOf(ENOENT), SafeOpenSignature),
        Error("(\"" + path + "\", \"rt\") failed: " + TextOf(ENOENT), SafeOpenSignature),
    });
}

TEST_F(WholeFileTest, ACheckedOpenThatSucceedsIsSilent)
{
    const std::string path = mTree.Write("a.txt", "abc");
    FILE *stream = morv_fopen(path.c_str(), "r");
    ASSERT_NE(nullptr, stream);
    std_fclose(stream);
    EXPECT_EQ(0, morv_fopen_s(&stream, path.c_str(), "r"));
    ASSERT_NE(nullptr, stream);
    std_fclose(stream);
    mLog.ExpectAll({});
}

TEST_F(WholeFileTest, APathThatDoesNotFitIsRefused)
{
    const std::string path = "/" + std::string(1023, 'a');
    FILE *stream = nullptr;
    EXPECT_EQ(ENAMETOOLONG, morv_fopen_s(&stream, path.c_str(), "r"));
    EXPECT_EQ(nullptr, stream);
}

TEST_F(WholeFileTest, TheSizeIsWrittenOnSuccessAndOnFailure)
{
    uint32 size = 7;
    EXPECT_EQ(S_OK, QueryFileSize(mTree.Write("a.txt", "abc"), size));
    EXPECT_EQ(3u, size);
    EXPECT_EQ(E_FAIL, QueryFileSize(mTree.Path("missing"), size));
    EXPECT_EQ(0xFFFFFFFFu, size);
    mLog.ExpectAll({});
}
} // namespace
} // namespace Keld::MORV::Reader
