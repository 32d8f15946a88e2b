#include "KeldFoundation/CStd/Further/FileChanges.h"

#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;

class FileChangesTest : public testing::Test
{
protected:
    uint32 ModeOf(const char *name) const
    {
        struct stat status;
        EXPECT_EQ(stat(mTree.Path(name).c_str(), &status), 0);
        return status.st_mode & 07777;
    }

    bool Copy(const std::string &from, const std::string &to) const
    {
        return std_copy_file(mTree.Path(from).c_str(), mTree.Path(to).c_str());
    }

    uint_size EntriesOf(const char *name) const
    {
        const fs::directory_iterator entries(mTree.Path(name));
        return static_cast<uint_size>(std::distance(begin(entries), end(entries)));
    }

    TempTree mTree;
};
} // namespace

TEST_F(FileChangesTest, MakesAFileWritable)
{
    const std::string path = mTree.Write("a", "x");
    fs::permissions(path, fs::perms(0540));
    EXPECT_TRUE(std_make_writable(path.c_str()));
    EXPECT_EQ(ModeOf("a"), 0766u);
    EXPECT_FALSE(std_make_writable(mTree.Path("missing").c_str()));
}

TEST_F(FileChangesTest, DeletesAProtectedFile)
{
    const std::string path = mTree.Write("a", "x");
    fs::permissions(path, fs::perms(0400));
    EXPECT_TRUE(std_force_delete(path.c_str()));
    EXPECT_FALSE(mTree.Exists("a"));
    EXPECT_TRUE(std_force_delete(path.c_str()));
}

TEST_F(FileChangesTest, CopiesContentModeAndTimes)
{
    const std::string content(100000, 'c');
    const std::string path = mTree.Write("a", content);
    fs::permissions(path, fs::perms(0751));
    const timespec times[2] = {{1000000000, 123000000}, {1200000000, 456000000}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    EXPECT_TRUE(Copy("a", "b"));
    EXPECT_EQ(mTree.Read("b"), content);
    struct stat status;
    ASSERT_EQ(stat(mTree.Path("b").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0751u);
    EXPECT_EQ(status.st_mtim.tv_sec, 1200000000);
    EXPECT_EQ(status.st_mtim.tv_nsec, 456000000);
}

TEST_F(FileChangesTest, MakesTheDirectoriesAboveACopy)
{
    mTree.Write("a", "x");
    EXPECT_TRUE(Copy("a", "new/deep/b"));
    EXPECT_EQ(mTree.Read("new/deep/b"), "x");
    EXPECT_EQ(EntriesOf("new/deep"), 1u);
}

TEST_F(FileChangesTest, CopiesIntoADirectoryUnderTheSourcesName)
{
    mTree.Write("in/a.txt", "x");
    mTree.MakeDirectory("out");
    EXPECT_TRUE(Copy("in/a.txt", "out"));
    EXPECT_EQ(mTree.Read("out/a.txt"), "x");
}

TEST_F(FileChangesTest, ReplacesAFileThatIsInTheWay)
{
    mTree.Write("a", "new");
    mTree.Write("out/b", "the old content");
    fs::permissions(mTree.Path("out/b"), fs::perms(0400));
    EXPECT_TRUE(Copy("a", "out/b"));
    EXPECT_EQ(mTree.Read("out/b"), "new");
    EXPECT_EQ(EntriesOf("out"), 1u);
}

TEST_F(FileChangesTest, RefusesToCopyAFileOntoItself)
{
    mTree.Write("a", "x");
    fs::create_hard_link(mTree.Path("a"), mTree.Path("b"));
    EXPECT_FALSE(Copy("a", "a"));
    EXPECT_FALSE(Copy("a", "b"));
    EXPECT_FALSE(Copy("a", ""));
    EXPECT_EQ(mTree.Read("a"), "x");
}

TEST_F(FileChangesTest, RefusesToCopyWhatIsNoFile)
{
    mTree.MakeDirectory("directory");
    mTree.Write("file", "x");
    EXPECT_FALSE(Copy("directory", "b"));
    EXPECT_FALSE(Copy("missing", "b"));
    EXPECT_FALSE(Copy("file", "file/b"));
    ASSERT_EQ(mkfifo(mTree.Path("pipe").c_str(), 0600), 0);
    EXPECT_FALSE(Copy("pipe", "b"));
    EXPECT_FALSE(std_copy_file("/dev/zero", mTree.Path("b").c_str()));
    EXPECT_FALSE(mTree.Exists("b"));
}

TEST_F(FileChangesTest, LeavesNothingBehindACopyThatFails)
{
    mTree.Write("a", "x");
    mTree.Write("out/a/full", "x");
    EXPECT_FALSE(Copy("a", "out"));
    EXPECT_EQ(EntriesOf("out"), 1u);
}
} // namespace Keld::Test
