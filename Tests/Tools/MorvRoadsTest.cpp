#include "Tools/DamagedTwins.h"
#include "Tools/ToolRun.h"

#include "Support/ManifestImage.h"
#include "Support/TempTree.h"

#include "Tools/TreeReader/TreeError.h"
#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Console.h"
#include "Tools/morv/Road.h"

#include <gtest/gtest.h>

namespace Keld::Test
{
namespace
{
using Morv::FileSystem;

/// Both roads of ls, cat and find, through trees with damaged and missing parts: the library may do to the one tree
/// what it does to damaged ones, and the reading core gets its twin.
class MorvRoadsTest : public DamagedTwins
{
protected:
    /// The content of each file by path; of one that cannot be read, the mark of a failure.
    static std::map<std::string, std::string> ReadAll(FileSystem &files)
    {
        std::map<std::string, std::string> contents;
        ReadBelow(files, "", contents);
        return contents;
    }

    static void ReadBelow(FileSystem &files, const std::string &directory, std::map<std::string, std::string> &contents)
    {
        const auto entries = files.List(directory).value_or(std::vector<FileSystem::Entry>());
        for (std::size_t index = 0; index < entries.size(); ++index)
        {
            const std::string path = Morv::JoinVirtual(directory, entries[index].name);
            if (LeadsDown(entries, index))
            {
                ReadBelow(files, path, contents);
            }
            else if (!entries[index].isDirectory)
            {
                contents[path] = ReadOne(files, path);
            }
        }
    }

    static std::string ReadOne(FileSystem &files, const std::string &path)
    {
        std::string content;
        try
        {
            files.ReadFile(path, {},
                           [&content](std::string_view bytes)
                           {
                               content += bytes;
                           });
        }
        catch (const TreeReader::TreeError &)
        {
            return "<failed>";
        }
        return content;
    }

    void CompareContents(const std::string &place)
    {
        std::map<std::string, std::string> expected;
        try
        {
            expected = ReadAll(*Open(mTwin, place, true));
        }
        catch (const TreeReader::TreeError &)
        {
            EXPECT_THROW(Open(mTree, place, false), TreeReader::TreeError) << place;
            return;
        }
        EXPECT_TRUE(ReadAll(*Open(mTree, place, false)) == expected) << place;
    }

    static std::unique_ptr<FileSystem> Open(const TempTree &tree, const std::string &place, bool throughLibrary)
    {
        Morv::CommonOptions options;
        options.directory = tree.Path(place);
        return Morv::OpenFileSystem(options, {.release = "", .throughLibrary = throughLibrary, .checkDigests = false});
    }

    /// The same words by both roads: the same lines, in the same order, and the same status.
    void CompareRuns(const std::string &place, const std::vector<std::string> &words)
    {
        SCOPED_TRACE(testing::PrintToString(words));
        std::vector<std::string> throughLibrary = words;
        throughLibrary.emplace_back("--through-library");
        const ToolResult library = RunMorv(mTwin.Path(place), throughLibrary);
        const ToolResult core = RunMorv(mTree.Path(place), words);
        EXPECT_EQ(core.out, library.out);
        EXPECT_EQ(core.exitCode, library.exitCode) << core.error << library.error;
    }
};

TEST_P(MorvRoadsTest, BothRoadsGiveTheSameAnswersOnTreesWithDamage)
{
    for (const uint32 damage : {0u, 2u, 5u})
    {
        Damage(damage);
        for (const std::string &place : Places())
        {
            SCOPED_TRACE(place);
            CopyTwin();
            CompareRuns(place, {"ls", "-lR"});
            CopyTwin();
            CompareRuns(place, {"find", "--name", "*a*"});
            CopyTwin();
            CompareRuns(place, {"find", "--glob", "**/*.{dds,txt}", "--size", "+1"});
            CopyTwin();
            CompareContents(place);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, MorvRoadsTest, testing::Range(100u, 104u));

TEST(MorvLibraryRoadTest, CatReadsAnLzmaFileAsOftenAsItIsNamed)
{
    TempTree tree;
    tree.Write("source/text.l", std::string(2'000'000, 'l'));
    ASSERT_EQ(RunMorv(tree.Root(), {"pack", "source", "--root", "MORV", "--project", "game", "--release", "1.0.0.0",
                                    "--storage", "archive", "--compression", "lzma", "--no-sync"})
                  .exitCode,
              0);
    const ToolResult result =
        RunMorv(tree.Path("MORV/projects/game/releases/1.0.0.0"), {"cat", "--through-library", "text.l", "TEXT.L"});
    EXPECT_EQ(result.exitCode, 0) << result.error;
    EXPECT_TRUE(result.out == std::string(4'000'000, 'l'));
}

TEST(MorvLibraryRoadTest, APartOfAFileIsTheSameByBothRoads)
{
    TempTree tree;
    tree.Write("source/text.z", "0123456789");
    ASSERT_EQ(RunMorv(tree.Root(), {"pack", "source", "--root", "MORV", "--project", "game", "--release", "1.0.0.0",
                                    "--storage", "archive", "--compression", "zlib", "--compress-always", "--no-sync"})
                  .exitCode,
              0);
    const std::string release = tree.Path("MORV/projects/game/releases/1.0.0.0");
    for (const std::vector<std::string> &road : std::vector<std::vector<std::string>>{{}, {"--through-library"}})
    {
        const auto cat = [&](std::vector<std::string> words)
        {
            words.insert(words.begin(), {"cat", "text.z"});
            words.insert(words.end(), road.begin(), road.end());
            return RunMorv(release, words);
        };
        EXPECT_EQ(cat({"--offset", "3"}).out, "3456789");
        EXPECT_EQ(cat({"--length", "3"}).out, "012");
        EXPECT_EQ(cat({"--offset", "8", "--length", "5"}).out, "89");
        EXPECT_EQ(cat({"--offset", "08"}).out, "89") << "a zero in front changes nothing";
        EXPECT_EQ(cat({"--offset", "10"}).exitCode, 0);
        EXPECT_EQ(cat({"--offset", "11"}).exitCode, 1);
        EXPECT_EQ(cat({"--offset", "11"}).error, "morv: text.z: has 10 bytes, and none from byte 11 on\n");
    }
}

TEST(MorvRoads, BothNameAManifestThatTheLibraryThrowsOver)
{
    const TempTree tree;
    ManifestImage image("game");
    image.File("a.txt");
    image.Patch(image.StringCountOffset(), 0x40000000);
    const std::string release = "MORV/projects/game/releases/1.0.0.0";
    tree.Write(release + "/releasemanifest", image.Bytes());
    for (const std::vector<std::string> &arguments : {std::vector<std::string>{"ls"}, {"ls", "--through-library"}})
    {
        const ToolResult result = RunMorv(tree.Path(release), arguments);
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_NE(result.error.find("releasemanifest: is a damaged release manifest"), std::string::npos)
            << result.error;
    }
}
} // namespace
} // namespace Keld::Test
