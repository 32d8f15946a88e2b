#include "Tools/TreeWriter/SourceTree.h"

#include "Support/TempTree.h"

#include "Tools/TreeReader/TreeError.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

#include <sys/stat.h>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;
using TreeReader::TreeError;
using TreeWriter::ScanSource;
using TreeWriter::SourceTree;

class SourceTreeTest : public testing::Test
{
protected:
    /// The reasons for which the folder is refused.
    std::string Refusal() const
    {
        try
        {
            ScanSource(mTree.Root());
        }
        catch (const TreeError &error)
        {
            return error.what();
        }
        return "";
    }

    TempTree mTree;
};

TEST_F(SourceTreeTest, ListsDirectoriesAndFilesInOrderWithoutCase)
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

TEST_F(SourceTreeTest, RefusesAFolderThatIsNotThereOrIsAFile)
{
    EXPECT_THROW(ScanSource(mTree.Path("nothing")), TreeError);
    EXPECT_THROW(ScanSource(mTree.Write("file", "x")), TreeError);
}

TEST_F(SourceTreeTest, RefusesAFolderWithoutFiles)
{
    mTree.MakeDirectory("only/folders");
    EXPECT_NE(Refusal().find("holds no files"), std::string::npos);
}

TEST_F(SourceTreeTest, RefusesSymbolicLinksOfEveryKind)
{
    mTree.Write("file", "x");
    fs::create_symlink("file", mTree.Path("link"));
    fs::create_symlink("nowhere", mTree.Path("dangling"));
    const std::string refusal = Refusal();
    EXPECT_NE(refusal.find(mTree.Path("link") + ": is a symbolic link"), std::string::npos);
    EXPECT_NE(refusal.find(mTree.Path("dangling") + ": is a symbolic link"), std::string::npos);
}

TEST_F(SourceTreeTest, RefusesWhatIsNeitherFileNorDirectoryWithoutOpeningIt)
{
    mTree.Write("file", "x");
    ASSERT_EQ(mkfifo(mTree.Path("pipe").c_str(), 0600), 0);
    EXPECT_NE(Refusal().find("pipe: is neither a file nor a directory"), std::string::npos);
}

TEST_F(SourceTreeTest, RefusesNamesThatDifferInCaseAlone)
{
    mTree.Write("d/Name", "x");
    mTree.Write("d/name", "y");
    EXPECT_NE(Refusal().find("differs from Name in case alone"), std::string::npos);
}

TEST_F(SourceTreeTest, RefusesABackslashInAName)
{
    mTree.Write("a\\b", "x");
    EXPECT_NE(Refusal().find("backslash"), std::string::npos);
}

TEST_F(SourceTreeTest, AVirtualPathHasAtMost1023Bytes)
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

TEST_F(SourceTreeTest, RefusesAFileOfFourGigabytes)
{
    const std::string path = mTree.Write("large", "");
    fs::resize_file(path, 0xFFFFFFFF); // a hole: takes no room
    EXPECT_NE(Refusal().find("larger than 4294967294 bytes"), std::string::npos);
    fs::resize_file(path, 0xFFFFFFFE);
    EXPECT_EQ(Refusal(), "");
}

TEST_F(SourceTreeTest, TellsAllProblemsUpToTwenty)
{
    for (int number = 0; number < 25; ++number)
    {
        fs::create_symlink("x", mTree.Path("link" + std::to_string(100 + number)));
    }
    const std::string refusal = Refusal();
    EXPECT_EQ(std::count(refusal.begin(), refusal.end(), '\n'), 20);
    EXPECT_NE(refusal.find("... and 5 more"), std::string::npos);
}

TEST_F(SourceTreeTest, ReadsContentInPiecesWithItsDigest)
{
    const std::string content(3'000'000, 'x');
    std::string read;
    const TreeWriter::ContentSummary summary = TreeWriter::ReadContent(mTree.Write("file", content),
                                                                       [&read](std::string_view piece)
                                                                       {
                                                                           read += piece;
                                                                       });
    EXPECT_EQ(read, content);
    EXPECT_EQ(summary.size, content.size());
}

TEST_F(SourceTreeTest, ContentThatCannotBeReadIsRefusedWithTheReason)
{
    const auto ignore = [](std::string_view) {};
    EXPECT_THROW(TreeWriter::ReadContent(mTree.Path("nothing"), ignore), TreeError);
    EXPECT_THROW(TreeWriter::ReadContent(mTree.MakeDirectory("directory"), ignore), TreeError);
}
} // namespace
} // namespace Keld::Test
