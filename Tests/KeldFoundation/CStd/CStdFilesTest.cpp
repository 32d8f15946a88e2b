#include "KeldFoundation/CStd/CStd.h"
#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <memory>
#include <string>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;

class CStdFilesTest : public testing::Test
{
protected:
    std::string MakePipe(const char *name) const
    {
        std::string path = mTree.Path(name);
        EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
        return path;
    }

    std::string MakeSocket(const char *name) const
    {
        std::string path = mTree.Path(name);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        const int descriptor = socket(AF_UNIX, SOCK_STREAM, 0);
        EXPECT_EQ(bind(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
        close(descriptor);
        return path;
    }

    // The path of an existing file, made `length` characters long by steps on the spot.
    std::string PathOfLength(std::string_view name, uint_size length) const
    {
        const std::string root = mTree.Root() + "/";
        std::string steps(length - root.size() - name.size(), '/');
        for (uint_size index = 0; index + 1 < steps.size(); index += 2)
        {
            steps[index] = '.';
        }
        return root + steps + std::string(name);
    }

    // The modes 0 to 7 that are granted on "file" with these rights for everyone, one bit for each. Asked by a process
    // that is not the superuser, to whom everything is granted.
    uint32 ModesGrantedWith(fs::perms rights) const
    {
        fs::permissions(mTree.Root(), fs::perms(0755));
        fs::permissions(mTree.Path("file"), rights);
        const pid_t child = fork();
        if (child == 0)
        {
            const bool stranger = chdir(mTree.Root().c_str()) == 0 && (geteuid() != 0 || setuid(NobodysId) == 0);
            int granted = 0;
            for (int mode = 0; mode < 8; ++mode)
            {
                granted |= stranger && std_access("file", mode) ? 1 << mode : 0;
            }
            _exit(granted);
        }
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFEXITED(status));
        return static_cast<uint32>(WEXITSTATUS(status));
    }

    static constexpr uid_t NobodysId = 65534;

    TempTree mTree;
};

bool Opens(const std::string &path)
{
    std::FILE *const file = std_fopen(path.c_str(), "rb");
    return file != nullptr && std_fclose(file) == 0;
}
} // namespace

TEST_F(CStdFilesTest, OpensAStreamThroughBackslashes)
{
    mTree.Write("a/b.txt", "0123456789");
    std::FILE *const file = std_fopen((mTree.Root() + "\\a\\b.txt").c_str(), "rb");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(std_fseek(file, 4, SEEK_SET), 0);
    char buffer[8] = {};
    EXPECT_EQ(std_fread(buffer, 2, 2, file), 2u);
    EXPECT_STREQ(buffer, "4567");
    EXPECT_EQ(std_ferror(file), 0);
    EXPECT_EQ(std_fclose(file), 0);
}

TEST_F(CStdFilesTest, WritesAndReadsThroughAStream)
{
    std::FILE *const file = std_fopen(mTree.Path("text").c_str(), "w+b");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(std_setvbuf(file, nullptr, _IOFBF, 4096), 0);
    EXPECT_EQ(std_fwrite("ab\n", 1, 3, file), 3u);
    EXPECT_GE(std_fputs("42", file), 0);
    EXPECT_EQ(std_ftell(file), 5);
    EXPECT_EQ(mTree.Read("text"), "");
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

TEST_F(CStdFilesTest, OpensAPathOf1023CharactersAndRefusesOneMore)
{
    mTree.Write("f", "x");
    EXPECT_TRUE(Opens(PathOfLength("f", 1023)));
    errno = 0;
    EXPECT_FALSE(Opens(PathOfLength("f", 1024)));
    EXPECT_EQ(errno, ENAMETOOLONG);
    EXPECT_FALSE(Opens(PathOfLength("f", 3000)));
}

TEST_F(CStdFilesTest, ReportsAnErrorOfAStream)
{
    std::FILE *const file = std_fopen(mTree.Root().c_str(), "rb");
    ASSERT_NE(file, nullptr);
    char byte = 0;
    EXPECT_EQ(std_fread(&byte, 1, 1, file), 0u);
    EXPECT_NE(std_ferror(file), 0);
    EXPECT_EQ(std_fclose(file), 0);
}

TEST_F(CStdFilesTest, GivesTheSizeOfAFile)
{
    EXPECT_EQ(std_file_size(mTree.Write("a", "12345").c_str()), 5u);
    EXPECT_EQ(std_file_size(mTree.Write("empty", "").c_str()), 0u);
}

TEST_F(CStdFilesTest, HasNoSizeForADirectoryAPipeOrNothing)
{
    EXPECT_EQ(std_file_size(mTree.Root().c_str()), FileSizeUnknown);
    EXPECT_EQ(std_file_size(MakePipe("pipe").c_str()), FileSizeUnknown);
    EXPECT_EQ(std_file_size(mTree.Path("missing").c_str()), FileSizeUnknown);
    EXPECT_EQ(std_file_size(""), FileSizeUnknown);
    EXPECT_EQ(FileSizeUnknown, static_cast<uint32>(-1));
}

TEST_F(CStdFilesTest, CutsTheSizeOfAHugeFileToItsLowWord)
{
    const std::string path = mTree.Write("huge", "");
    fs::resize_file(path, (uint64{1} << 32) + 5);
    EXPECT_EQ(std_file_size(path.c_str()), 5u);
}

TEST_F(CStdFilesTest, TakesASocketForAFileByItsModeBit)
{
    const std::string path = MakeSocket("socket");
    EXPECT_TRUE(std_file_exists(path.c_str()));
    EXPECT_EQ(std_file_size(path.c_str()), 0u);
}

TEST_F(CStdFilesTest, FindsFilesAndNoOtherEntries)
{
    EXPECT_TRUE(std_file_exists(mTree.Write("a", "").c_str()));
    EXPECT_FALSE(std_file_exists(mTree.Root().c_str()));
    EXPECT_FALSE(std_file_exists(MakePipe("pipe").c_str()));
    EXPECT_FALSE(std_file_exists(mTree.Path("missing").c_str()));
}

TEST_F(CStdFilesTest, FollowsSymbolicLinks)
{
    const std::string file = mTree.Write("file", "123");
    fs::create_symlink(file, mTree.Path("link"));
    fs::create_symlink(mTree.Root(), mTree.Path("directory-link"));
    fs::create_symlink(mTree.Path("missing"), mTree.Path("broken-link"));
    EXPECT_EQ(std_file_size(mTree.Path("link").c_str()), 3u);
    EXPECT_FALSE(std_file_exists(mTree.Path("directory-link").c_str()));
    EXPECT_FALSE(std_file_exists(mTree.Path("broken-link").c_str()));
}

TEST_F(CStdFilesTest, TurnsBackslashesOnlyWhereAPathIsOpened)
{
    mTree.Write("a/b", "x");
    const std::string path = mTree.Root() + "/a\\b";
    EXPECT_TRUE(Opens(path));
    EXPECT_TRUE(std_access(path.c_str(), 0));
    EXPECT_FALSE(std_file_exists(path.c_str()));
    EXPECT_EQ(std_file_size(path.c_str()), FileSizeUnknown);
    EXPECT_TRUE(std_file_delete(path.c_str()));
    EXPECT_TRUE(mTree.Exists("a/b"));
}

TEST_F(CStdFilesTest, DeletesFilesAndEmptyDirectories)
{
    EXPECT_TRUE(std_file_delete(mTree.Write("a", "x").c_str()));
    EXPECT_FALSE(mTree.Exists("a"));
    EXPECT_TRUE(std_file_delete(mTree.MakeDirectory("empty").c_str()));
    EXPECT_FALSE(mTree.Exists("empty"));
}

TEST_F(CStdFilesTest, DoesNotDeleteADirectoryThatHoldsSomething)
{
    mTree.Write("full/a", "x");
    EXPECT_FALSE(std_file_delete(mTree.Path("full").c_str()));
    EXPECT_TRUE(mTree.Exists("full/a"));
}

TEST_F(CStdFilesTest, CountsWhatIsAbsentAsDeleted)
{
    EXPECT_TRUE(std_file_delete(mTree.Path("missing").c_str()));
    EXPECT_TRUE(std_file_delete(""));
}

TEST_F(CStdFilesTest, LeavesAPipeAndCountsItAsDeleted)
{
    EXPECT_TRUE(std_file_delete(MakePipe("pipe").c_str()));
    EXPECT_TRUE(mTree.Exists("pipe"));
}

TEST_F(CStdFilesTest, AsksForAccess)
{
    const std::string file = mTree.Write("a", "x");
    for (const int mode : {0, 2, 4, 6})
    {
        EXPECT_TRUE(std_access(file.c_str(), mode)) << mode;
        EXPECT_FALSE(std_access(mTree.Path("missing").c_str(), mode)) << mode;
    }
}

TEST_F(CStdFilesTest, AsksForTheRightsThatTheModeNames)
{
    mTree.Write("file", "x");
    EXPECT_EQ(ModesGrantedWith(fs::perms(0000)), 0b10101011u);
    EXPECT_EQ(ModesGrantedWith(fs::perms(0444)), 0b10111011u);
    EXPECT_EQ(ModesGrantedWith(fs::perms(0222)), 0b10101111u);
    EXPECT_EQ(ModesGrantedWith(fs::perms(0666)), 0b11111111u);
}

// No one may execute this file, so the platform would refuse mode 1 even to the superuser.
TEST_F(CStdFilesTest, CountsAnUnknownAccessModeAsExistence)
{
    const std::string file = mTree.Write("a", "x");
    ASSERT_EQ(access(file.c_str(), X_OK), -1);
    for (const int mode : {1, 3, 5, 7, 8, -1})
    {
        EXPECT_TRUE(std_access(file.c_str(), mode)) << mode;
    }
}

TEST_F(CStdFilesTest, RefusesAccessToAPathBeyondItsBuffer)
{
    mTree.Write("f", "x");
    EXPECT_TRUE(std_access(PathOfLength("f", 1023).c_str(), 0));
    EXPECT_FALSE(std_access(PathOfLength("f", 1024).c_str(), 0));
    EXPECT_FALSE(std_access(PathOfLength("f", 3000).c_str(), 0));
}

TEST_F(CStdFilesTest, GivesTheWorkingDirectory)
{
    char buffer[4096];
    EXPECT_TRUE(std_getcwd(sizeof buffer, buffer));
    EXPECT_EQ(buffer, fs::current_path().string());
    EXPECT_FALSE(std_getcwd(1, buffer));
}
} // namespace Keld::Test
