#include "KeldFoundation/CStd/Files.h"

#include "KeldFoundation/CStd/CStd.h"
#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdarg>
#include <filesystem>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;

class FilesTest : public testing::Test
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

__attribute__((format(printf, 2, 3))) int Print(std::FILE *file, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = std_vfprintf(file, format, arguments);
    va_end(arguments);
    return length;
}
} // namespace

TEST_F(FilesTest, WritesAndReadsThroughAStream)
{
    std::FILE *const file = std_fopen_shared((mTree.Root() + "\\text").c_str(), "w+b");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(std_fwrite("ab\n", 1, 3, file), 3u);
    EXPECT_EQ(Print(file, "%d", 42), 2);
    EXPECT_EQ(std_ftell(file), 5);
    EXPECT_EQ(std_fflush(file), 0);
    EXPECT_EQ(mTree.Read("text"), "ab\n42");
    EXPECT_EQ(std_fseek(file, 0, SEEK_SET), 0);
    char line[8];
    EXPECT_STREQ(std_fgets(line, sizeof line, file), "ab\n");
    EXPECT_EQ(std_feof(file), 0);
    EXPECT_STREQ(std_fgets(line, sizeof line, file), "42");
    EXPECT_NE(std_feof(file), 0);
    EXPECT_EQ(std_fclose(file), 0);
}

TEST_F(FilesTest, RefusesToOpenAPathBeyondTheSharedBuffer)
{
    errno = 0;
    EXPECT_EQ(std_fopen_shared(std::string(1024, 'a').c_str(), "rb"), nullptr);
    EXPECT_EQ(errno, ENAMETOOLONG);
}

TEST_F(FilesTest, MakesAFileWritable)
{
    const std::string path = mTree.Write("a", "x");
    fs::permissions(path, fs::perms(0540));
    EXPECT_TRUE(std_make_writable(path.c_str()));
    EXPECT_EQ(ModeOf("a"), 0766u);
    EXPECT_FALSE(std_make_writable(mTree.Path("missing").c_str()));
}

TEST_F(FilesTest, DeletesAProtectedFile)
{
    const std::string path = mTree.Write("a", "x");
    fs::permissions(path, fs::perms(0400));
    EXPECT_TRUE(std_force_delete(path.c_str()));
    EXPECT_FALSE(mTree.Exists("a"));
    EXPECT_TRUE(std_force_delete(path.c_str()));
}

TEST_F(FilesTest, CopiesContentModeAndTimes)
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

TEST_F(FilesTest, MakesTheDirectoriesAboveACopy)
{
    mTree.Write("a", "x");
    EXPECT_TRUE(Copy("a", "new/deep/b"));
    EXPECT_EQ(mTree.Read("new/deep/b"), "x");
    EXPECT_EQ(EntriesOf("new/deep"), 1u);
}

TEST_F(FilesTest, CopiesIntoADirectoryUnderTheSourcesName)
{
    mTree.Write("in/a.txt", "x");
    mTree.MakeDirectory("out");
    EXPECT_TRUE(Copy("in/a.txt", "out"));
    EXPECT_EQ(mTree.Read("out/a.txt"), "x");
}

TEST_F(FilesTest, ReplacesAFileThatIsInTheWay)
{
    mTree.Write("a", "new");
    mTree.Write("out/b", "the old content");
    fs::permissions(mTree.Path("out/b"), fs::perms(0400));
    EXPECT_TRUE(Copy("a", "out/b"));
    EXPECT_EQ(mTree.Read("out/b"), "new");
    EXPECT_EQ(EntriesOf("out"), 1u);
}

TEST_F(FilesTest, RefusesToCopyAFileOntoItself)
{
    mTree.Write("a", "x");
    fs::create_hard_link(mTree.Path("a"), mTree.Path("b"));
    EXPECT_FALSE(Copy("a", "a"));
    EXPECT_FALSE(Copy("a", "b"));
    EXPECT_FALSE(Copy("a", ""));
    EXPECT_EQ(mTree.Read("a"), "x");
}

TEST_F(FilesTest, RefusesToCopyWhatIsNoFile)
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

TEST_F(FilesTest, LeavesNothingBehindACopyThatFails)
{
    mTree.Write("a", "x");
    mTree.Write("out/a/full", "x");
    EXPECT_FALSE(Copy("a", "out"));
    EXPECT_EQ(EntriesOf("out"), 1u);
}
} // namespace Keld::Test
