#include "Tools/JsonSchema.h"
#include "Tools/ToolRun.h"

#include "Support/TempTree.h"

#include "Tools/morv/Json.h"

#include "KeldFoundation/CStd/BasicTypes.h"

#include <gtest/gtest.h>

namespace Keld::Test
{
namespace
{
using Morv::Json;

/// Two releases of "game": the second keeps one file of the first.
class MorvStatsTest : public testing::Test
{
protected:
    MorvStatsTest()
    {
        mTree.Write("source/kept.bin", std::string(1000, 'k'));
        mTree.Write("source/other.TXT", std::string(200, 'o'));
        mTree.Write("source/none", "no dot");
        Pack({"--release", "1.0.0.0"});
        mTree.Write("source/other.TXT", std::string(300, 'p'));
        Pack({"--release", "1.0.0.1", "--base", "1.0.0.0"});
    }

    void Pack(std::vector<std::string> more) const
    {
        const std::vector<std::string> common{"pack",     "source",    "--root",  "MORV",   "--project",
                                              "game",     "--storage", "managed", "--rule", "*.bin=archive:zlib",
                                              "--no-sync"};
        more.insert(more.begin(), common.begin(), common.end());
        const ToolResult result = RunMorv(mTree.Root(), more);
        EXPECT_EQ(result.exitCode, 0) << result.error;
    }

    ToolResult Stats(std::vector<std::string> more) const
    {
        more.insert(more.begin(), "stats");
        return RunMorv(mTree.Path("MORV"), more);
    }

    Json Document(std::vector<std::string> arguments, const std::string &schema) const
    {
        arguments.push_back("--json");
        const ToolResult result = Stats(arguments);
        EXPECT_EQ(result.exitCode, 0) << result.error;
        ExpectMatchesSchema(schema, result.out);
        return Json::parse(result.out);
    }

    uint64 SizeOf(const std::string &path) const { return mTree.Read("MORV/projects/game/" + path).size(); }

    TempTree mTree;
};

TEST_F(MorvStatsTest, TellsStoragesExtensionsAndArchives)
{
    const ToolResult result = Stats({"game/1.0.0.1"});
    EXPECT_EQ(result.exitCode, 0) << result.error;
    EXPECT_EQ(result.out.rfind("game 1.0.0.1: 3 files, 1.28 KiB, ", 0), 0u) << result.out;
    for (const char *line : {"  archive:zlib\n", "          306           306  100.0 %         2  managed\n",
                             "          300           300  100.0 %         1  .txt\n", "  .bin\n", "  (none)\n",
                             "  projects/game/filearchives/1.0.0.0/files-0001.vka\n"})
    {
        EXPECT_NE(result.out.find(line), std::string::npos) << line << result.out;
    }
    const Json document = Document({"game/1.0.0.1"}, "stats");
    EXPECT_EQ(document["total"]["bytes"], 1306);
    EXPECT_EQ(document["extensions"][1]["extension"], "txt");
}

TEST_F(MorvStatsTest, TellsWhatEachReleaseUsesAloneAndWhatNobodyUses)
{
    mTree.Write("MORV/projects/game/managedfiles/1.0.0.0/forgotten", "1234567");
    mTree.Write("MORV/projects/game/filearchives/0.0.0.1/old.vka", "123");
    const Json document = Document({"--releases"}, "stats-releases");
    const uint64 archive =
        SizeOf("filearchives/1.0.0.0/files-0001.vka") + SizeOf("filearchives/1.0.0.0/files-0001.vka.dat");
    const uint64 firstManifest = SizeOf("releases/1.0.0.0/releasemanifest");
    EXPECT_EQ(document["releases"][0]["usedBytes"], archive + 200 + 6 + firstManifest);
    EXPECT_EQ(document["releases"][0]["exclusiveBytes"], 200 + firstManifest);
    EXPECT_EQ(document["releases"][1]["exclusiveBytes"], 300 + SizeOf("releases/1.0.0.1/releasemanifest"));
    EXPECT_EQ(document["dangling"]["files"], 2);
    EXPECT_EQ(document["dangling"]["bytes"], 10);
    const ToolResult text = Stats({"--releases"});
    EXPECT_NE(text.out.find("dangling: 2 files, 10 bytes\n"), std::string::npos) << text.out;
}

TEST_F(MorvStatsTest, AReleaseThatCannotBeReadIsTold)
{
    mTree.Write("MORV/projects/game/releases/1.0.0.0/releasemanifest", "QVMF and no more");
    const ToolResult result = Stats({"--releases"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_NE(result.error.find("releases/1.0.0.0/releasemanifest: is a"), std::string::npos) << result.error;
    EXPECT_EQ(Stats({"game/1.0.0.0"}).exitCode, 2);
    EXPECT_EQ(Stats({"--releases", "game/1.0.0.1"}).exitCode, 2);
    EXPECT_EQ(RunMorv(mTree.Root(), {"stats", "--releases"}).exitCode, 2);
}
} // namespace
} // namespace Keld::Test
