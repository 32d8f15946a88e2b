#include "ArchivedListingTest.h"
#include "Support/CompressedStream.h"

#include <fcntl.h>
#include <unistd.h>

namespace Keld::MORV::Reader
{
namespace
{
using namespace Keld::Test;

const ExpectedLine ClosedTooOften = Error("Attempting to close a file multiple times!",
                                          "void Keld::MORV::Reader::ProjectListing::ArchiveFile::Close()");
const ExpectedLine NotClosed =
    Error("The file was not closed before shutdown.", "void Keld::MORV::Reader::ProjectListing::FileInfo::Reset()");

ExpectedLine Mismatch(const std::string &path)
{
    return Error("Mismatch between manifest size and archive size for: " + path,
                 "bool Keld::MORV::Reader::ProjectListing::ArchiveFile::Open(const ProjectListing::FileEntry *)");
}

class ArchivedFilesTest : public ArchivedListingTest
{
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
        if (gTaken == -1)
        {
            const int null = open("/dev/null", O_RDONLY);
            gTaken = null == gNumber ? null : fcntl(null, F_DUPFD, gNumber);
            if (null != gNumber)
            {
                close(null);
            }
        }
    }

    static inline int gNumber = -1;
    static inline int gTaken = -1;
};

TEST_F(ArchivedFilesTest, ClosesAHandleThatNeighboursShareOnce)
{
    mTree.Archived("a", "1").Archived("b", "2").Archived("c", "3");
    Load();
    ASSERT_TRUE(mListing->Open(Entry("a")));
    ASSERT_TRUE(mListing->Open(Entry("b")));
    NumberTaker::gNumber = Descriptor("a");
    NumberTaker::gTaken = -1;
    static IKeldLogger table{};
    table.Log = NumberTaker::Log;
    SetCurrentLogger(&table);
    mListing.reset();
    SetCurrentLogger(LogRecorder::Table());
    ASSERT_EQ(NumberTaker::gTaken, NumberTaker::gNumber);
    EXPECT_NE(fcntl(NumberTaker::gNumber, F_GETFD), -1);
    close(NumberTaker::gNumber);
}
} // namespace
} // namespace Keld::MORV::Reader
