#include "Consumer/Wrapper/WrapperFixture.h"

#include <algorithm>
#include <iterator>
#if defined(__cpp_lib_ranges)
#include <ranges>
#endif

namespace Keld::Test
{
namespace
{
using MorvIO::Directory;
using MorvIO::Entry;
using MorvIO::Error;
using MorvIO::RecursiveDirectory;
using MorvIO::WalkedEntry;
using Names = std::vector<std::string>;

#if defined(__cpp_lib_ranges)
static_assert(std::ranges::input_range<Directory> && std::ranges::input_range<RecursiveDirectory>);
#endif

class DirectoryWrapperTest : public WrapperFixture
{
protected:
    static Names List(const std::string &path, const std::string &pattern)
    {
        std::error_code error;
        Names names;
        for (const Entry &entry : Directory(path, pattern, error))
        {
            names.push_back(entry.name + (entry.isDirectory ? "/" : " " + std::to_string(entry.size)));
        }
        return error ? Names{error.message()} : names;
    }

    static Names Walk(const std::string &path, std::size_t most = 1000)
    {
        std::error_code error;
        RecursiveDirectory walk(path, error);
        Names paths;
        for (const WalkedEntry &entry : walk)
        {
            paths.push_back(std::to_string(walk.GetDepth()) + " " + entry.path);
            if (paths.size() == most)
            {
                break;
            }
        }
        return error ? Names{error.message()} : paths;
    }

    using WrapperFixture::Start;

    /// Starts in a release of a damaged manifest. Of its files a single one is there, "there".
    void Start(ManifestImage &manifest)
    {
        const std::string release = "MORV/projects/atlas/releases/1.0.0.0";
        manifest.File("there");
        mTree.Disk().Write(release + "/deploy/there", "");
        mTree.Disk().Write(release + "/releasemanifest", manifest.Bytes());
        Start(mTree.Disk().Path(release));
    }
};

TEST_F(DirectoryWrapperTest, ListsADirectoryByPattern)
{
    Start(mTree.Project("atlas", "1.0.0.0", {{"data/b.txt", "bb"}, {"data/A.dds", "a"}, {"data/sub/", ""}, {"z", ""}}));
    EXPECT_EQ(List("", "*"), Names({"data/", "z 0"}));
    EXPECT_EQ(List("/", "*"), Names({"data/", "z 0"}));
    EXPECT_EQ(List("data", "*"), Names({"sub/", "A.dds 1", "b.txt 2"}));
    EXPECT_EQ(List("DATA\\", "*.DDS"), Names({"A.dds 1"}));
    EXPECT_EQ(List("data", "?.txt"), Names({"b.txt 2"}));
    EXPECT_EQ(List("data/sub", "*"), Names({}));
    EXPECT_EQ(List("data", "nothing"), Names({}));
}

TEST_F(DirectoryWrapperTest, TellsWhatCannotBeListed)
{
    Start(mTree.Project("atlas", "1.0.0.0", {{"data/a", "a"}}));
    std::error_code error;
    EXPECT_EQ(std::distance(Directory("data/a", "*", error).begin(), Directory().end()), 0);
    EXPECT_EQ(error, std::errc::not_a_directory);
    const Directory nowhere("nowhere", "*", error);
    EXPECT_EQ(error, std::errc::no_such_file_or_directory);
    for (const std::string &pattern : {std::string(), std::string("a/*"), std::string("a\\*"), std::string("a\0", 2)})
    {
        const Directory data("data", pattern, error);
        EXPECT_EQ(error, Error::InvalidArgument);
    }
    const RecursiveDirectory file("data/a", error);
    EXPECT_EQ(error, Error::NotDirectory);
}

TEST_F(DirectoryWrapperTest, ServesAlgorithms)
{
    Start(mTree.Project("atlas", "1.0.0.0", {{"a", "1"}, {"b", "22"}, {"c", "333"}}));
    std::error_code error;
    Directory directory("", "*", error);
    const auto found = std::find_if(directory.begin(), directory.end(),
                                    [](const Entry &entry)
                                    {
                                        return entry.size == 2;
                                    });
    ASSERT_NE(found, directory.end());
    EXPECT_EQ(found->name, "b");
    Directory moved = std::move(directory);
    auto rest = moved.begin();
    EXPECT_EQ((*rest++).name, "c") << "a walk goes on where it stands";
    EXPECT_EQ(rest, moved.end());
    EXPECT_EQ(directory.begin(), directory.end()) << "what was moved from is empty"; // NOLINT(bugprone-use-after-move)
}

TEST_F(DirectoryWrapperTest, WalksAllThatLiesBelow)
{
    Start(mTree.Project("atlas", "1.0.0.0",
                        {{"data/maps/deep/x", ""}, {"data/maps/y", ""}, {"data/z", ""}, {"empty/", ""}, {"top", ""}}));
    EXPECT_EQ(Walk(""), Names({"0 data", "1 data/maps", "2 data/maps/deep", "3 data/maps/deep/x", "2 data/maps/y",
                               "1 data/z", "0 empty", "0 top"}));
    EXPECT_EQ(Walk("data/maps"), Names({"0 data/maps/deep", "1 data/maps/deep/x", "0 data/maps/y"}));
    for (const std::string &path : Walk(""))
    {
        EXPECT_TRUE(MorvIO::Exists(path.substr(2))) << path;
    }
}

TEST_F(DirectoryWrapperTest, LeavesOutADirectoryThatIsSkipped)
{
    Start(mTree.Project("atlas", "1.0.0.0", {{"a/x", ""}, {"b/y", ""}}));
    std::error_code error;
    RecursiveDirectory walk("", error);
    Names paths;
    for (const WalkedEntry &entry : walk)
    {
        paths.push_back(entry.path);
        if (entry.name == "a")
        {
            walk.SkipDirectory();
        }
    }
    EXPECT_EQ(paths, Names({"a", "b", "b/y"}));
    EXPECT_FALSE(walk.GetError());
}

// A component is short enough for the disk, and the path too long for the library.
TEST_F(DirectoryWrapperTest, WalksOnBesideADirectoryWhosePathIsTooLong)
{
    std::string deep;
    for (int level = 0; level < 6; ++level)
    {
        deep += std::string(200, static_cast<char>('a' + level)) + "/";
    }
    Start(mTree.Project("atlas", "1.0.0.0", {{deep, ""}, {"z", "1"}}));
    std::error_code error;
    RecursiveDirectory walk("", error);
    Names last;
    for (const WalkedEntry &entry : walk)
    {
        last = {entry.name};
    }
    EXPECT_EQ(last, Names({"z"}));
    EXPECT_EQ(walk.GetError(), Error::NotFound);
}

// A path whose last name is empty, or a separator, is that of the directory above.
TEST_F(DirectoryWrapperTest, StepsIntoNoDirectoryThatItsNameDoesNotLeadTo)
{
    ManifestImage manifest("atlas", 0x01000000);
    manifest.Directory("\\").Directory("data/nameless").Directory("data/\\\\");
    manifest.Patch(manifest.DirectoryOffset("data/nameless"), 0); // the name of the root
    Start(manifest);
    EXPECT_EQ(Walk("", 50), Names({"0 \\", "0 data", "1 data/", "1 data/\\\\", "0 there"}));
}

// Either of two such names leads to the same directory of the two.
TEST_F(DirectoryWrapperTest, StepsIntoOneDirectoryOfEachName)
{
    ManifestImage manifest("atlas", 0x01000000);
    Names parents{""};
    for (int level = 0; level < 6; ++level)
    {
        Names children;
        for (const std::string &parent : parents)
        {
            children.insert(children.end(), {parent + "a/", parent + "A/"});
        }
        for (const std::string &child : children)
        {
            manifest.Directory(child);
        }
        parents = children;
    }
    Start(manifest);
    const Names paths = Walk("");
    EXPECT_EQ(paths.size(), 13u) << "two on each of six levels, and a file";
    EXPECT_NE(std::find(paths.begin(), paths.end(), "0 a"), paths.end());
    EXPECT_NE(std::find(paths.begin(), paths.end(), "0 A"), paths.end());
}

TEST_F(DirectoryWrapperTest, TellsKindAndSizeWithoutAnOpen)
{
    Start(mTree.Project("atlas", "1.0.0.0", {{"Data/Maps/a.b.txt", "four"}, {"x*y?.z", "1"}, {"xy.z", "22"}}));
    std::error_code error = Error::NotOpen;
    Entry entry = MorvIO::GetStatus("data\\maps//A.B.TXT/", error);
    EXPECT_FALSE(error);
    EXPECT_EQ(entry.name, "a.b.txt");
    EXPECT_EQ(entry.size, 4u);
    EXPECT_FALSE(entry.isDirectory);
    EXPECT_EQ(MorvIO::GetStatus("x*y?.z", error).size, 1u) << "a name is no pattern";
    EXPECT_EQ(MorvIO::GetStatus("xy.z", error).size, 2u);
    EXPECT_EQ(MorvIO::GetStatus("data/MAPS", error).name, "Maps");
    EXPECT_TRUE(MorvIO::IsDirectory("data"));
    EXPECT_TRUE(MorvIO::IsDirectory(""));
    EXPECT_TRUE(MorvIO::IsDirectory("/"));
    EXPECT_FALSE(MorvIO::IsDirectory("data/maps/a.b.txt"));
    EXPECT_TRUE(MorvIO::IsFile("data/maps/a.b.txt"));
    EXPECT_FALSE(MorvIO::IsFile("data"));
    EXPECT_FALSE(MorvIO::IsFile("nowhere"));
    EXPECT_FALSE(MorvIO::IsDirectory("nowhere"));
    MorvIO::GetStatus("data/x*", error);
    EXPECT_EQ(error, Error::NotFound);
}

// Of a file and a directory of one path the one of the higher priority is served, whatever the enumeration shows.
TEST_F(DirectoryWrapperTest, TellsTheKindThatIsServedWhereTwoProjectsDiffer)
{
    mTree.Project("files", "1.0.0.0", {{"z/inner", ""}, {"a", "file"}});
    mTree.Project("directories", "1.0.0.0", {{"a/inner", ""}});
    Start(mTree.Solution("first", "1.0.0.0", {{"files", "1.0.0.0", 2}, {"directories", "1.0.0.0", 1}}));
    EXPECT_EQ(List("", "a"), Names({"a/", "a 4"}));
    EXPECT_TRUE(MorvIO::IsFile("a"));
    std::error_code error;
    EXPECT_EQ(MorvIO::ReadText("a", error), "file");

    mSession.End();
    Start(mTree.Solution("second", "1.0.0.0", {{"files", "1.0.0.0", 1}, {"directories", "1.0.0.0", 2}}));
    EXPECT_EQ(List("", "a"), Names({"a/", "a 4"}));
    EXPECT_TRUE(MorvIO::IsDirectory("a"));
    MorvIO::ReadText("a", error);
    EXPECT_EQ(error, Error::IsDirectory);
}

TEST_F(DirectoryWrapperTest, HasATextForEachError)
{
    EXPECT_STREQ(MorvIO::GetErrorCategory().name(), "KeldMorvIO");
    Names texts;
    for (int value = 1; value <= static_cast<int>(Error::InvalidArgument); ++value)
    {
        texts.push_back(std::error_code(static_cast<Error>(value)).message());
    }
    std::sort(texts.begin(), texts.end());
    EXPECT_EQ(std::unique(texts.begin(), texts.end()), texts.end());
    EXPECT_EQ(std::count(texts.begin(), texts.end(), "unknown error"), 0);
    EXPECT_EQ(MorvIO::GetErrorCategory().message(999), "unknown error");
    EXPECT_FALSE(std::error_code(Error::StartFailed) == std::errc::io_error);
}
} // namespace
} // namespace Keld::Test
