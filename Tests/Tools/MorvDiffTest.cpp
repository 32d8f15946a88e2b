#include "Tools/JsonSchema.h"
#include "Tools/ToolRun.h"
#include "Tools/TreeSnapshot.h"

#include "Support/ManifestImage.h"
#include "Support/TempTree.h"

#include "Tools/morv/Json.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;
using Morv::Json;

/// Two releases of "game", of which the second is a delta, and a folder that holds what the second was made from.
class MorvDiffTest : public testing::Test
{
protected:
    MorvDiffTest()
    {
        mTree.Write("source/data/same", "the same");
        mTree.Write("source/data/old place", "moved content");
        mTree.Write("source/gone", "gone");
        mTree.Write("source/changed", "before");
        mTree.Write("source/Case", "case");
        mTree.MakeDirectory("source/was empty");
        Pack({"--release", "1.0.0.0", "--storage", "archive"});
        fs::rename(mTree.Path("source/data/old place"), mTree.Path("source/new place"));
        fs::rename(mTree.Path("source/Case"), mTree.Path("source/case"));
        mTree.Remove("source/gone");
        mTree.Remove("source/was empty");
        mTree.Write("source/changed", "and after");
        mTree.Write("source/added/file", "added");
        mTree.MakeDirectory("source/empty/inside");
        Pack({"--release", "1.0.0.1", "--storage", "archive", "--base", "1.0.0.0"});
    }

    void Pack(std::vector<std::string> more) const
    {
        std::vector<std::string> arguments{"pack", "source", "--root", "MORV", "--project", "game", "--no-sync"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        const ToolResult result = RunMorv(mTree.Root(), arguments);
        ASSERT_EQ(result.exitCode, 0) << result.error;
    }

    ToolResult Diff(std::vector<std::string> more) const
    {
        more.insert(more.begin(), "diff");
        return RunMorv(mTree.Path("MORV"), more);
    }

    void Expect(const std::vector<std::string> &arguments, int exitCode, const std::string &output) const
    {
        const ToolResult result = Diff(arguments);
        EXPECT_EQ(result.exitCode, exitCode);
        EXPECT_EQ(result.out, output);
        EXPECT_EQ(result.error, "");
    }

    void ExpectRefused(const std::vector<std::string> &arguments, const std::string &reason) const
    {
        const ToolResult result = Diff(arguments);
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_EQ(result.out, "");
        EXPECT_NE(result.error.find(reason), std::string::npos) << result.error;
    }

    Json Document(std::vector<std::string> arguments) const
    {
        arguments.push_back("--json");
        const ToolResult result = Diff(arguments);
        ExpectMatchesSchema("diff", result.out);
        return Json::parse(result.out);
    }

    const std::string Lines = "added           5 bytes  added/file\n"
                              "moved           4 bytes  Case -> case\n"
                              "changed         9 bytes  changed  (was 6 bytes)\n"
                              "added         directory  empty/inside/\n"
                              "removed         4 bytes  gone\n"
                              "moved          13 bytes  data/old place -> new place\n"
                              "removed       directory  was empty/\n";

    TempTree mTree;
};

TEST_F(MorvDiffTest, TellsEachDifferenceAndTheTotals)
{
    Expect({"game/1.0.0.0", "game/1.0.0.1"}, 1,
           Lines + "game 1.0.0.0 -> game 1.0.0.1: different\n"
                   "  added                1 file      5 bytes\n"
                   "  removed              1 file      4 bytes\n"
                   "  changed              1 file      9 bytes  (was 6 bytes)\n"
                   "  moved               2 files     17 bytes\n"
                   "  unchanged            1 file      8 bytes\n"
                   "  empty directories: 1 added, 1 removed\n");
    Expect({"game/1.0.0.0", "game/1.0.0.1", "-q"}, 1, Lines);
}

TEST_F(MorvDiffTest, AReleaseEqualsItselfAndTheFolderItWasMadeFrom)
{
    const std::string unchanged = "  unchanged           5 files     39 bytes\n";
    Expect({"game/1.0.0.1", "./projects/game/releases/1.0.0.1"}, 0,
           "game 1.0.0.1 -> game 1.0.0.1: a program sees the same\n" + unchanged);
    Expect({"game/1.0.0.1", "../source"}, 0,
           "game 1.0.0.1 -> " + mTree.Path("source") + ": a program sees the same\n" + unchanged);
    Expect({"../source", "game/1.0.0.1", "-q"}, 0, "");
    Expect({"game/1.0.0.0", "../source", "-q"}, 1, Lines);
    mTree.Write("source/changed", "of size 9");
    Expect({"game/1.0.0.1", "../source", "-q"}, 1, "changed         9 bytes  changed\n");
}

TEST_F(MorvDiffTest, AReleaseEqualsItselfWhereNothingTellsWhatItsFilesHold)
{
    const ManifestFile unknown{.size = 4, .version = 0, .digest = std::string(16, '\0')};
    for (const std::uint32_t version : {0x01000000u, 0x01000001u})
    {
        const std::string name = version == 0x01000000u ? "1.0.0.0" : "1.0.0.1";
        mTree.Write("MORV/projects/plain/releases/" + name + "/releasemanifest",
                    ManifestImage("plain", version).File("file", unknown).Bytes());
    }
    Expect({"plain/1.0.0.0", "./projects/plain/releases/1.0.0.0", "-q"}, 0, "");
    Expect({"plain/1.0.0.0", "plain/1.0.0.1", "-q"}, 1, "changed         4 bytes  file\n");
}

TEST_F(MorvDiffTest, AnotherStorageIsNoDifferenceForAProgram)
{
    Pack({"--release", "1.0.0.2", "--storage", "managed"});
    const ToolResult result = Diff({"game/1.0.0.1", "game/1.0.0.2", "--versions"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_NE(result.out.find("version-only    8 bytes  data/same  (1.0.0.0 -> 1.0.0.2)\n"), std::string::npos)
        << result.out;
    EXPECT_NE(result.out.find("  version-only        5 files     39 bytes\n"), std::string::npos) << result.out;
    EXPECT_EQ(Diff({"game/1.0.0.1", "game/1.0.0.2", "-q"}).out, "");
}

TEST_F(MorvDiffTest, NeedsTheManifestsAlone)
{
    mTree.Remove("MORV/projects/game/filearchives");
    Expect({"game/1.0.0.0", "game/1.0.0.1", "-q"}, 1, Lines);
    ExpectRefused({"game/1.0.0.0", "game/1.0.0.1", "--ship"}, "");
}

TEST_F(MorvDiffTest, ComparesSolutionsByWhatWins)
{
    mTree.Write("other/changed", "hidden or not");
    mTree.Write("other/more", "more");
    const ToolResult packed = RunMorv(
        mTree.Root(), {"pack", "other", "--root", "MORV", "--project", "other", "--release", "1.0.0.0", "--no-sync"});
    ASSERT_EQ(packed.exitCode, 0) << packed.error;
    for (const std::string release : {"0.0.1.0", "0.0.1.1"})
    {
        const std::string priority = release == "0.0.1.0" ? "1" : "9";
        const ToolResult made =
            RunMorv(mTree.Root(), {"solution", "--root", "MORV", "--name", "suite", "--release", release, "--project",
                                   "game=1.0.0.1:5", "--project", "other=1.0.0.0:" + priority});
        ASSERT_EQ(made.exitCode, 0) << made.error;
    }
    Expect({"solution:suite/0.0.1.0", "solution:suite/0.0.1.1", "-q"}, 1,
           "changed        13 bytes  changed  (was 9 bytes)\n");
    Expect({"game/1.0.0.1", "solution:suite/0.0.1.0", "-q"}, 1, "added           4 bytes  more\n");
    const Json ship = Document({"solution:suite/0.0.1.0", "solution:suite/0.0.1.1", "--ship"});
    ASSERT_EQ(ship["ship"]["files"], 2);
    EXPECT_EQ(ship["ship"]["parts"][1]["path"], "solutions/suite/releases/0.0.1.1/solutionmanifest");
}

TEST_F(MorvDiffTest, ListsWhatToShipWithTheManifestLast)
{
    const std::string place = "projects/game/filearchives/1.0.0.1/files-0001.vka";
    const std::string manifest = "projects/game/releases/1.0.0.1/releasemanifest";
    const ToolResult result = Diff({"game/1.0.0.0", "game/1.0.0.1", "--ship"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 4);
    EXPECT_NE(result.out.find("3 files to ship, "), std::string::npos) << result.out;
    Expect({"game/1.0.0.0", "game/1.0.0.1", "--files-from"}, 1, place + ".dat\n" + place + "\n" + manifest + "\n");
    std::string withNuls = place + ".dat\n" + place + "\n" + manifest + "\n";
    std::replace(withNuls.begin(), withNuls.end(), '\n', '\0');
    Expect({"game/1.0.0.0", "game/1.0.0.1", "--files-from", "-0"}, 1, withNuls);
    Expect({"game/1.0.0.1", "game/1.0.0.1", "--files-from"}, 0, "");
    Expect({"game/1.0.0.0", "game/1.0.0.1", "--files-from", "--have", "game/1.0.0.1"}, 0, "");
    EXPECT_EQ(Document({"../source", "game/1.0.0.1", "--ship"})["ship"]["files"], 5); // nothing is there yet
}

TEST_F(MorvDiffTest, NamesThatAreNoTextAreEscapedInTheDocument)
{
    mTree.Write("source/line\nbreak", "x");
    mTree.Write("source/byte\xFF", "y");
    Pack({"--release", "1.0.0.2", "--storage", "managed"});
    const Json document = Document({"game/1.0.0.1", "game/1.0.0.2"});
    EXPECT_FALSE(document["comparison"]["equal"]);
    EXPECT_EQ(document["comparison"]["added"]["files"], 2);
    EXPECT_NE(document.dump().find("{\"escaped\":\"byte\\\\xff\"}"), std::string::npos) << document.dump();
    const ToolResult text = Diff({"game/1.0.0.1", "game/1.0.0.2", "-q"});
    EXPECT_NE(text.out.find("line\\nbreak\n"), std::string::npos) << text.out;
    ExpectRefused({"game/1.0.0.1", "game/1.0.0.2", "--files-from"}, "holds a line break: use -0");
    EXPECT_EQ(Diff({"game/1.0.0.1", "game/1.0.0.2", "--files-from", "-0"}).exitCode, 1);
}

TEST_F(MorvDiffTest, TellsWhatIsWrongWithItsArguments)
{
    ExpectRefused({"game/1.0.0.0", "game/9.0.0.0"}, "there is no release 9.0.0.0 of the project game");
    ExpectRefused({"game/1.0.0.0", "nowhere"}, "nowhere: is neither a directory nor a release, as client/1.0.0.0");
    ExpectRefused({"game/1.0.0.0", "../source", "--ship"}, "only a release can be shipped: pack it first");
    ExpectRefused({"game/1.0.0.0", "game/1.0.0.1", "-0"}, "-0 goes with --files-from");
    ExpectRefused({"game/1.0.0.0", "game/1.0.0.1", "--have", "game/1.0.0.1"}, "--have goes with --ship");
    const ToolResult outside = RunMorv(mTree.Root(), {"diff", "game/1.0.0.0", "game/1.0.0.1"});
    EXPECT_EQ(outside.exitCode, 2);
    EXPECT_NE(outside.error.find("lies in none: name one with -C"), std::string::npos) << outside.error;
    EXPECT_EQ(RunMorv(mTree.Root(), {"diff", "--root", "MORV", "game/1.0.0.0", "game/1.0.0.0"}).exitCode, 0);
}

TEST_F(MorvDiffTest, AnIncompleteReleaseIsNotShippedAndNothingIsChanged)
{
    mTree.Write("MORV/projects/game/filearchives/1.0.0.1/broken.vka", "no index");
    const TreeSnapshot before = TakeSnapshot(mTree.Root());
    ExpectRefused({"game/1.0.0.0", "game/1.0.0.1", "--ship"}, "is not whole and cannot be shipped");
    Diff({"game/1.0.0.0", "game/1.0.0.1"});
    Diff({"game/1.0.0.1", "../source"});
    EXPECT_TRUE(TakeSnapshot(mTree.Root()) == before);
}
} // namespace
} // namespace Keld::Test
