#include "KeldFoundation/logger/Log.h"
#include "KeldMorvIO/listing/ProjectListing.h"
#include "ListingTree.h"
#include "Support/CompressedStream.h"
#include "Support/ReaderLogCapture.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

namespace Keld::MORV::Reader
{
namespace
{
using namespace Keld::Test;
using FileEntry = ProjectListing::FileEntry;

constexpr uint32 Untouched = 0x55AA55AA;

const ExpectedLine ClosedTooOften = Error("Attempting to close a file multiple times!",
                                          "void Keld::MORV::Reader::ProjectListing::ArchiveFile::Close()");
const ExpectedLine NotClosed =
    Error("The file was not closed before shutdown.", "void Keld::MORV::Reader::ProjectListing::FileInfo::Reset()");

ExpectedLine Mismatch(const std::string &path)
{
    return Error("Mismatch between manifest size and archive size for: " + path,
                 "bool Keld::MORV::Reader::ProjectListing::ArchiveFile::Open(const ProjectListing::FileEntry *)");
}

uint32 Size(std::string_view text)
{
    return static_cast<uint32>(text.size());
}

struct ReadResult
{
    bool success;
    uint32 bytesRead;
    std::string bytes;
};

class ArchivedFilesTest : public testing::Test
{
protected:
    void Load()
    {
        mListing = mTree.Load();
        ASSERT_NE(mListing, nullptr);
        LogRecorder::Clear();
    }

    const FileEntry *Entry(const char *path) const { return mListing->FindEntry(path); }

    ReadResult ReadAt(const char *path, uint64 offset, uint32 count) const
    {
        ReadResult result{false, Untouched, std::string(count, '#')};
        result.success = mListing->Read(Entry(path), offset, count, &result.bytesRead, result.bytes.data());
        return result;
    }

    /// Opens, reads all, closes.
    std::string Content(const char *path)
    {
        if (!mListing->Open(Entry(path)))
        {
            return "(not opened)";
        }
        std::string content = ReadWhole(*mListing, Entry(path));
        mListing->Close(Entry(path));
        return content;
    }

    uint32 References(const char *path) const { return Entry(path)->mOpenState->GetReferenceCount(); }
    int Descriptor(const char *path) const { return static_cast<int>(Entry(path)->mOpenState->GetFile()); }

    ReaderLogCapture mLog;
    ListingTree mTree;
    std::unique_ptr<ProjectListing> mListing;
};

TEST_F(ArchivedFilesTest, ReadsStoredFilesThroughTheSharedHandle)
{
    mTree.Archived("a/first", "The first.").Archived("a/second", "And the second.").Archived("third", "3");
    Load();
    const std::size_t descriptors = CountDescriptors();
    EXPECT_EQ(Content("a/first"), "The first.");
    EXPECT_EQ(Content("a/second"), "And the second.");
    EXPECT_EQ(Content("third"), "3");
    ASSERT_TRUE(mListing->Open(Entry("third")));
    EXPECT_EQ(CountDescriptors(), descriptors);
    mListing->Close(Entry("third"));
    EXPECT_EQ(CountDescriptors(), descriptors);
    mLog.ExpectAll({});
}

TEST_F(ArchivedFilesTest, ReadsFilesOfOtherVersionsAndArchives)
{
    mTree.Archived("a", "of the seventh", 14, ArchivedFlag, "old", 0x01000007);
    mTree.Archived("b", "of the first", 12, ArchivedFlag, "new", 0x01000000);
    mTree.Archived("c", "managed bit too", 15, ArchivedFlag | ManagedFlag, "new", 0x01000000);
    Load();
    EXPECT_EQ(Content("a"), "of the seventh");
    EXPECT_EQ(Content("b"), "of the first");
    EXPECT_EQ(Content("c"), "managed bit too");
}

TEST_F(ArchivedFilesTest, ReadsAStoredFileThatNobodyOpened)
{
    mTree.Archived("a", "always there");
    Load();
    EXPECT_EQ(ReadAt("a", 7, 5).bytes, "there");
    mListing->Close(Entry("a"));
    mLog.ExpectAll({ClosedTooOften});
}

TEST_F(ArchivedFilesTest, ReadsOnBehindAStoredFileIntoItsDataFile)
{
    mTree.Archived("a", "aaaa").Archived("b", "bbbb");
    Load();
    const ReadResult across = ReadAt("a", 2, 5);
    EXPECT_TRUE(across.success);
    EXPECT_EQ(across.bytesRead, 5u);
    EXPECT_EQ(across.bytes, "aabbb");

    const ReadResult end = ReadAt("a", 6, 5);
    EXPECT_TRUE(end.success);
    EXPECT_EQ(end.bytesRead, 2u);
    EXPECT_EQ(end.bytes, "bb###");
}

TEST_F(ArchivedFilesTest, RefusesAStoredFileWhoseSizesDiffer)
{
    mTree.Archived("data/wrong.bin", "12345", 6).Archived("data/right.bin", "12345");
    Load();
    for (int attempt = 0; attempt < 2; ++attempt)
    {
        EXPECT_FALSE(mListing->Open(Entry("data/wrong.bin")));
        EXPECT_EQ(References("data/wrong.bin"), 0u);
        mLog.ExpectAll({Mismatch("data/wrong.bin")});
    }
    EXPECT_EQ(Content("data/right.bin"), "12345");
    mLog.ExpectAll({});
}

TEST_F(ArchivedFilesTest, NamesNoPathInTheMismatchWhenItDoesNotFit)
{
    const std::string longest(1023, 'n');
    const std::string tooLong(1024, 'n');
    mTree.Archived(longest, "12345", 6).Archived(tooLong, "12345", 6);
    Load();
    EXPECT_FALSE(mListing->Open(Entry(longest.c_str())));
    EXPECT_FALSE(mListing->Open(Entry(tooLong.c_str())));
    mLog.ExpectAll({Mismatch(longest), Mismatch("")});
}

TEST_F(ArchivedFilesTest, OpensAnEmptyFileWhenBothSizesAreZero)
{
    mTree.Archived("empty", "").Archived("not.empty", "1", 0).Archived("pad", "x");
    Load();
    EXPECT_TRUE(mListing->Open(Entry("empty")));
    mListing->Close(Entry("empty"));
    EXPECT_FALSE(mListing->Open(Entry("not.empty")));
    mLog.ExpectAll({Mismatch("not.empty")});
}

TEST_F(ArchivedFilesTest, OpensACompressedFileOfSizeZeroWhateverIsStored)
{
    mTree.Archived("zlib", "no zlib at all", 0, ArchivedZlibFlags);
    mTree.Archived("lzma", "no lzma at all", 0, ArchivedLzmaFlags);
    mTree.Archived("stored", "still readable");
    Load();
    for (const char *const path : {"zlib", "lzma"})
    {
        ASSERT_TRUE(mListing->Open(Entry(path)));
        const ReadResult nothing = ReadAt(path, 0, 1);
        EXPECT_FALSE(nothing.success);
        EXPECT_EQ(nothing.bytesRead, 0u);
        mListing->Close(Entry(path));
    }
    EXPECT_EQ(Content("stored"), "still readable");
    mLog.ExpectAll({});
}

TEST_F(ArchivedFilesTest, ClosingAStoredFileTooOftenLeavesItReadable)
{
    mTree.Archived("a", "still there");
    Load();
    ASSERT_TRUE(mListing->Open(Entry("a")));
    mListing->Close(Entry("a"));
    mListing->Close(Entry("a"));
    mLog.ExpectAll({ClosedTooOften});
    EXPECT_EQ(Content("a"), "still there");
}

TEST_F(ArchivedFilesTest, DecompressesAtTheFirstOpenAndFreesAtTheLastClose)
{
    const std::string plain = PatternBytes(1000);
    mTree.Archived("z", ZlibStream(plain), Size(plain), ArchivedZlibFlags);
    Load();
    ASSERT_TRUE(mListing->Open(Entry("z")));
    // From now on the data file is not looked at.
    mTree.Disk().Write(ListingTree::DataFilePath(), std::string(4096, '\0'));
    ASSERT_TRUE(mListing->Open(Entry("z")));
    EXPECT_EQ(References("z"), 2u);
    mListing->Close(Entry("z"));
    EXPECT_EQ(ReadWhole(*mListing, Entry("z")), plain);
    mListing->Close(Entry("z"));
    mLog.ExpectAll({});

    const ReadResult closed = ReadAt("z", 0, 10);
    EXPECT_FALSE(closed.success);
    EXPECT_EQ(closed.bytesRead, 0u);
    EXPECT_EQ(closed.bytes, "##########");
    EXPECT_FALSE(mListing->Open(Entry("z")));
    mListing->Close(Entry("z"));
    mLog.ExpectAll({ClosedTooOften});
}

TEST_F(ArchivedFilesTest, ReadsACompressedFileFromAnyOffset)
{
    const std::string plain = PatternBytes(0x40000 + 1000);
    mTree.Archived("z", ZlibStream(plain), Size(plain), ArchivedZlibFlags);
    Load();
    ASSERT_TRUE(mListing->Open(Entry("z")));
    for (const uint32 offset : {0u, 1u, 0x3FFF0u, 0x40000u, 0x40010u})
    {
        const ReadResult part = ReadAt("z", offset, 100);
        EXPECT_TRUE(part.success);
        EXPECT_EQ(part.bytesRead, 100u);
        EXPECT_EQ(part.bytes, plain.substr(offset, 100)) << offset;
    }
    EXPECT_TRUE(mListing->Read(Entry("z"), 0, 0, nullptr, nullptr));
    char byte = '#';
    EXPECT_TRUE(mListing->Read(Entry("z"), 5, 1, nullptr, &byte));
    EXPECT_EQ(byte, plain[5]);
    mListing->Close(Entry("z"));
}

TEST_F(ArchivedFilesTest, FailsAShortReadOfACompressedFileWithTheBytesDelivered)
{
    mTree.Archived("z", ZlibStream("0123456789"), 10, ArchivedZlibFlags);
    Load();
    ASSERT_TRUE(mListing->Open(Entry("z")));
    const ReadResult across = ReadAt("z", 7, 5);
    EXPECT_FALSE(across.success);
    EXPECT_EQ(across.bytesRead, 3u);
    EXPECT_EQ(across.bytes, "789##");
    const ReadResult behind = ReadAt("z", 10, 1);
    EXPECT_FALSE(behind.success);
    EXPECT_EQ(behind.bytesRead, 0u);
    char bytes[5];
    EXPECT_FALSE(mListing->Read(Entry("z"), 7, 5, nullptr, bytes));
    mListing->Close(Entry("z"));
    mLog.ExpectAll({});
}

TEST_F(ArchivedFilesTest, WrapsTheOffsetInACompressedFileTo32Bits)
{
    mTree.Archived("z", ZlibStream("0123456789"), 10, ArchivedZlibFlags);
    Load();
    ASSERT_TRUE(mListing->Open(Entry("z")));
    const ReadResult wrapped = ReadAt("z", (uint64{1} << 32) + 4, 3);
    EXPECT_TRUE(wrapped.success);
    EXPECT_EQ(wrapped.bytes, "456");
    mListing->Close(Entry("z"));
}

TEST_F(ArchivedFilesTest, ReadsEverySizeInEveryForm)
{
    const uint32 sizes[] = {1, 65535, 65536, 65537, 262143, 262144, 262145, 3 * 1024 * 1024 + 7};
    for (const uint32 size : sizes)
    {
        const std::string plain = PatternBytes(size, size);
        const std::string name = std::to_string(size);
        mTree.Archived("stored/" + name, plain);
        mTree.Archived("zlib/" + name, ZlibStream(plain), size, ArchivedZlibFlags);
        mTree.Archived("lzma/" + name, LzmaFile(plain), size, ArchivedLzmaFlags, "lzma" + name);
    }
    const std::size_t before = CountDescriptors();
    Load();
    for (const uint32 size : sizes)
    {
        SCOPED_TRACE(size);
        const std::string plain = PatternBytes(size, size);
        EXPECT_TRUE(Content(("stored/" + std::to_string(size)).c_str()) == plain);
        EXPECT_TRUE(Content(("zlib/" + std::to_string(size)).c_str()) == plain);
        EXPECT_TRUE(Content(("lzma/" + std::to_string(size)).c_str()) == plain);
    }
    mLog.ExpectAll({});
    mListing.reset();
    EXPECT_EQ(CountDescriptors(), before);
}

TEST_F(ArchivedFilesTest, TakesZlibWhenBothCompressionsAreSaid)
{
    mTree.Archived("both", ZlibStream("zlib it is"), 10, ArchivedZlibFlags | ArchivedLzmaFlags);
    mTree.Archived("none", "plain bytes", 11, ArchivedFlag | 0x10);
    Load();
    EXPECT_EQ(Content("both"), "zlib it is");
    EXPECT_EQ(Content("none"), "plain bytes");
}

TEST_F(ArchivedFilesTest, RefusesADamagedCompressedFileAndTriesAgainLater)
{
    const std::string plain = PatternBytes(5000);
    const std::string stream = ZlibStream(plain);
    std::string flipped = stream;
    flipped[flipped.size() - 1] = static_cast<char>(flipped.back() ^ 1); // in the checksum
    mTree.Archived("truncated", stream.substr(0, stream.size() - 1), Size(plain), ArchivedZlibFlags);
    mTree.Archived("stray", stream + "x", Size(plain), ArchivedZlibFlags);
    mTree.Archived("flipped", flipped, Size(plain), ArchivedZlibFlags);
    mTree.Archived("short", stream, Size(plain) + 1, ArchivedZlibFlags);
    mTree.Archived("long", stream, Size(plain) - 1, ArchivedZlibFlags);
    mTree.Archived("whole", stream, Size(plain), ArchivedZlibFlags);
    Load();
    for (const char *const path : {"truncated", "stray", "flipped", "short", "long"})
    {
        for (int attempt = 0; attempt < 2; ++attempt)
        {
            EXPECT_FALSE(mListing->Open(Entry(path))) << path;
            EXPECT_EQ(References(path), 0u) << path;
            const ReadResult nothing = ReadAt(path, 0, 1);
            EXPECT_FALSE(nothing.success) << path;
            EXPECT_EQ(nothing.bytesRead, 0u) << path;
        }
    }
    mLog.ExpectAll({});
    EXPECT_EQ(Content("whole"), plain);

    // Mended on the disk, the file opens.
    const std::string data = mTree.Disk().Read(ListingTree::DataFilePath());
    mTree.Disk().Write(ListingTree::DataFilePath(),
                       std::string(data).replace(data.find(flipped), flipped.size(), stream));
    EXPECT_EQ(Content("flipped"), plain);
}

TEST_F(ArchivedFilesTest, RefusesADamagedLzmaFileWithTheLinesOfItsDecoder)
{
    mTree.Archived("small", "12345678", 100, ArchivedLzmaFlags, "one");
    mTree.Archived("property", std::string(1, '\x29') + LzmaFile("content").substr(1), 7, ArchivedLzmaFlags, "two");
    Load();
    EXPECT_FALSE(mListing->Open(Entry("small")));
    EXPECT_EQ(References("small"), 0u);
    mLog.ExpectAll({Error("Source data is too small to be valid.")});
    EXPECT_FALSE(mListing->Open(Entry("property")));
    EXPECT_EQ(References("property"), 0u);
    mLog.ExpectAll({Error("Allocating the lzma compression state failed.")});
}

TEST_F(ArchivedFilesTest, ClosesTheSharedHandleAtTheFirstOpenOfAnLzmaFile)
{
    mTree.Archived("lzma", LzmaFile("the content"), 11, ArchivedLzmaFlags).Archived("stored", "neighbour");
    const std::size_t before = CountDescriptors();
    Load();
    const int number = Descriptor("lzma");
    EXPECT_EQ(ReadAt("stored", 0, 9).bytes, "neighbour");
    ASSERT_TRUE(mListing->Open(Entry("lzma")));
    EXPECT_EQ(ReadWhole(*mListing, Entry("lzma")), "the content");

    // The number stays in all records of the data file.
    EXPECT_EQ(fcntl(number, F_GETFD), -1);
    EXPECT_EQ(Descriptor("lzma"), number);
    EXPECT_EQ(Descriptor("stored"), number);
    ASSERT_TRUE(mListing->Open(Entry("stored")));
    const ReadResult failed = ReadAt("stored", 0, 9);
    EXPECT_FALSE(failed.success);
    EXPECT_EQ(failed.bytesRead, 0xFFFFFFFFu);
    mListing->Close(Entry("stored"));
    mListing->Close(Entry("lzma"));
    mListing.reset();
    EXPECT_EQ(CountDescriptors(), before);
    mLog.ExpectAll({});
}

TEST_F(ArchivedFilesTest, DoesNotOpenAnLzmaFileAgainAfterItsLastClose)
{
    mTree.Archived("lzma", LzmaFile("the content"), 11, ArchivedLzmaFlags);
    Load();
    const int number = Descriptor("lzma");
    ASSERT_TRUE(mListing->Open(Entry("lzma")));
    ASSERT_TRUE(mListing->Open(Entry("lzma"))); // counts only
    mListing->Close(Entry("lzma"));
    mListing->Close(Entry("lzma"));

    // The attempt works on, and closes, whatever has the number by now.
    const int null = open("/dev/null", O_RDONLY);
    const int successor = null == number ? number : fcntl(null, F_DUPFD, number);
    ASSERT_EQ(successor, number);
    EXPECT_FALSE(mListing->Open(Entry("lzma")));
    EXPECT_EQ(References("lzma"), 0u);
    EXPECT_EQ(fcntl(number, F_GETFD), -1);
    if (null != number)
    {
        close(null);
    }
}

TEST_F(ArchivedFilesTest, ClosesTheNumberOfAnLzmaFileOnceMoreWithTheListing)
{
    mTree.Archived("lzma", LzmaFile("the content"), 11, ArchivedLzmaFlags);
    Load();
    const int number = Descriptor("lzma");
    ASSERT_TRUE(mListing->Open(Entry("lzma")));
    mListing->Close(Entry("lzma"));
    const int null = open("/dev/null", O_RDONLY);
    const int successor = null == number ? number : fcntl(null, F_DUPFD, number);
    ASSERT_EQ(successor, number);
    mListing.reset();
    EXPECT_EQ(fcntl(number, F_GETFD), -1);
    if (null != number)
    {
        close(null);
    }
}

TEST_F(ArchivedFilesTest, ReportsOpenFilesOfAllFormsWhenTheListingGoes)
{
    mTree.Archived("stored", "1").Archived("closed", "2").Archived("zlib", ZlibStream("zz"), 2, ArchivedZlibFlags);
    const std::size_t before = CountDescriptors();
    Load();
    ASSERT_TRUE(mListing->Open(Entry("stored")));
    ASSERT_TRUE(mListing->Open(Entry("zlib")));
    ASSERT_TRUE(mListing->Open(Entry("zlib")));
    mListing.reset();
    mLog.ExpectAll({NotClosed, NotClosed});
    EXPECT_EQ(CountDescriptors(), before);
}

TEST_F(ArchivedFilesTest, LooksAtTheHandleBeforeTheFormWhenItReads)
{
    for (const uint32 tag : {CompressionNone, CompressionZlib, CompressionLzma})
    {
        const ProjectListing::ArchiveFile record(AsyncFile::Null, 0, tag, 10);
        uint32 bytesRead = Untouched;
        char byte = '#';
        EXPECT_FALSE(record.Read(0, 1, &bytesRead, &byte));
        EXPECT_EQ(bytesRead, Untouched);
        mLog.ExpectAll({Error("A null file handle was passed to Read.",
                              "bool Keld::MORV::Reader::ProjectListing::ArchiveFile::Read(uint64, uint32, uint32 *, "
                              "void *) const")});
    }
}

TEST_F(ArchivedFilesTest, RefusesAnOffsetThatNoFileCanHave)
{
    mTree.Archived("a", "aaaa").Archived("b", "bbbb");
    Load();
    EXPECT_FALSE(ReadAt("b", uint64{1} << 63, 4).success);
    // The sum of both offsets has 64 bits, and wraps there alone.
    EXPECT_EQ(ReadAt("b", ~uint64{0} - 3, 4).bytes, "aaaa");
    EXPECT_EQ(ReadAt("b", uint64{1} << 32, 4).bytesRead, 0u);
}

/// Occupies a descriptor's number as soon as a line is logged, to show whether it is closed a second time.
struct NumberTaker
{
    static void Log(std::int32_t, std::uint32_t, std::uint32_t, const char *, va_list)
    {
        if (sTaken == -1)
        {
            const int null = open("/dev/null", O_RDONLY);
            sTaken = null == sNumber ? null : fcntl(null, F_DUPFD, sNumber);
            if (null != sNumber)
            {
                close(null);
            }
        }
    }

    static inline int sNumber = -1;
    static inline int sTaken = -1;
};

TEST_F(ArchivedFilesTest, ClosesAHandleThatNeighboursShareOnce)
{
    mTree.Archived("a", "1").Archived("b", "2").Archived("c", "3");
    Load();
    ASSERT_TRUE(mListing->Open(Entry("a")));
    ASSERT_TRUE(mListing->Open(Entry("b")));
    NumberTaker::sNumber = Descriptor("a");
    NumberTaker::sTaken = -1;
    static IKeldLogger table{};
    table.Log = NumberTaker::Log;
    SetCurrentLogger(&table);
    mListing.reset();
    SetCurrentLogger(LogRecorder::Table());
    ASSERT_EQ(NumberTaker::sTaken, NumberTaker::sNumber);
    EXPECT_NE(fcntl(NumberTaker::sNumber, F_GETFD), -1);
    close(NumberTaker::sNumber);
}
} // namespace
} // namespace Keld::MORV::Reader
