#include "Support/ReleaseFixture.h"

namespace Keld::Test
{
namespace
{
class FileCallsTest : public ReleaseFixture
{
protected:
    void StartAtlas()
    {
        Start(mTree.Project("atlas", "1.0.0.0",
                            {{"data/maps/Alpha.txt", "alpha"}, {"data/b.bin", "0123456789", true}, {"empty", ""}}));
        LogRecorder::Clear();
    }
};

TEST_F(FileCallsTest, FindFilesAndDirectoriesWithoutRegardToCase)
{
    StartAtlas();
    for (const char *path :
         {"data", "data/maps", "DATA/MAPS", "data/maps/Alpha.txt", "Data/Maps/ALPHA.TXT", "data/b.bin", "empty"})
    {
        EXPECT_EQ(MorvFileExists(path), 1u) << path;
    }
    for (const char *path : {"dat", "data/maps/alpha", "data/maps/alpha.txt.bak", "maps", "data/maps/alpha.txt/x"})
    {
        EXPECT_EQ(MorvFileExists(path), 0u) << path;
    }
    ExpectAll({});
}

TEST_F(FileCallsTest, SettleSeparators)
{
    StartAtlas();
    for (const char *path :
         {"data/", "data\\maps", "data//maps///alpha.txt", "data/maps/", "data\\\\maps\\/Alpha.txt/"})
    {
        EXPECT_EQ(MorvFileExists(path), 1u) << path;
    }
    EXPECT_EQ(Content("data\\maps\\alpha.txt"), "alpha");
}

TEST_F(FileCallsTest, GiveDotsNoMeaning)
{
    StartAtlas();
    for (const char *path : {"./data", "./data/b.bin", "data/./b.bin", "data/../data", "data/../data/b.bin",
                             "data/maps/../b.bin", ".", "..", "data/.", "data/..", "../data"})
    {
        EXPECT_EQ(MorvFileExists(path), 0u) << path;
        EXPECT_EQ(MorvOpenFile(path), nullptr) << path;
    }
    EXPECT_EQ(List("./*"), Names({"<null>"}));
    EXPECT_EQ(List("data/../*"), Names({"<null>"}));
    ExpectAll({});
}

TEST_F(FileCallsTest, TakeASingleSeparatorAsTheRoot)
{
    StartAtlas();
    EXPECT_EQ(MorvFileExists("/"), 1u);
    EXPECT_EQ(MorvFileExists("\\"), 1u);
    EXPECT_EQ(MorvFileExists(""), 0u);
    EXPECT_EQ(MorvOpenFile("/"), nullptr);
    ExpectAll({});
}

TEST_F(FileCallsTest, DoNotFindAPathWithALeadingSeparator)
{
    // In a tree as small as this many paths share a bucket, so that a hash alone would not keep them apart.
    std::vector<ReleaseFile> files;
    for (char name = 'a'; name <= 'f'; ++name)
    {
        files.push_back({std::string(1, name), "x"});
    }
    Start(mTree.Project("atlas", "1.0.0.0", files));
    for (char name = 'a'; name <= 'f'; ++name)
    {
        const std::string path(1, name);
        EXPECT_EQ(MorvFileExists(path.c_str()), 1u);
        EXPECT_EQ(MorvFileExists(("/" + path).c_str()), 0u) << path;
        EXPECT_EQ(MorvFileExists(("//" + path).c_str()), 0u) << path;
        EXPECT_EQ(MorvOpenFile(("/" + path).c_str()), nullptr) << path;
    }
    EXPECT_EQ(MorvFileExists("//"), 0u);
}

TEST_F(FileCallsTest, TreatAPathThatDoesNotFitAsAbsent)
{
    StartAtlas();
    EXPECT_EQ(MorvFileExists(std::string(1024, 'a').c_str()), 0u);
    EXPECT_EQ(MorvFileExists(std::string(100000, 'a').c_str()), 0u);
    EXPECT_EQ(MorvOpenFile(std::string(1024, 'a').c_str()), nullptr);
    EXPECT_EQ(MorvFindFirstFile((std::string(1024, 'a')).c_str()), nullptr);
    EXPECT_EQ(MorvFindFirstFile(("data/" + std::string(1020, '*')).c_str()), nullptr);
    EXPECT_EQ(MorvFileExists(std::string(2000, '/').c_str()), 0u); // "/", which is no entry's path
    EXPECT_EQ(MorvFileExists(("data" + std::string(2000, '/') + "maps" + std::string(2000, '/')).c_str()), 1u);
    ExpectAll({});
}

TEST_F(FileCallsTest, FindAPathOfExactlyAsManyBytesAsFit)
{
    const std::string step(254, 'd');
    const std::string path = step + "/" + step + "/" + step + "/" + std::string(258, 'e');
    ASSERT_EQ(path.size(), 1023u);
    Start(mTree.Project("atlas", "1.0.0.0", {{"x", "x"}, {path + "/"}, {path.substr(0, 1022) + "/"}}));
    LogRecorder::Clear();
    EXPECT_EQ(MorvFileExists(path.c_str()), 1u);
    EXPECT_EQ(MorvFileExists((path + "/").c_str()), 1u);
    EXPECT_EQ(MorvFileExists((path + "\\//").c_str()), 1u);
    EXPECT_EQ(MorvFileExists((path + "e").c_str()), 0u);
    EXPECT_EQ(MorvFileExists((path + "/e").c_str()), 0u);
    ExpectAll({});
}

TEST_F(FileCallsTest, KeepTheDirectoriesOfAFileWhoseDiskPathDoesNotFit)
{
    const std::string directory = std::string(255, 'a') + "/" + std::string(255, 'b') + "/" + std::string(255, 'c');
    const std::string path = directory + "/" + std::string(255, 'd');
    ASSERT_EQ(path.size(), 1023u);
    Start(mTree.Project("atlas", "1.0.0.0", {{"x", "x"}, {path, "deep", false, true}}));
    EXPECT_EQ(LogRecorder::Failures().size(), 1u);
    EXPECT_EQ(MorvFileExists(path.c_str()), 0u);
    EXPECT_EQ(MorvFileExists(directory.c_str()), 1u);
    EXPECT_EQ(MorvFileExists((directory + "/").c_str()), 1u);
    EXPECT_EQ(List(directory + "/*"), Names());
}

TEST_F(FileCallsTest, MeasureAPathWithoutItsTrailingSeparator)
{
    StartAtlas();
    // "*" lists the directory of everything in front of it: what is measured ends behind the pattern.
    const std::string pattern = "data/" + std::string(1018, '*');
    ASSERT_EQ(pattern.size(), 1023u);
    EXPECT_EQ(List(pattern), Names({"maps/", "b.bin"}));
    EXPECT_EQ(List(pattern + "/"), Names({"maps/", "b.bin"}));
    EXPECT_EQ(List(pattern + "*"), Names({"<null>"}));
}

TEST_F(FileCallsTest, DoNotOpenDirectories)
{
    StartAtlas();
    EXPECT_EQ(MorvFileExists("data"), 1u);
    EXPECT_EQ(MorvOpenFile("data"), nullptr);
    EXPECT_EQ(MorvOpenFile("data/maps/"), nullptr);
    EXPECT_EQ(MorvOpenFile("missing"), nullptr);
    ExpectAll({});
}

TEST_F(FileCallsTest, ReadAtAnyOffset)
{
    StartAtlas();
    OpenFileHandle *const handle = MorvOpenFile("data/b.bin");
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(MorvGetFileSize(handle), 10);
    char buffer[16] = {};
    std::uint32_t bytesRead = 77;
    EXPECT_EQ(MorvRead(handle, 7, 3, &bytesRead, buffer), S_OK);
    EXPECT_EQ(std::string(buffer, bytesRead), "789");
    EXPECT_EQ(MorvRead(handle, 2, 4, nullptr, buffer), S_OK);
    EXPECT_EQ(std::string(buffer, 4), "2345");
    EXPECT_EQ(MorvRead(handle, 8, 16, &bytesRead, buffer), S_OK);
    EXPECT_EQ(std::string(buffer, bytesRead), "89");
    EXPECT_EQ(MorvRead(handle, 10, 16, &bytesRead, buffer), S_OK);
    EXPECT_EQ(bytesRead, 0u);
    MorvCloseFile(handle);
    ExpectAll({});
}

TEST_F(FileCallsTest, FailAReadOfAPlainFileIntoNothing)
{
    StartAtlas();
    OpenFileHandle *const handle = MorvOpenFile("data/b.bin");
    ASSERT_NE(handle, nullptr);
    std::uint32_t bytesRead = 77;
    EXPECT_EQ(MorvRead(handle, 0, 1, &bytesRead, nullptr), E_FAIL);
    EXPECT_EQ(bytesRead, 0xFFFFFFFFu);
    MorvCloseFile(handle);
}

TEST_F(FileCallsTest, ReadNothingIntoNothingAtTheEndOfAPlainFile)
{
    StartAtlas();
    OpenFileHandle *const handle = MorvOpenFile("data/b.bin");
    ASSERT_NE(handle, nullptr);
    for (const std::uint64_t offset : {10u, 1000u})
    {
        std::uint32_t bytesRead = 77;
        EXPECT_EQ(MorvRead(handle, offset, 1, &bytesRead, nullptr), S_OK);
        EXPECT_EQ(bytesRead, 0u);
    }
    MorvCloseFile(handle);
}

TEST_F(FileCallsTest, FailAReadAtAnOffsetThatNoFileReaches)
{
    StartAtlas();
    OpenFileHandle *const handle = MorvOpenFile("data/b.bin");
    ASSERT_NE(handle, nullptr);
    char byte = 'k';
    std::uint32_t bytesRead = 77;
    EXPECT_EQ(MorvRead(handle, std::uint64_t{1} << 62, 1, &bytesRead, &byte), S_OK);
    EXPECT_EQ(bytesRead, 0u);
    for (const std::uint64_t offset : {std::uint64_t{1} << 63, ~std::uint64_t{0}})
    {
        bytesRead = 77;
        EXPECT_EQ(MorvRead(handle, offset, 1, &bytesRead, &byte), E_FAIL) << offset;
        EXPECT_EQ(bytesRead, 0xFFFFFFFFu) << offset;
        EXPECT_EQ(MorvRead(handle, offset, 1, nullptr, nullptr), E_FAIL) << offset;
    }
    EXPECT_EQ(byte, 'k');
    MorvCloseFile(handle);
    ExpectAll({});
}

TEST_F(FileCallsTest, ReadNothingForASizeOfZero)
{
    StartAtlas();
    OpenFileHandle *const handle = MorvOpenFile("data/b.bin");
    ASSERT_NE(handle, nullptr);
    std::uint32_t bytesRead = 77;
    char byte = 'k';
    EXPECT_EQ(MorvRead(handle, 0, 0, &bytesRead, &byte), S_OK);
    EXPECT_EQ(MorvRead(handle, 0, 0, nullptr, nullptr), S_OK);
    EXPECT_EQ(bytesRead, 77u);
    EXPECT_EQ(byte, 'k');
    MorvCloseFile(handle);
}

TEST_F(FileCallsTest, RefuseANullHandle)
{
    StartAtlas();
    std::uint32_t bytesRead = 77;
    char byte = 'k';
    EXPECT_EQ(MorvRead(nullptr, 0, 1, &bytesRead, &byte), E_HANDLE);
    EXPECT_EQ(MorvRead(nullptr, 0, 0, &bytesRead, &byte), E_HANDLE);
    EXPECT_EQ(bytesRead, 77u);
    EXPECT_EQ(byte, 'k');
    EXPECT_EQ(MorvGetFileSize(nullptr), -1);
    MorvCloseFile(nullptr);
    ExpectAll({});
}

TEST_F(FileCallsTest, TellTheSizeOfTheManifestWithoutASign)
{
    ManifestImage manifest("atlas", VersionNumber("1.0.0.0"));
    ManifestFile large;
    large.size = 0xFFFFFFFF;
    manifest.File("large", large);
    large.size = 0x80000000;
    manifest.File("half", large);
    const std::string directory = mTree.Project("atlas", "1.0.0.0", {{"large", "small"}, {"half", "small"}});
    mTree.Disk().Write("MORV/projects/atlas/releases/1.0.0.0/releasemanifest", manifest.Bytes());
    Start(directory);

    OpenFileHandle *const handle = MorvOpenFile("large");
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(MorvGetFileSize(handle), std::int64_t{4294967295});
    MorvCloseFile(handle);
    FindHandle *const find = MorvFindFirstFile("half");
    std::uint64_t size = 1;
    ASSERT_EQ(MorvFindNextFile(find, nullptr, &size, 0, nullptr), S_OK);
    EXPECT_EQ(size, std::uint64_t{2147483648});
    MorvFindClose(find);
}

TEST_F(FileCallsTest, KeepTheOtherOpensOfAFileWhenOneIsClosed)
{
    StartAtlas();
    OpenFileHandle *const first = MorvOpenFile("data/b.bin");
    OpenFileHandle *const second = MorvOpenFile("DATA/B.BIN");
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_NE(first, second);
    MorvCloseFile(first);
    char buffer[2] = {};
    EXPECT_EQ(MorvRead(second, 4, 2, nullptr, buffer), S_OK);
    EXPECT_EQ(std::string(buffer, 2), "45");
    MorvCloseFile(second);
    MorvShutdown();
    ExpectAll({});
}

TEST_F(FileCallsTest, OpenNothingWhenTheFileHasGoneSinceTheStart)
{
    StartAtlas();
    mTree.Disk().Remove("MORV/projects/atlas/releases/1.0.0.0/deploy/data/maps/Alpha.txt");
    EXPECT_EQ(MorvFileExists("data/maps/alpha.txt"), 1u);
    EXPECT_EQ(MorvOpenFile("data/maps/alpha.txt"), nullptr);
    EXPECT_EQ(LogRecorder::Failures().size(), 2u);
    mTree.Disk().Write("MORV/projects/atlas/releases/1.0.0.0/deploy/data/maps/Alpha.txt", "again");
    EXPECT_EQ(Content("data/maps/alpha.txt"), "again");
}

TEST_F(FileCallsTest, FailAReadOfADirectoryThatHasTakenTheFilesPlace)
{
    StartAtlas();
    const std::string path = "MORV/projects/atlas/releases/1.0.0.0/deploy/data/maps/Alpha.txt";
    mTree.Disk().Remove(path);
    mTree.Disk().MakeDirectory(path);
    OpenFileHandle *const handle = MorvOpenFile("data/maps/alpha.txt");
    ASSERT_NE(handle, nullptr);
    char byte = 'k';
    std::uint32_t bytesRead = 77;
    EXPECT_EQ(MorvRead(handle, 0, 1, &bytesRead, &byte), E_FAIL);
    EXPECT_EQ(bytesRead, 0xFFFFFFFFu);
    MorvCloseFile(handle);
}
} // namespace
} // namespace Keld::Test
