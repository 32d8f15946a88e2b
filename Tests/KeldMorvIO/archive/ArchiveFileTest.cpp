#include "KeldMorvIO/archive/ArchiveFile.h"

#include "KeldFoundation/CStd/Hash.h"
#include "KeldMorvIO/archive/ArchiveFileFixture.h"
#include "Support/HexDump.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace Keld::MORV::Reader
{
namespace
{
using Test::ArchiveHash;
using Test::ArchiveImage;
using Test::ByteImage;
using Test::Error;
using Test::ReadHexDump;
using Test::Trace;

constexpr const char *ConstructorSignature =
    "Keld::MORV::Reader::ArchiveFile::ArchiveFile(const std::string &, const std::string &, unsigned char)";
constexpr const char *ReadSignature = "bool Keld::MORV::Reader::ArchiveFile::Read(bool *)";
constexpr const char *ReadInSignature = "bool Keld::MORV::Reader::ArchiveFile::Read(const std::string &, bool *)";
constexpr const char *RootSignature = "bool Keld::MORV::Reader::ArchiveFile::SetRootDirectory(const std::string &)";
constexpr const char *FindSignature = "bool Keld::MORV::Reader::ArchiveFile::Find(const std::string &) const";
constexpr const char *SearchSignature =
    "bool Keld::MORV::Reader::ArchiveFile::Search(const std::string &, uint32 &, uint32 &) const";
constexpr const char *ContentsSignature =
    "void Keld::MORV::Reader::ArchiveFile::GetContents(std::vector<std::string> &) const";
constexpr const char *UnreadableText = "Failed to read our archive directory";

using ArchiveFileTest = Test::ArchiveFileFixture;

TEST_F(ArchiveFileTest, FindsEveryFileWithItsRange)
{
    const ArchiveFile &archive = Load(mSample.Bytes());
    ExpectFound(archive, "data/file.bin", 100, 11);
    ExpectFound(archive, "Readme.txt", 200, 22);
    ExpectFound(archive, "a/B/c", 300, 33);
    EXPECT_EQ(3u, archive.GetEntryCount());
    EXPECT_EQ(66u, archive.GetTotalSize());
}

TEST_F(ArchiveFileTest, FindsEveryOneOfManyFiles)
{
    ArchiveImage image;
    for (uint32 index = 0; index < 1000; ++index)
    {
        image.File("data/" + std::to_string(index) + "/file.bin", index * 3, index + 1);
    }
    const ArchiveFile &archive = Load(image.Bytes());
    for (uint32 index = 0; index < 1000; ++index)
    {
        ExpectFound(archive, ("DATA/" + std::to_string(index) + "/file.BIN").c_str(), index * 3, index + 1);
    }
    EXPECT_FALSE(archive.Find("data/1000/file.bin"));
}

TEST_F(ArchiveFileTest, LooksUpWithoutRegardToCase)
{
    const ArchiveFile &archive = Load(mSample.Bytes());
    ExpectFound(archive, "DATA/FILE.BIN", 100, 11);
    ExpectFound(archive, "README.TXT", 200, 22);
    ExpectFound(archive, "A/b/C", 300, 33);
}

TEST_F(ArchiveFileTest, ANameThatIsNotThereLeavesTheOutputsAlone)
{
    const ArchiveFile &archive = Load(mSample.Bytes());
    uint32 offset = 7;
    uint32 size = 8;
    EXPECT_FALSE(archive.Find("data/other.bin"));
    EXPECT_FALSE(archive.Search("data/other.bin", offset, size));
    EXPECT_EQ(7u, offset);
    EXPECT_EQ(8u, size);
    mLog.ExpectFailures({});
}

TEST_F(ArchiveFileTest, TellsPathsOfOneHashApart)
{
    // "aq" and "ba" are one hash: 0x61 * 16 + 0x71 and 0x62 * 16 + 0x61.
    ASSERT_EQ(ArchiveHash("aq"), ArchiveHash("ba"));
    const ArchiveFile &archive = Load(ArchiveImage().File("ba", 1, 10).File("aq", 2, 20).Bytes());
    ExpectFound(archive, "aq", 2, 20);
    ExpectFound(archive, "BA", 1, 10);
    EXPECT_EQ(0, archive.FindEntryIndex(ArchiveHash("aq"), "aq"));
    EXPECT_EQ(1, archive.FindEntryIndex(ArchiveHash("aq"), "ba"));
    EXPECT_EQ(-1, archive.FindEntryIndex(ArchiveHash("aq"), "c"));
}

TEST_F(ArchiveFileTest, OfNamesThatDifferInCaseTheFirstRecordWins)
{
    const ArchiveFile &archive = Load(ArchiveImage().File("A", 1, 10).File("a", 2, 20).File("A", 3, 30).Bytes());
    ExpectFound(archive, "a", 1, 10);
}

TEST_F(ArchiveFileTest, BytesOutsideAsciiEnterTheHashSigned)
{
    const std::string name = "data/\xC3\xA4.bin";
    ByteImage image = ArchiveImage().File(name, 1, 10).Image();
    const ArchiveFile &archive = Load(image.Bytes());
    ExpectFound(archive, name.c_str(), 1, 10);
    EXPECT_EQ(0x0FFFF224u, HashName("\xC3\xA4"));
}

TEST_F(ArchiveFileTest, FindEntryIndexTakesTheHashItIsGiven)
{
    const ArchiveFile &archive = Load(ArchiveImage().File("a", 1, 10).Bytes());
    EXPECT_EQ(0, archive.FindEntryIndex(0x61, "A"));
    EXPECT_EQ(-1, archive.FindEntryIndex(0x62, "a"));
    EXPECT_EQ(-1, archive.FindEntryIndex(0x61, nullptr));
}

TEST_F(ArchiveFileTest, HashesAreComparedAsUnsignedNumbers)
{
    ByteImage image = ArchiveImage().File("a", 1, 10).File("b", 2, 20).File("c", 3, 30).Image();
    image.Word(ArchiveImage::RecordOffset(1), 0x7FFFFFFF).Word(ArchiveImage::RecordOffset(2), 0x80000000);
    const ArchiveFile &archive = Load(image.Bytes());
    EXPECT_EQ(0, archive.FindEntryIndex(0x61, "a"));
    EXPECT_EQ(1, archive.FindEntryIndex(0x7FFFFFFF, "b"));
    EXPECT_EQ(2, archive.FindEntryIndex(0x80000000, "c"));
}

TEST_F(ArchiveFileTest, EntriesAreTheRecordsOfTheFile)
{
    const ArchiveFile &archive = Load(mSample.Bytes());
    const int32 index = archive.FindEntryIndex(0x06AE0D5E, "data/file.bin");
    ASSERT_GE(index, 0);
    const ArchiveFileEntry *const entry = archive.GetEntry(static_cast<uint32>(index));
    EXPECT_EQ(0x06AE0D5Eu, uint32{entry->hash});
    EXPECT_EQ(100u, uint32{entry->dataOffset});
    EXPECT_EQ(11u, uint32{entry->size});
    EXPECT_EQ(0u, uint32{entry->pathIndex});
}

TEST_F(ArchiveFileTest, ContentsAreInTheOrderOfTheRecords)
{
    std::vector<std::string> paths = {"before"};
    Load(mSample.Bytes()).GetContents(paths);
    const std::vector<std::string> byHash = {"before", "a/B/c", "data/file.bin", "Readme.txt"};
    ASSERT_LT(ArchiveHash("a/B/c"), ArchiveHash("data/file.bin"));
    ASSERT_LT(ArchiveHash("data/file.bin"), ArchiveHash("Readme.txt"));
    EXPECT_EQ(byHash, paths);
}

TEST_F(ArchiveFileTest, PathsThatNobodyCouldAskForAreNoContents)
{
    const std::string longest(1023, 'p');
    const std::string longer(1024, 'q');
    const ArchiveFile &archive = Load(ArchiveImage().File(longest, 1, 10).File(longer, 2, 20).Bytes());
    std::vector<std::string> paths;
    archive.GetContents(paths);
    EXPECT_EQ(std::vector<std::string>{longest}, paths);
    ExpectFound(archive, longer.c_str(), 2, 20);
}

TEST_F(ArchiveFileTest, RecordsThatShareAHugePathAreNotCopied)
{
    ArchiveImage source;
    source.File(std::string(100000, 'p'), 0, 1);
    for (uint32 index = 1; index < 1000; ++index)
    {
        source.File("p", index, 1);
    }
    ByteImage image = source.Image();
    for (std::size_t index = 0; index < 1000; ++index)
    {
        image.Word(ArchiveImage::RecordOffset(index) + 12, 0);
    }
    std::vector<std::string> paths;
    Load(image.Bytes()).GetContents(paths);
    EXPECT_TRUE(paths.empty());
}

TEST_F(ArchiveFileTest, AnUnsortedIndexDoesNotAnswerWithAnotherFile)
{
    ByteImage image = ArchiveImage().File("a", 1, 10).File("b", 2, 20).Image();
    const std::string bytes = image.Bytes();
    image.Raw(ArchiveImage::RecordOffset(0), bytes.substr(ArchiveImage::RecordOffset(1), 16));
    image.Raw(ArchiveImage::RecordOffset(1), bytes.substr(ArchiveImage::RecordOffset(0), 16));
    const ArchiveFile &archive = Load(image.Bytes());
    uint32 offset = 7;
    uint32 size = 8;
    EXPECT_FALSE(archive.Search("a", offset, size)); // the search ends at the record of "b"
    EXPECT_EQ(7u, offset);
    EXPECT_EQ(8u, size);
}

TEST_F(ArchiveFileTest, ARecordWithoutAPathNeverMatches)
{
    ByteImage image = ArchiveImage().File("a", 1, 10).File("b", 2, 20).Image();
    image.Word(ArchiveImage::RecordOffset(0) + 12, 2);
    const ArchiveFile &archive = Load(image.Bytes());
    EXPECT_FALSE(archive.Find("a"));
    ExpectFound(archive, "b", 2, 20);

    std::vector<std::string> paths;
    archive.GetContents(paths);
    EXPECT_EQ(std::vector<std::string>{"b"}, paths);
    EXPECT_EQ(2u, archive.GetEntryCount());
}

TEST_F(ArchiveFileTest, ARecordWithoutAPathStandsBehindItsHash)
{
    ByteImage image = ArchiveImage().File("a", 1, 10).File("A", 2, 20).File("a", 3, 30).Image();
    image.Word(ArchiveImage::RecordOffset(1) + 12, 3).Word(ArchiveImage::RecordOffset(2) + 12, 0xFFFFFFFE);
    ExpectFound(Load(image.Bytes()), "a", 1, 10);
}

TEST_F(ArchiveFileTest, ThePathIndexOfTheSearchedNameMatchesAnyNameOfTheHash)
{
    ByteImage image = ArchiveImage().File("aq", 1, 10).Image();
    image.Word(ArchiveImage::RecordOffset(0) + 12, 0xFFFFFFFF);
    const ArchiveFile &archive = Load(image.Bytes());
    ExpectFound(archive, "aq", 1, 10);
    ExpectFound(archive, "ba", 1, 10);
    EXPECT_FALSE(archive.Find("a"));
    std::vector<std::string> paths;
    archive.GetContents(paths);
    EXPECT_TRUE(paths.empty());
}

TEST_F(ArchiveFileTest, AnEmptyNameIsAnErrorOfSearchAlone)
{
    const ArchiveFile &archive = Load(mSample.Bytes());
    uint32 offset = 7;
    uint32 size = 8;
    EXPECT_FALSE(archive.Find(""));
    mLog.ExpectFailures({});
    EXPECT_FALSE(archive.Search("", offset, size));
    EXPECT_EQ(0u, offset);
    EXPECT_EQ(0u, size);
    mLog.ExpectAll(
        {Trace("() [this->mFilename = maps.vka]", SearchSignature), Error("Empty file name", SearchSignature)});
}

TEST_F(ArchiveFileTest, AnEmptyPathIsAFileLikeAnyOtherToFind)
{
    EXPECT_TRUE(Load(ArchiveImage().File("", 1, 10).Bytes()).Find(""));
}

TEST_F(ArchiveFileTest, SearchRefusesInAnArchiveOfNoSizeButSetsTheOutputs)
{
    const ArchiveFile &archive = Load(ArchiveImage().File("a", 5, 0).Bytes());
    EXPECT_EQ(0u, archive.GetTotalSize());
    EXPECT_TRUE(archive.Find("a"));
    uint32 offset = 7;
    uint32 size = 8;
    EXPECT_FALSE(archive.Search("a", offset, size));
    EXPECT_EQ(5u, offset);
    EXPECT_EQ(0u, size);
}

TEST_F(ArchiveFileTest, TheTotalSizeWraps)
{
    const ArchiveFile &archive = Load(ArchiveImage().File("a", 0, 0x80000000u).File("b", 9, 0x80000000u).Bytes());
    EXPECT_EQ(0u, archive.GetTotalSize());
    uint32 offset = 0;
    uint32 size = 0;
    EXPECT_FALSE(archive.Search("b", offset, size));
    EXPECT_EQ(9u, offset);
    EXPECT_EQ(0x80000000u, size);
}

TEST_F(ArchiveFileTest, ASecondReadAddsToTheTotalSize)
{
    ArchiveFile &archive = Load(mSample.Bytes());
    EXPECT_TRUE(archive.Read(nullptr));
    EXPECT_EQ(132u, archive.GetTotalSize());
    ExpectFound(archive, "data/file.bin", 100, 11);
}

TEST_F(ArchiveFileTest, TheThirdHeaderWordAndTheUnreadWordsMayHoldAnything)
{
    ByteImage image = mSample.Image();
    image.Word(8, 0xFFFFFFFF).Word(mSample.PathListOffset(), 0xFFFFFFFF).Word(mSample.PathOffset(1) + 4, 0xFFFFFFFF);
    ExpectFound(Load(image.Bytes()), "readme.txt", 200, 22);
}

TEST_F(ArchiveFileTest, ListsMayLieAtOddOffsetsAndOverlap)
{
    // One record and one path; the path list begins inside the record's last word and its text lies before all.
    ByteImage image;
    image.Word(0, 0x18BE0EF0).Word(4, 1).Word(12, 25).Word(16, 46);
    image.Word(25, 1).Word(29, 0x61).Word(33, 500).Word(37, 50).Word(41, 0);
    image.Word(46, 0).Word(50, 1).Word(54, 16).Word(58, 0).Text(62, "a");
    ExpectFound(Load(image.Bytes()), "a", 500, 50);

    ByteImage shared;
    shared.Word(0, 0x18BE0EF0).Word(4, 1).Word(12, 20).Word(16, 36);
    shared.Word(20, 1).Word(24, 0x62).Word(28, 500).Word(32, 50).Word(36, 0);
    shared.Word(40, 1).Word(44, 16).Word(48, 0).Text(52, "b");
    ExpectFound(Load(shared.Bytes()), "b", 500, 50);
}

TEST_F(ArchiveFileTest, EveryOperationTracesItsEntry)
{
    const std::string path = mTree.Write("maps.vka", ArchiveImage().File("a", 1, 10).Bytes());
    const std::string size = std::to_string(std::filesystem::file_size(path));
    ArchiveFile archive("maps.vka", "elsewhere", 200);
    mLog.ExpectAll({Trace("(maps.vka, elsewhere, 200)", ConstructorSignature)});

    EXPECT_TRUE(archive.SetRootDirectory(mTree.Root()));
    mLog.ExpectAll({Trace("(" + mTree.Root() + "), this->mFilename = maps.vka", RootSignature)});

    EXPECT_TRUE(archive.Read(nullptr));
    mLog.ExpectAll({Trace("() [this->mFilename = maps.vka]", ReadSignature),
                    Trace("(" + mTree.Root() + ") [this->mFilename = maps.vka]", ReadInSignature),
                    Trace("(" + path + ")"), Trace("(" + path + ", 0, " + size + ")")});

    EXPECT_TRUE(archive.Find("a"));
    mLog.ExpectAll({Trace("(a) [this->mFilename = maps.vka]", FindSignature)});

    uint32 offset = 0;
    EXPECT_FALSE(archive.Search("b", offset, offset));
    mLog.ExpectAll({Trace("(b) [this->mFilename = maps.vka]", SearchSignature)});

    std::vector<std::string> paths;
    archive.GetContents(paths);
    mLog.ExpectAll({Trace("() [this->mFilename = maps.vka]", ContentsSignature)});
}

TEST_F(ArchiveFileTest, AnEmptyDirectoryMeansTheWorkingDirectory)
{
    ArchiveFile archive("maps.vka", "", 0);
    bool invalid = false;
    EXPECT_FALSE(archive.Read(&invalid));
    mLog.ExpectFailures({Error("Failed to get size of \"./maps.vka\"."), Error(UnreadableText, ReadInSignature)});

    mTree.Write("maps.vka", mSample.Bytes());
    EXPECT_TRUE(archive.Read(mTree.Root(), &invalid));
    ExpectFound(archive, "data/file.bin", 100, 11);
}

TEST_F(ArchiveFileTest, TheDumpOfTheFormatPageIsAnArchive)
{
    const ArchiveFile &archive = Load(ReadHexDump("Docs/Formats/ArchiveIndex.md"));
    ExpectFound(archive, "data/file.bin", 0, 5);
    ExpectFound(archive, "Readme.txt", 5, 12);
    EXPECT_EQ(2u, archive.GetEntryCount());
    EXPECT_EQ(17u, archive.GetTotalSize());
}

TEST_F(ArchiveFileTest, TheHashOfNamesHasItsKnownValues)
{
    EXPECT_EQ(0u, HashName(""));
    EXPECT_EQ(0x61u, HashName("a"));
    EXPECT_EQ(0x61u, HashName("A"));
    EXPECT_EQ(0x672u, HashName("ab"));
    EXPECT_EQ(0x6AE0D5Eu, HashName("data/file.bin"));
    EXPECT_EQ(0x6AE0D5Eu, HashName("DATA/FILE.BIN"));
    EXPECT_EQ(0x89ABAA8u, HashName("abcdefgh"));
    EXPECT_EQ(0x9ABAA69u, HashName("abcdefghi"));
}
} // namespace
} // namespace Keld::MORV::Reader
