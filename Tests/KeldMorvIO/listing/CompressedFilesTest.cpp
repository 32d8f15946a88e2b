#include "ArchivedListingTest.h"
#include "Support/CompressedStream.h"

#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace Keld::MORV::Reader
{
namespace
{
using namespace Keld::Test;

const ExpectedLine CompressedClosedTooOften = Error("Attempting to close a file multiple times!",
                                                    "void Keld::MORV::Reader::ProjectListing::ArchiveFile::Close()");

class CompressedFilesTest : public ArchivedListingTest
{
};

TEST_F(CompressedFilesTest, OpensACompressedFileOfSizeZeroWhateverIsStored)
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

TEST_F(CompressedFilesTest, DecompressesAtTheFirstOpenAndFreesAtTheLastClose)
{
    const std::string plain = PatternBytes(1000);
    mTree.Archived("z", ZlibStream(plain), SizeOf(plain), ArchivedZlibFlags);
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
    mLog.ExpectAll({CompressedClosedTooOften});
}

TEST_F(CompressedFilesTest, ReadsACompressedFileFromAnyOffset)
{
    const std::string plain = PatternBytes(0x40000 + 1000);
    mTree.Archived("z", ZlibStream(plain), SizeOf(plain), ArchivedZlibFlags);
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

TEST_F(CompressedFilesTest, FailsAShortReadOfACompressedFileWithTheBytesDelivered)
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

TEST_F(CompressedFilesTest, WrapsTheOffsetInACompressedFileTo32Bits)
{
    mTree.Archived("z", ZlibStream("0123456789"), 10, ArchivedZlibFlags);
    Load();
    ASSERT_TRUE(mListing->Open(Entry("z")));
    const ReadResult wrapped = ReadAt("z", (uint64{1} << 32) + 4, 3);
    EXPECT_TRUE(wrapped.success);
    EXPECT_EQ(wrapped.bytes, "456");
    mListing->Close(Entry("z"));
}

TEST_F(CompressedFilesTest, ReadsEverySizeInEveryForm)
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

TEST_F(CompressedFilesTest, TakesZlibWhenBothCompressionsAreSaid)
{
    mTree.Archived("both", ZlibStream("zlib it is"), 10, ArchivedZlibFlags | ArchivedLzmaFlags);
    mTree.Archived("none", "plain bytes", 11, ArchivedFlag | 0x10);
    Load();
    EXPECT_EQ(Content("both"), "zlib it is");
    EXPECT_EQ(Content("none"), "plain bytes");
}

TEST_F(CompressedFilesTest, RefusesADamagedCompressedFileAndTriesAgainLater)
{
    const std::string plain = PatternBytes(5000);
    const std::string stream = ZlibStream(plain);
    std::string flipped = stream;
    flipped[flipped.size() - 1] = static_cast<char>(flipped.back() ^ 1); // in the checksum
    mTree.Archived("truncated", stream.substr(0, stream.size() - 1), SizeOf(plain), ArchivedZlibFlags);
    mTree.Archived("stray", stream + "x", SizeOf(plain), ArchivedZlibFlags);
    mTree.Archived("flipped", flipped, SizeOf(plain), ArchivedZlibFlags);
    mTree.Archived("short", stream, SizeOf(plain) + 1, ArchivedZlibFlags);
    mTree.Archived("long", stream, SizeOf(plain) - 1, ArchivedZlibFlags);
    mTree.Archived("whole", stream, SizeOf(plain), ArchivedZlibFlags);
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

TEST_F(CompressedFilesTest, RefusesADamagedLzmaFileWithTheLinesOfItsDecoder)
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

TEST_F(CompressedFilesTest, ClosesTheSharedHandleAtTheFirstOpenOfAnLzmaFile)
{
    mTree.Archived("lzma", LzmaFile("the content"), 11, ArchivedLzmaFlags).Archived("stored", "neighbour");
    const std::size_t before = CountDescriptors();
    Load();
    const int number = Descriptor("lzma");
    EXPECT_EQ(ReadAt("stored", 0, 9).bytes, "neighbour");
    ASSERT_TRUE(mListing->Open(Entry("lzma")));
    EXPECT_EQ(ReadWhole(*mListing, Entry("lzma")), "the content");

    // The number stays in all records of the data file, and nobody else can get it.
    EXPECT_NE(fcntl(number, F_GETFD), -1);
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

TEST_F(CompressedFilesTest, DoesNotOpenAnLzmaFileAgainAfterItsLastClose)
{
    mTree.Archived("lzma", LzmaFile("the content"), 11, ArchivedLzmaFlags);
    Load();
    const int number = Descriptor("lzma");
    ASSERT_TRUE(mListing->Open(Entry("lzma")));
    ASSERT_TRUE(mListing->Open(Entry("lzma"))); // counts only
    mListing->Close(Entry("lzma"));
    mListing->Close(Entry("lzma"));

    EXPECT_FALSE(mListing->Open(Entry("lzma")));
    EXPECT_EQ(References("lzma"), 0u);
    EXPECT_EQ(Descriptor("lzma"), number);
}

TEST_F(CompressedFilesTest, LeavesFilesAloneThatOthersOpenBehindTheFirstOpenOfAnLzmaFile)
{
    mTree.Archived("lzma", LzmaFile("the content"), 11, ArchivedLzmaFlags).Archived("stored", "neighbour");
    Load();
    const int number = Descriptor("lzma");
    ASSERT_TRUE(mListing->Open(Entry("lzma")));

    // As many as any free number could go to.
    const std::string path = mTree.Disk().Write("foreign", "somebody else's");
    std::vector<int> foreign;
    for (int count = 0; count <= number; ++count)
    {
        foreign.push_back(open(path.c_str(), O_RDONLY | O_CLOEXEC));
        ASSERT_NE(foreign.back(), -1);
        ASSERT_NE(foreign.back(), number);
    }
    ASSERT_TRUE(mListing->Open(Entry("stored")));
    EXPECT_FALSE(ReadAt("stored", 0, 9).success) << "nothing of theirs is read";
    mListing->Close(Entry("stored"));
    mListing->Close(Entry("lzma"));
    EXPECT_FALSE(mListing->Open(Entry("lzma")));
    mListing.reset();
    for (const int descriptor : foreign)
    {
        char bytes[15] = {};
        EXPECT_EQ(pread(descriptor, bytes, sizeof bytes, 0), 15);
        EXPECT_EQ(close(descriptor), 0);
    }
    EXPECT_EQ(fcntl(number, F_GETFD), -1);
}
} // namespace
} // namespace Keld::MORV::Reader
