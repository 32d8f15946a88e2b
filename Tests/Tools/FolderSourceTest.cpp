#include "Tools/TreeWriter/FolderSource.h"

#include "Support/TempTree.h"

#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeWriter/InputFile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include <sys/stat.h>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;
using TreeReader::TreeError;
using TreeWriter::LinkPolicy;
using TreeWriter::ScanSource;
using TreeWriter::SourceOptions;
using TreeWriter::SourceTree;

class FolderSourceTest : public testing::Test
{
protected:
    /// The reasons for which the folder is refused.
    std::string Refusal(const SourceOptions &options = {}) const
    {
        try
        {
            ScanSource(mTree.Root(), options);
        }
        catch (const TreeError &error)
        {
            return error.what();
        }
        return "";
    }

    static std::vector<std::string> PathsOf(const SourceTree &source)
    {
        std::vector<std::string> paths;
        for (const TreeWriter::SourceFile &file : source.files)
        {
            paths.push_back(file.path);
        }
        return paths;
    }

    TempTree mTree;
};

TEST_F(FolderSourceTest, ListsDirectoriesAndFilesInOrderWithoutCase)
{
    mTree.Write("b/Z", "12");
    mTree.Write("b/a", "");
    mTree.Write("C", "1");
    mTree.MakeDirectory("a/empty");
    const SourceTree source = ScanSource(mTree.Root());
    EXPECT_EQ(source.directories, (std::vector<std::string>{"a", "a/empty", "b"}));
    ASSERT_EQ(source.files.size(), 3u);
    EXPECT_EQ(source.files[0].path, "b/a");
    EXPECT_EQ(source.files[1].path, "b/Z");
    EXPECT_EQ(source.files[1].size, 2u);
    EXPECT_EQ(source.files[2].path, "C");
}

TEST_F(FolderSourceTest, RefusesAFolderThatIsNotThereOrIsAFile)
{
    EXPECT_THROW(ScanSource(mTree.Path("nothing")), TreeError);
    EXPECT_THROW(ScanSource(mTree.Write("file", "x")), TreeError);
}

TEST_F(FolderSourceTest, RefusesAFolderWithoutFiles)
{
    mTree.MakeDirectory("only/folders");
    EXPECT_NE(Refusal().find("holds no files"), std::string::npos);
}

TEST_F(FolderSourceTest, RefusesSymbolicLinksOfEveryKind)
{
    mTree.Write("file", "x");
    fs::create_symlink("file", mTree.Path("link"));
    fs::create_symlink("nowhere", mTree.Path("dangling"));
    const std::string refusal = Refusal();
    EXPECT_NE(refusal.find(mTree.Path("link") + ": is a symbolic link"), std::string::npos);
    EXPECT_NE(refusal.find(mTree.Path("dangling") + ": is a symbolic link"), std::string::npos);
}

TEST_F(FolderSourceTest, RefusesWhatIsNeitherFileNorDirectoryWithoutOpeningIt)
{
    mTree.Write("file", "x");
    ASSERT_EQ(mkfifo(mTree.Path("pipe").c_str(), 0600), 0);
    EXPECT_NE(Refusal().find("pipe: is neither a file nor a directory"), std::string::npos);
}

TEST_F(FolderSourceTest, RefusesNamesThatDifferInCaseAlone)
{
    mTree.Write("d/Name", "x");
    mTree.Write("d/name", "y");
    EXPECT_NE(Refusal().find("differs from Name in case alone"), std::string::npos);
}

TEST_F(FolderSourceTest, RefusesABackslashInAName)
{
    mTree.Write("a\\b", "x");
    EXPECT_NE(Refusal().find("backslash"), std::string::npos);
}

TEST_F(FolderSourceTest, AVirtualPathHasAtMost1023Bytes)
{
    std::string directory;
    directory.append(250, 'a').append("/").append(250, 'b').append("/").append(250, 'c').append("/");
    directory.append(200, 'd').append("/");
    std::string longest = directory;
    mTree.Write(longest.append(1023 - directory.size(), 'e'), "x");
    EXPECT_EQ(Refusal(), "");
    std::string tooLong = directory;
    mTree.Write(tooLong.append(1024 - directory.size(), 'e'), "x");
    EXPECT_NE(Refusal().find("longer than 1023 bytes"), std::string::npos);
}

TEST_F(FolderSourceTest, RefusesAFileOfFourGigabytes)
{
    const std::string path = mTree.Write("large", "");
    fs::resize_file(path, 0xFFFFFFFF); // a hole: takes no room
    EXPECT_NE(Refusal().find("larger than 4294967294 bytes"), std::string::npos);
    fs::resize_file(path, 0xFFFFFFFE);
    EXPECT_EQ(Refusal(), "");
}

TEST_F(FolderSourceTest, TellsAllProblemsUpToTwenty)
{
    for (int number = 0; number < 25; ++number)
    {
        fs::create_symlink("x", mTree.Path("link" + std::to_string(100 + number)));
    }
    const std::string refusal = Refusal();
    EXPECT_EQ(std::count(refusal.begin(), refusal.end(), '\n'), 20);
    EXPECT_NE(refusal.find("... and 5 more"), std::string::npos);
}

TEST_F(FolderSourceTest, SkipsOrFollowsSymbolicLinksWhenTold)
{
    mTree.Write("file", "x");
    mTree.Write("d/inside", "yy");
    fs::create_symlink("file", mTree.Path("link"));
    fs::create_symlink("d", mTree.Path("other"));
    SourceOptions options;
    options.links = LinkPolicy::Skip;
    SourceTree source = ScanSource(mTree.Root(), options);
    EXPECT_EQ(PathsOf(source), (std::vector<std::string>{"d/inside", "file"}));
    EXPECT_EQ(source.skippedLinks, 2u);
    options.links = LinkPolicy::Follow;
    source = ScanSource(mTree.Root(), options);
    EXPECT_EQ(PathsOf(source), (std::vector<std::string>{"d/inside", "file", "link", "other/inside"}));
    EXPECT_EQ(source.skippedLinks, 0u);
}

TEST_F(FolderSourceTest, FollowingRefusesLinksThatLeadNowhereOrBack)
{
    mTree.Write("d/file", "x");
    fs::create_symlink("..", mTree.Path("d/up"));
    fs::create_symlink("gone", mTree.Path("dangling"));
    SourceOptions options;
    options.links = LinkPolicy::Follow;
    const std::string refusal = Refusal(options);
    EXPECT_NE(refusal.find("d/up: leads back to a directory above it"), std::string::npos) << refusal;
    EXPECT_NE(refusal.find("dangling: is a symbolic link that leads nowhere"), std::string::npos) << refusal;
    options.excludes.emplace_back("up");
    options.excludes.emplace_back("dangling");
    EXPECT_EQ(Refusal(options), "");
}

TEST_F(FolderSourceTest, LeavesOutWhatMatchesAndNamesPatternsThatMatchNothing)
{
    for (const char *path : {"a.txt", "a.bak", "cache/b.txt", "d/cache/c.txt", "d/cache2/e", "keep/cache"})
    {
        mTree.Write(path, "x");
    }
    SourceOptions options;
    options.excludes.emplace_back("*.bak");
    options.excludes.emplace_back("cache/");
    options.excludes.emplace_back("*.none");
    const SourceTree source = ScanSource(mTree.Root(), options);
    EXPECT_EQ(PathsOf(source), (std::vector<std::string>{"a.txt", "d/cache2/e", "keep/cache"}));
    EXPECT_EQ(source.directories, (std::vector<std::string>{"d", "d/cache2", "keep"}));
    EXPECT_EQ(source.excluded, 3u);
    EXPECT_EQ(source.notes, (std::vector<std::string>{"--exclude \"*.none\" matches nothing"}));
}

TEST_F(FolderSourceTest, TakesOnlyWhatAListNames)
{
    for (const char *path : {"a", "b", "d/c", "d/e/f", "g/h"})
    {
        mTree.Write(path, "x");
    }
    fs::create_symlink("g", mTree.Path("link"));
    SourceOptions options;
    options.only = {"./a", "d/", "d/c", "g//h"};
    EXPECT_EQ(PathsOf(ScanSource(mTree.Root(), options)), (std::vector<std::string>{"a", "d/c", "d/e/f", "g/h"}));
    options.only = {"."};
    options.links = LinkPolicy::Skip;
    EXPECT_EQ(ScanSource(mTree.Root(), options).files.size(), 5u);
    options.only = {"a", "../b", "/etc/passwd", "nothing", "link/h", ""};
    const std::string refusal = Refusal(options);
    EXPECT_NE(refusal.find("../b: is listed but is no path below the folder"), std::string::npos) << refusal;
    EXPECT_NE(refusal.find("/etc/passwd: is listed but is no path below the folder"), std::string::npos);
    EXPECT_NE(refusal.find("nothing: cannot be examined"), std::string::npos);
    EXPECT_NE(refusal.find("link/h: is listed but lies behind the symbolic link link"), std::string::npos);
}

TEST_F(FolderSourceTest, WhatAListNamesIsLeftOutWithADirectoryAboveIt)
{
    for (const char *path : {"a", "cache/b", "cache/c/d", "e/cache/f", "e/g"})
    {
        mTree.Write(path, "x");
    }
    SourceOptions options;
    options.excludes.emplace_back("cache/");
    options.only = {"a", "cache/b", "cache/c/d", "e/cache/f", "e/g", "cache"};
    const SourceTree source = ScanSource(mTree.Root(), options);
    EXPECT_EQ(PathsOf(source), (std::vector<std::string>{"a", "e/g"}));
    EXPECT_EQ(source.excluded, 2u);
}

TEST_F(FolderSourceTest, WhatTheCheckpointThrowsEndsTheScan)
{
    for (const char *path : {"a/b/c", "d/e"})
    {
        mTree.Write(path, "x");
    }
    int calls = 0;
    const auto stop = [&calls]
    {
        if (++calls == 3)
        {
            throw std::runtime_error("interrupted");
        }
    };
    EXPECT_THROW(ScanSource(mTree.Root(), {}, stop), std::runtime_error);
    SourceOptions options;
    options.only = {"a/b/c", "d/e", "d/e"};
    calls = 0;
    EXPECT_THROW(ScanSource(mTree.Root(), options, stop), std::runtime_error);
}

TEST_F(FolderSourceTest, AFileThatChangesWhileItIsReadIsRefused)
{
    const std::string path = mTree.Write("file", "12345");
    const TreeWriter::InputFile input(path, 5);
    std::string content(5, '\0');
    input.Read(0, content.data(), 5);
    input.RequireUnchanged();
    EXPECT_EQ(content, "12345");
    mTree.Write("file", "123");
    EXPECT_THROW(input.RequireUnchanged(), TreeError);
    EXPECT_THROW(input.Read(0, content.data(), 5), TreeError);
    EXPECT_THROW(TreeWriter::InputFile(path, 5), TreeError);
}

TEST_F(FolderSourceTest, WhatCannotBeReadIsRefused)
{
    EXPECT_THROW(TreeWriter::InputFile(mTree.Path("nothing"), 0), TreeError);
    EXPECT_THROW(TreeWriter::InputFile(mTree.MakeDirectory("directory"), 0), TreeError);
    ASSERT_EQ(mkfifo(mTree.Path("pipe").c_str(), 0600), 0);
    EXPECT_THROW(TreeWriter::InputFile(mTree.Path("pipe"), 0), TreeError); // and it does not hang
}
} // namespace
} // namespace Keld::Test
