#include "Tools/TreeWriter/ArchiveWriter.h"

#include "Tools/ArchiveListing.h"

#include "Support/ArchiveImage.h"
#include "Support/ByteImage.h"
#include "Support/TempTree.h"

#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeWriter/ArchiveSet.h"

#include <gtest/gtest.h>

namespace Keld::Test
{
namespace
{
using TreeReader::TreeError;
using TreeWriter::ArchivedFile;
using TreeWriter::ArchiveSet;
using TreeWriter::ArchiveWriter;
using TreeWriter::BuildArchiveIndex;

TEST(ArchiveWriterTest, WritesTheIndexByteForByte)
{
    ByteImage image;
    image.Raw(0, "\xF0\x0E\xBE\x18").Word(4, 1).Word(8, 0).Word(12, 20).Word(16, 56);
    image.Word(20, 2);
    image.Word(24, 0x672).Word(28, 100).Word(32, 7).Word(36, 0);     // ab
    image.Word(40, 0x6AE0D5E).Word(44, 0).Word(48, 100).Word(52, 1); // data/file.bin
    image.Word(56, 0).Word(60, 2);
    image.Word(64, 24).Word(68, 0).Word(72, 27).Word(76, 0);
    image.Text(80, "ab").Text(83, "data/file.bin");
    EXPECT_EQ(BuildArchiveIndex({{"data/file.bin", 0, 100}, {"ab", 100, 7}}), image.Bytes());
}

TEST(ArchiveWriterTest, RecordsOfOneHashStandInTheOrderOfTheirPathsWithoutCase)
{
    // 16 * 'a' + 'r' equals 16 * 'b' + 'b'.
    const TempTree tree;
    const std::string path = tree.Write("x.vka", BuildArchiveIndex({{"bb", 0, 1}, {"AR", 1, 1}, {"0", 2, 1}}));
    const std::vector<ArchivedFile> expected{{"0", 2, 1}, {"AR", 1, 1}, {"bb", 0, 1}};
    EXPECT_EQ(ReadArchiveIndex(path), expected);
}

TEST(ArchiveWriterTest, PathsStandInTheirOwnOrderWhateverTheirHashes)
{
    ByteImage image;
    image.Word(0, 0x18BE0EF0).Word(4, 1).Word(8, 0).Word(12, 20).Word(16, 56).Word(20, 2);
    image.Word(24, 0x7A).Word(28, 100).Word(32, 7).Word(36, 1);  // z
    image.Word(40, 0x672).Word(44, 0).Word(48, 100).Word(52, 0); // AB
    image.Word(56, 0).Word(60, 2);
    image.Word(64, 24).Word(68, 0).Word(72, 27).Word(76, 0);
    image.Text(80, "AB").Text(83, "z");
    EXPECT_EQ(BuildArchiveIndex({{"AB", 0, 100}, {"z", 100, 7}}), image.Bytes());
}

TEST(ArchiveWriterTest, RefusesWhatTheReaderWouldDelete)
{
    EXPECT_THROW(BuildArchiveIndex({}), TreeError);
    EXPECT_THROW(BuildArchiveIndex({{"a", 0, 0}, {"b", 0, 0}}), TreeError);
    EXPECT_THROW(BuildArchiveIndex({{"a", 0, 0x80000000}, {"b", 0, 0x80000000}}), TreeError);
}

TEST(ArchiveWriterTest, RefusesTwoFilesOfOnePathWithoutCase)
{
    EXPECT_THROW(BuildArchiveIndex({{"a/x", 0, 1}, {"A/X", 1, 1}}), TreeError);
}

TEST(ArchiveWriterTest, PutsStoredFormsOneBehindTheOther)
{
    const TempTree tree;
    ArchiveWriter archive(tree.Path("new/folder"), "maps");
    archive.Begin("one");
    archive.Append("12");
    archive.Append("3");
    archive.Begin("none");
    archive.Begin("two");
    archive.Append("45");
    archive.Finish();
    EXPECT_EQ(tree.Read("new/folder/maps.vka.dat"), "12345");
    std::vector<ArchivedFile> files = ReadArchiveIndex(tree.Path("new/folder/maps.vka"));
    std::sort(files.begin(), files.end(),
              [](const auto &left, const auto &right)
              {
                  return left.path < right.path;
              });
    EXPECT_EQ(files, (std::vector<ArchivedFile>{{"none", 3, 0}, {"one", 0, 3}, {"two", 3, 2}}));
}

TEST(ArchiveSetTest, StartsAnotherArchiveWhereTheSizeWouldBeExceeded)
{
    const TempTree tree;
    ArchiveSet archives(tree.Path("v"), 10);
    for (const char *path : {"a", "b", "c"})
    {
        ArchiveWriter &archive = archives.ForShared(5);
        archive.Begin(path);
        archive.Append("12345");
    }
    archives.Finish();
    EXPECT_EQ(archives.GetArchiveCount(), 2u);
    EXPECT_EQ(ReadArchiveIndex(tree.Path("v/files-0001.vka")).size(), 2u);
    EXPECT_EQ(ReadArchiveIndex(tree.Path("v/files-0002.vka")).size(), 1u);
}

TEST(ArchiveSetTest, AFileLargerThanAnArchiveHasOneToItself)
{
    const TempTree tree;
    ArchiveSet archives(tree.Path("v"), 2);
    for (const char *path : {"a", "b"})
    {
        ArchiveWriter &archive = archives.ForShared(5);
        archive.Begin(path);
        archive.Append("12345");
    }
    archives.Finish();
    EXPECT_EQ(archives.GetArchiveCount(), 2u);
}

TEST(ArchiveSetTest, AnEmptyFileNeedsAnArchiveThatHoldsSomething)
{
    const TempTree tree;
    ArchiveSet archives(tree.Path("v"), 10);
    EXPECT_FALSE(archives.AddEmpty("none"));
    ArchiveWriter &archive = archives.ForShared(1);
    archive.Begin("x");
    archive.Append("1");
    EXPECT_TRUE(archives.AddEmpty("none"));
    archives.Finish();
    EXPECT_EQ(ReadArchiveIndex(tree.Path("v/files-0001.vka")).size(), 2u);
}

TEST(ArchiveSetTest, AFileWhoseSizeIsNotKnownGoesOnInAnArchiveThatIsNotFull)
{
    const TempTree tree;
    ArchiveSet archives(tree.Path("v"), 10);
    for (const char *path : {"a", "b", "c"})
    {
        ArchiveWriter &archive = archives.ForStream(1000);
        archive.Begin(path);
        archive.Append("123456");
    }
    archives.Finish();
    EXPECT_EQ(ReadArchiveIndex(tree.Path("v/files-0001.vka")).size(), 2u);
    EXPECT_EQ(ReadArchiveIndex(tree.Path("v/files-0002.vka")).size(), 1u);
}

TEST(ArchiveSetTest, AnArchiveFromWhichEverythingWasDroppedIsNotLeft)
{
    const TempTree tree;
    ArchiveSet archives(tree.Path("v"), 10);
    ArchiveWriter &archive = archives.ForStream(1000);
    archive.Begin("a");
    archive.Append("1234");
    archive.DropLast();
    EXPECT_EQ(&archives.ForShared(100), &archive);
    EXPECT_FALSE(archives.AddEmpty("none"));
    archives.Finish();
    EXPECT_EQ(archives.GetArchiveCount(), 0u);
    EXPECT_FALSE(tree.Exists("v/files-0001.vka.dat"));
}

TEST(ArchiveWriterTest, ADroppedFileLeavesNoTrace)
{
    const TempTree tree;
    ArchiveWriter archive(tree.Root(), "maps");
    archive.Begin("one");
    archive.Append("123");
    archive.Begin("two");
    archive.Append("45");
    archive.DropLast();
    archive.Begin("three");
    archive.Append("6");
    archive.Finish();
    EXPECT_EQ(tree.Read("maps.vka.dat"), "1236");
    EXPECT_EQ(ReadArchiveIndex(tree.Path("maps.vka")).size(), 2u);
}

TEST(ArchiveWriterTest, FilesMayShareAStoredFormUntilTheSumOfSizesIsFull)
{
    const TempTree tree;
    ArchiveWriter archive(tree.Root(), "maps");
    archive.Begin("one");
    archive.Append("123");
    archive.CloseData();
    EXPECT_TRUE(archive.CanShare(archive.GetLast()));
    archive.Share("two", archive.GetLast());
    EXPECT_FALSE(archive.CanShare({0, 0xFFFFFFFF}));
    EXPECT_FALSE(archive.HasRoom(0xFFFFFFFF));
    EXPECT_TRUE(archive.HasRoom(0xFFFFFFFF - 6));
    archive.Finish();
    EXPECT_EQ(tree.Read("maps.vka.dat"), "123");
    for (const ArchivedFile &file : ReadArchiveIndex(tree.Path("maps.vka")))
    {
        EXPECT_EQ(file.offset, 0u);
        EXPECT_EQ(file.size, 3u);
    }
}
} // namespace
} // namespace Keld::Test
