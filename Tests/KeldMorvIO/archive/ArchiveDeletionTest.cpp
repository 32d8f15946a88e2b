#include "KeldMorvIO/archive/ArchiveVersionManager.h"

#include "KeldMorvIO/archive/ArchiveDirectoryFixture.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>

#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace Keld::MORV::Reader
{
namespace
{
using Test::ArchiveImage;
using Test::CreateSignature;
using Test::Error;
using Test::LoadSignature;
using Test::Warning;

std::string OpenText(const std::string &path)
{
    return "Failed to open " + path + ", archive will be deleted and ignored";
}

std::string ZeroText(const std::string &path)
{
    return "Zero sized archive " + path + " will be deleted and ignored";
}

using ArchiveDeletionTest = Test::ArchiveDirectoryFixture;

TEST_F(ArchiveDeletionTest, OnlyIndexFilesAreLookedAt)
{
    mTree.Write("1.0.0.0/a.vka.dat", "data");
    mTree.Write("1.0.0.0/.vka", "bad");
    mTree.Write("1.0.0.0/.hidden.vka", "bad");
    mTree.Write("1.0.0.0/UPPER.VKA", "bad");
    mTree.Write("1.0.0.0/a.vkax", "bad");
    EXPECT_EQ(nullptr, Create());
    mLog.ExpectFailures({Error(NoneText(), CreateSignature)});
    for (const char *name : {"a.vka.dat", ".vka", ".hidden.vka", "UPPER.VKA", "a.vkax"})
    {
        EXPECT_TRUE(mTree.Exists(std::string("1.0.0.0/") + name)) << name;
    }
}

TEST_F(ArchiveDeletionTest, ADirectoryNamedLikeAnIndexIsSkipped)
{
    mTree.Write("1.0.0.0/x.vka/inside", "kept");
    WriteArchive("a.vka", ArchiveImage().File("a", 10, 1));
    EXPECT_NE(nullptr, Create());
    mLog.ExpectFailures({});
    EXPECT_TRUE(mTree.Exists("1.0.0.0/x.vka/inside"));
}

TEST_F(ArchiveDeletionTest, AnIndexOfAnotherFormatIsDeletedAndItsDataStays)
{
    mTree.Write("1.0.0.0/bad.vka", "no archive at all, but long enough");
    mTree.Write("1.0.0.0/bad.vka.dat", "data");
    const std::string path = mTree.Path("1.0.0.0/bad.vka");
    EXPECT_EQ(nullptr, Create());
    mLog.ExpectFailures({Error("Incorrect magic value or version, invalid archive " + path),
                         Warning(OpenText(path), LoadSignature), Error(NoneText(), CreateSignature)});
    EXPECT_FALSE(mTree.Exists("1.0.0.0/bad.vka"));
    EXPECT_TRUE(mTree.Exists("1.0.0.0/bad.vka.dat"));

    EXPECT_EQ(nullptr, Create());
    mLog.ExpectFailures({Error(NoneText(), CreateSignature)});
}

TEST_F(ArchiveDeletionTest, AnIndexOfAnotherVersionIsDeleted)
{
    mTree.Write("1.0.0.0/bad.vka", ArchiveImage().File("a", 1, 1).Image().Word(4, 2).Bytes());
    EXPECT_EQ(nullptr, Load("bad.vka"));
    mLog.ExpectFailures({Error("Incorrect magic value or version, invalid archive " + mTree.Path("1.0.0.0/bad.vka")),
                         Warning(OpenText(mTree.Path("1.0.0.0/bad.vka")), LoadSignature)});
    EXPECT_FALSE(mTree.Exists("1.0.0.0/bad.vka"));
}

TEST_F(ArchiveDeletionTest, AFileOfLengthZeroIsNoArchiveAndNotZeroSized)
{
    mTree.Write("1.0.0.0/bad.vka", "");
    EXPECT_EQ(nullptr, Load("bad.vka"));
    mLog.ExpectFailures({Error("Incorrect magic value or version, invalid archive " + mTree.Path("1.0.0.0/bad.vka")),
                         Warning(OpenText(mTree.Path("1.0.0.0/bad.vka")), LoadSignature)});
    EXPECT_FALSE(mTree.Exists("1.0.0.0/bad.vka"));
}

TEST_F(ArchiveDeletionTest, AnIndexWithoutRecordsIsDeleted)
{
    WriteArchive("none.vka", ArchiveImage());
    EXPECT_EQ(nullptr, Load("none.vka"));
    mLog.ExpectFailures({Warning(ZeroText(mTree.Path("1.0.0.0/none.vka")), LoadSignature)});
    EXPECT_FALSE(mTree.Exists("1.0.0.0/none.vka"));
    EXPECT_TRUE(mTree.Exists("1.0.0.0/none.vka.dat"));
}

TEST_F(ArchiveDeletionTest, AnIndexWhoseSizesAddUpToNothingIsDeleted)
{
    WriteArchive("zero.vka", ArchiveImage().File("a", 1, 0).File("b", 2, 0));
    WriteArchive("wrapped.vka", ArchiveImage().File("a", 0, 0xFFFFFFFF).File("b", 0, 1));
    EXPECT_EQ(nullptr, Load("zero.vka"));
    EXPECT_EQ(nullptr, Load("wrapped.vka"));
    mLog.ExpectFailures({Warning(ZeroText(mTree.Path("1.0.0.0/zero.vka")), LoadSignature),
                         Warning(ZeroText(mTree.Path("1.0.0.0/wrapped.vka")), LoadSignature)});
    EXPECT_FALSE(mTree.Exists("1.0.0.0/zero.vka"));
    EXPECT_FALSE(mTree.Exists("1.0.0.0/wrapped.vka"));
}

TEST_F(ArchiveDeletionTest, AnIndexThatCannotBeOpenedIsDeletedToo)
{
    WriteArchive("a.vka", ArchiveImage().File("a", 10, 1));
    // As many descriptors as are open already: a shortage like any other, and it costs the index.
    const int handle = dup(0);
    ASSERT_GE(handle, 0);
    rlimit before = {};
    ASSERT_EQ(0, getrlimit(RLIMIT_NOFILE, &before));
    const rlimit none = {static_cast<rlim_t>(handle), before.rlim_max};
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &none));
    const ArchiveFile *const archive = Load("a.vka");
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &before));
    close(handle);

    const std::string path = mTree.Path("1.0.0.0/a.vka");
    const std::string text = std::strerror(EMFILE);
    EXPECT_EQ(nullptr, archive);
    mLog.ExpectFailures({Error(text), Error("(\"" + path + "\", \"rb\") failed: " + text), Error(text),
                         Error("Failed to open \"" + path + "\"."), Error("Failed to read \"" + path + "\"."),
                         Error("Failed to read our archive directory"), Warning(ZeroText(path), LoadSignature)});
    EXPECT_FALSE(mTree.Exists("1.0.0.0/a.vka"));
    EXPECT_TRUE(mTree.Exists("1.0.0.0/a.vka.dat"));
}

TEST_F(ArchiveDeletionTest, AnIndexThatFallsShortOfItsSizeIsDeleted)
{
    mTree.MakeDirectory("1.0.0.0");
    std::filesystem::create_symlink("/sys/kernel/uevent_seqnum", mTree.Path("1.0.0.0/short.vka"));
    EXPECT_EQ(nullptr, Load("short.vka"));
    const std::string path = mTree.Path("1.0.0.0/short.vka");
    mLog.ExpectFailures({Error("fread failed"), Error("Failed to read \"" + path + "\"."),
                         Error("Failed to read our archive directory"), Warning(ZeroText(path), LoadSignature)});
    EXPECT_FALSE(mTree.Exists("1.0.0.0/short.vka"));
}

TEST_F(ArchiveDeletionTest, AnIndexWhosePathIsTooLongToOpenIsDeleted)
{
    std::string directory = "1.0.0.0";
    for (int level = 0; level < 5; ++level)
    {
        directory += "/" + std::string(200, 'd');
    }
    const std::string path = mTree.Write(directory + "/a.vka", ArchiveImage().File("a", 10, 1).Bytes());
    ASSERT_LE(1024u, path.size());
    EXPECT_EQ(nullptr, ArchiveVersionManager::LoadArchiveFile(mTree.Path(directory).c_str(), "a.vka"));
    const std::string text = std::strerror(ENAMETOOLONG);
    mLog.ExpectFailures({Error(text), Error("(\"" + path + "\", \"rb\") failed: " + text), Error(text),
                         Error("Failed to open \"" + path + "\"."), Error("Failed to read \"" + path + "\"."),
                         Error("Failed to read our archive directory"), Warning(ZeroText(path), LoadSignature)});
    EXPECT_FALSE(mTree.Exists(directory + "/a.vka"));
}

TEST_F(ArchiveDeletionTest, APipeIsWarnedOfAndStays)
{
    mTree.MakeDirectory("1.0.0.0");
    ASSERT_EQ(0, mkfifo(mTree.Path("1.0.0.0/pipe.vka").c_str(), 0600));
    EXPECT_EQ(nullptr, Create());
    const std::string path = mTree.Path("1.0.0.0/pipe.vka");
    mLog.ExpectFailures({Error("Failed to get size of \"" + path + "\"."),
                         Error("Failed to read our archive directory"), Warning(ZeroText(path), LoadSignature),
                         Error(NoneText(), CreateSignature)});
    EXPECT_TRUE(mTree.Exists("1.0.0.0/pipe.vka"));
}

TEST_F(ArchiveDeletionTest, ASocketIsDeleted)
{
    mTree.MakeDirectory("1.0.0.0");
    const std::string path = mTree.Path("1.0.0.0/s.vka");
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    const int handle = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(0, bind(handle, reinterpret_cast<const sockaddr *>(&address), sizeof address));
    close(handle);
    EXPECT_EQ(nullptr, Load("s.vka"));
    EXPECT_FALSE(mTree.Exists("1.0.0.0/s.vka"));
}

TEST_F(ArchiveDeletionTest, ALinkToNothingIsWarnedOfAndStays)
{
    mTree.MakeDirectory("1.0.0.0");
    std::filesystem::create_symlink("nowhere", mTree.Path("1.0.0.0/link.vka"));
    EXPECT_EQ(nullptr, Create());
    const std::string path = mTree.Path("1.0.0.0/link.vka");
    mLog.ExpectFailures({Error("Failed to get size of \"" + path + "\"."),
                         Error("Failed to read our archive directory"), Warning(ZeroText(path), LoadSignature),
                         Error(NoneText(), CreateSignature)});
    EXPECT_TRUE(mTree.Exists("1.0.0.0/link.vka"));
}

TEST_F(ArchiveDeletionTest, BadArchivesDoNotStandInTheWayOfGoodOnes)
{
    WriteArchive("good.vka", ArchiveImage().File("a", 10, 1));
    mTree.Write("1.0.0.0/bad.vka", "no archive at all, but long enough");
    const Manager manager = Create();
    ASSERT_NE(nullptr, manager);
    EXPECT_TRUE(manager->FileExists("a"));
    EXPECT_FALSE(mTree.Exists("1.0.0.0/bad.vka"));
    EXPECT_TRUE(mTree.Exists("1.0.0.0/good.vka"));
}

TEST_F(ArchiveDeletionTest, AnEmptyDirectoryTextMeansTheWorkingDirectoryToLoad)
{
    EXPECT_EQ(nullptr, ArchiveVersionManager::LoadArchiveFile("", "there-is-no-such-file.vka"));
    mLog.ExpectFailures({Error("Failed to get size of \"./there-is-no-such-file.vka\"."),
                         Error("Failed to read our archive directory"),
                         Warning(ZeroText("./there-is-no-such-file.vka"), LoadSignature)});
}
} // namespace
} // namespace Keld::MORV::Reader
