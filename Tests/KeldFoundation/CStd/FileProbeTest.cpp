#include "KeldFoundation/CStd/FileProbe.h"

#include "KeldFoundation/CStd/CStd.h"
#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace Keld
{
namespace
{
uint_size CountDescriptors()
{
    uint_size count = 0;
    for ([[maybe_unused]] const auto &entry : std::filesystem::directory_iterator("/proc/self/fd"))
    {
        ++count;
    }
    return count;
}

void MakeSocket(const std::string &path)
{
    const int descriptor = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    ASSERT_LT(path.size(), sizeof address.sun_path);
    path.copy(address.sun_path, path.size());
    ASSERT_EQ(0, bind(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address));
    close(descriptor);
}

/// Holds the probe, asked for each path more than once and in turn, to what std_file_exists says.
void ExpectTheAnswersOfSingleQueries(const std::vector<std::string> &paths)
{
    FileProbe probe;
    for (const std::string &path : paths)
    {
        for (const std::string &other : paths)
        {
            EXPECT_EQ(std_file_exists(path.c_str()), probe.Exists(path.c_str())) << path;
            EXPECT_EQ(std_file_exists(other.c_str()), probe.Exists(other.c_str())) << other << " after " << path;
        }
    }
}

TEST(FileProbe, AnswersLikeASingleQueryForEveryKindOfEntry)
{
    const Keld::Test::TempTree tree;
    tree.Write("a/file", "x");
    tree.Write("a/other", "x");
    tree.Write("a/b/file", "x");
    tree.MakeDirectory("a/directory");
    MakeSocket(tree.Path("a/socket"));
    ASSERT_EQ(0, mkfifo(tree.Path("a/fifo").c_str(), 0600));
    ASSERT_EQ(0, symlink("file", tree.Path("a/link").c_str()));
    ASSERT_EQ(0, symlink("absent", tree.Path("a/dangling").c_str()));
    ASSERT_EQ(0, symlink("b", tree.Path("a/linked").c_str()));
    std::vector<std::string> paths = {"", "/", "relative", "/dev/null"};
    for (const char *const path :
         {"a/file", "a/other", "a/b/file", "a/directory", "a/socket", "a/fifo", "a/link", "a/dangling", "a/linked/file",
          "a/file/", "a/directory/", "a/.", "a/../a/file", "a//file", "absent/file", "a/file/below", "a/absent"})
    {
        paths.push_back(tree.Path(path));
    }
    ExpectTheAnswersOfSingleQueries(paths);
    EXPECT_TRUE(FileProbe().Exists(tree.Path("a/file").c_str()));
    EXPECT_FALSE(FileProbe().Exists(tree.Path("a/absent").c_str()));
}

TEST(FileProbe, FindsWhatCameAndMissesWhatWentMeanwhile)
{
    const Keld::Test::TempTree tree;
    const std::string first = tree.Write("a/1", "x");
    const std::string second = tree.Path("a/2");
    FileProbe probe;
    EXPECT_TRUE(probe.Exists(first.c_str()));
    EXPECT_FALSE(probe.Exists(second.c_str()));
    tree.Write("a/2", "x");
    EXPECT_TRUE(probe.Exists(second.c_str()));
    tree.Remove("a/1");
    EXPECT_FALSE(probe.Exists(first.c_str()));
    std::filesystem::remove_all(tree.Path("a"));
    tree.Write("a/1", "x");
    EXPECT_TRUE(probe.Exists(first.c_str())); // in a new directory of the old name
}

TEST(FileProbe, KeepsOneDescriptorAtMostAndGivesItBack)
{
    const Keld::Test::TempTree tree;
    const std::string path = tree.Write("a/1", "x");
    const std::string other = tree.Write("b/1", "x");
    const uint_size before = CountDescriptors();
    {
        FileProbe probe;
        EXPECT_TRUE(probe.Exists(path.c_str()));
        EXPECT_EQ(before, CountDescriptors());
        EXPECT_TRUE(probe.Exists(path.c_str()));
        EXPECT_EQ(before + 1, CountDescriptors());
        probe.Release();
        EXPECT_EQ(before, CountDescriptors());
        EXPECT_TRUE(probe.Exists(path.c_str()));
        EXPECT_TRUE(probe.Exists(other.c_str()));
        EXPECT_TRUE(probe.Exists(other.c_str()));
        EXPECT_EQ(before + 1, CountDescriptors());
    }
    EXPECT_EQ(before, CountDescriptors());
}

/// Who the process is for the time of a test. Only a privileged one becomes anyone else.
class User
{
public:
    User(uid_t real, uid_t effective) { [[maybe_unused]] const int done = setresuid(real, effective, 0); }
    ~User() { [[maybe_unused]] const int done = setresuid(0, 0, 0); }

    User(const User &) = delete;
    User &operator=(const User &) = delete;
};

TEST(FileProbe, HeedsBothUsersOfAProcess)
{
    constexpr uid_t nobody = 65534;
    const Keld::Test::TempTree tree;
    const std::string secret = tree.Write("secret/file", "x");
    const std::string open = tree.Write("open/file", "x");
    std::filesystem::permissions(tree.Path("secret"), std::filesystem::perms::owner_all);
    for (const auto &[real, effective] :
         std::vector<std::pair<uid_t, uid_t>>{{0, nobody}, {nobody, 0}, {nobody, nobody}})
    {
        const User user(real, effective);
        ExpectTheAnswersOfSingleQueries({secret, open, tree.Path("secret/absent")});
    }
    ExpectTheAnswersOfSingleQueries({secret, open, tree.Path("secret/absent")});
}
} // namespace
} // namespace Keld
