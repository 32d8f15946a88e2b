#include "KeldFoundation/CStd/Further/Directories.h"

#include "KeldFoundation/CStd/CStd.h"
#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <sys/stat.h>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;

// Sets the mask that takes rights away from new entries, and puts back the old one.
class CreationMask
{
public:
    explicit CreationMask(mode_t mask) : mOld(umask(mask)) {}
    ~CreationMask() { umask(mOld); }
    CreationMask(const CreationMask &) = delete;
    CreationMask &operator=(const CreationMask &) = delete;

private:
    mode_t mOld;
};

class DirectoriesTest : public testing::Test
{
protected:
    uint32 ModeOf(const char *name) const
    {
        struct stat status;
        EXPECT_EQ(stat(mTree.Path(name).c_str(), &status), 0) << name;
        return status.st_mode & 07777;
    }

    TempTree mTree;
};
} // namespace

TEST_F(DirectoriesTest, ForwardsPlainCalls)
{
    mTree.Write("a", "x");
    mTree.MakeDirectory("d");
    EXPECT_TRUE(std_chmod(mTree.Path("a").c_str(), 0640));
    EXPECT_EQ(ModeOf("a"), 0640u);
    EXPECT_TRUE(std_rename(mTree.Path("a").c_str(), mTree.Path("b").c_str()));
    EXPECT_EQ(mTree.Read("b"), "x");
    EXPECT_TRUE(std_rmdir(mTree.Path("d").c_str()));
    EXPECT_FALSE(mTree.Exists("d"));
    EXPECT_FALSE(std_chmod(mTree.Path("a").c_str(), 0640));
    EXPECT_FALSE(std_rename(mTree.Path("a").c_str(), mTree.Path("b").c_str()));
    EXPECT_FALSE(std_rmdir(mTree.Path("d").c_str()));
}

TEST_F(DirectoriesTest, ChangesTheWorkingDirectory)
{
    const fs::path old = fs::current_path();
    EXPECT_TRUE(std_chdir(mTree.Root().c_str()));
    EXPECT_EQ(fs::current_path().string(), mTree.Root());
    EXPECT_FALSE(std_chdir("missing"));
    fs::current_path(old);
}

TEST_F(DirectoriesTest, ResolvesAPathIntoABoundedBuffer)
{
    const std::string file = mTree.Write("d/a", "x");
    fs::create_symlink("d", mTree.Path("link"));
    std::vector<char> buffer(file.size() + 1);
    const std::string path = mTree.Path("link/../link/a");
    EXPECT_TRUE(std_realpath(path.c_str(), buffer.data(), buffer.size()));
    EXPECT_EQ(buffer.data(), file);
    EXPECT_FALSE(std_realpath(path.c_str(), buffer.data(), buffer.size() - 1));
    EXPECT_STREQ(buffer.data(), "");
    EXPECT_FALSE(std_realpath(mTree.Path("missing").c_str(), buffer.data(), buffer.size()));
}

TEST_F(DirectoriesTest, TellsDirectoriesAndEntriesByTheirMode)
{
    const std::string file = mTree.Write("file", "x");
    const std::string pipe = mTree.Path("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_TRUE(std_directory_exists(mTree.Root().c_str()));
    EXPECT_FALSE(std_directory_exists(file.c_str()));
    EXPECT_FALSE(std_directory_exists(mTree.Path("missing").c_str()));
    EXPECT_TRUE(std_entry_exists(mTree.Root().c_str()));
    EXPECT_TRUE(std_entry_exists(file.c_str()));
    EXPECT_FALSE(std_entry_exists(pipe.c_str()));
    EXPECT_FALSE(std_entry_exists(mTree.Path("missing").c_str()));
}

TEST_F(DirectoriesTest, MakesADirectoryForEveryoneWhateverTheMask)
{
    const CreationMask mask(077);
    EXPECT_TRUE(std_mkdir(mTree.Path("d").c_str()));
    EXPECT_EQ(ModeOf("d"), 0777u);
}

TEST_F(DirectoriesTest, AcceptsADirectoryThatIsThereAndWidensItsMode)
{
    fs::permissions(mTree.MakeDirectory("d"), fs::perms(01700));
    EXPECT_TRUE(std_mkdir(mTree.Path("d").c_str()));
    EXPECT_EQ(ModeOf("d"), 01777u);
}

TEST_F(DirectoriesTest, RefusesAFileInTheWayAndAMissingParent)
{
    EXPECT_FALSE(std_mkdir(mTree.Write("file", "x").c_str()));
    EXPECT_FALSE(std_mkdir(mTree.Path("missing/d").c_str()));
    EXPECT_FALSE(std_mkdir(""));
}

TEST_F(DirectoriesTest, MakesTheDirectoriesAboveFirst)
{
    const CreationMask mask(022);
    EXPECT_TRUE(std_mkdir_tree(mTree.Path("a/b//c/").c_str()));
    for (const char *const name : {"a", "a/b", "a/b/c"})
    {
        EXPECT_EQ(ModeOf(name), 0777u) << name;
    }
    EXPECT_TRUE(std_mkdir_tree(mTree.Path("a/b/c").c_str()));
}

TEST_F(DirectoriesTest, WidensTheNamedDirectoryOfATreeAndWhatItMakesButNothingElseThatIsThere)
{
    fs::permissions(mTree.MakeDirectory("mine"), fs::perms(0700));
    fs::permissions(mTree.MakeDirectory("mine/named"), fs::perms(01700));
    EXPECT_TRUE(std_mkdir_tree(mTree.Path("mine/named").c_str()));
    EXPECT_EQ(ModeOf("mine/named"), 01777u);
    EXPECT_TRUE(std_mkdir_tree(mTree.Path("mine/a/b").c_str()));
    EXPECT_EQ(ModeOf("mine/a"), 0777u);
    EXPECT_EQ(ModeOf("mine/a/b"), 0777u);
    EXPECT_EQ(ModeOf("mine"), 0700u);
}

TEST_F(DirectoriesTest, RefusesATreeThroughAFile)
{
    mTree.Write("file", "x");
    EXPECT_FALSE(std_mkdir_tree(mTree.Path("file/a/b").c_str()));
    EXPECT_FALSE(std_mkdir_tree(mTree.Path("file").c_str()));
    EXPECT_FALSE(std_mkdir_tree(""));
}

TEST_F(DirectoriesTest, StopsOnANullTree)
{
    const char *const path = nullptr;
    EXPECT_EXIT(std_mkdir_tree(path), testing::KilledBySignal(SIGILL), "");
}

TEST_F(DirectoriesTest, KnowsTheFreeSpace)
{
    uint64 bytes = 1;
    EXPECT_TRUE(std_free_space(mTree.Root().c_str(), &bytes));
    EXPECT_EQ(bytes % 512, 0u);
    bytes = 77;
    EXPECT_FALSE(std_free_space(mTree.Path("missing").c_str(), &bytes));
    EXPECT_EQ(bytes, 77u);
}

TEST_F(DirectoriesTest, ListsTheNamesInOneBlock)
{
    mTree.Write("a.txt", "");
    mTree.Write(".hidden", "");
    mTree.MakeDirectory("d");
    uint_size count = 0;
    char *const block = std_list_directory(mTree.Root().c_str(), &count);
    ASSERT_NE(block, nullptr);
    std::vector<std::string> names;
    for (const char *name = block; *name != '\0'; name += std::strlen(name) + 1)
    {
        names.emplace_back(name);
    }
    std_free(block);
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{".hidden", "a.txt", "d"}));
    EXPECT_EQ(count, 3u);
}

TEST_F(DirectoriesTest, ListsAnEmptyDirectoryAsAnEmptyNameAndNothingAsNull)
{
    char *const block = std_list_directory(mTree.Root().c_str(), nullptr);
    ASSERT_NE(block, nullptr);
    EXPECT_STREQ(block, "");
    std_free(block);
    uint_size count = 7;
    EXPECT_EQ(std_list_directory(mTree.Path("missing").c_str(), &count), nullptr);
    EXPECT_EQ(count, 7u);
}
} // namespace Keld::Test
