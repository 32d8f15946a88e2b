#include "Tools/JsonSchema.h"
#include "Tools/ToolRun.h"
#include "Tools/TreeSnapshot.h"

#include "Support/TempTree.h"

#include "Tools/morv/Json.h"

#include <gtest/gtest.h>

namespace Keld::Test
{
namespace
{
using Morv::Json;

class MorvDuTest : public testing::Test
{
protected:
    MorvDuTest()
    {
        mTree.Write("source/data/big/one.bin", std::string(3000, 'a'));
        mTree.Write("source/data/big/twin.bin", std::string(3000, 'a')); // stored once
        mTree.Write("source/data/small.txt", std::string(10, 'b'));
        mTree.Write("source/top", std::string(500, 'c'));
        mTree.MakeDirectory("source/empty");
        const ToolResult packed =
            RunMorv(mTree.Root(), {"pack", "source", "--root", "MORV", "--project", "game", "--release", "1.0.0.0",
                                   "--storage", "archive", "--rule", "top=naked", "--no-sync"});
        EXPECT_EQ(packed.exitCode, 0) << packed.error;
    }

    ToolResult Morv(const std::vector<std::string> &arguments) const
    {
        return RunMorv(mTree.Path("MORV/projects/game/releases/1.0.0.0"), arguments);
    }

    void Expect(const std::vector<std::string> &arguments, const std::string &output) const
    {
        const ToolResult result = Morv(arguments);
        EXPECT_EQ(result.exitCode, 0) << result.error;
        EXPECT_EQ(result.out, output);
        EXPECT_EQ(result.error, "");
    }

    TempTree mTree;
};

TEST_F(MorvDuTest, TellsDirectoriesByContentAndRoomOnDisk)
{
    const std::string heading = "      content       on disk    ratio     files  path\n";
    const std::string root = "         6510          3510   53.9 %         4  /\n";
    const std::string data = "         6010          3010   50.1 %         3  data/\n";
    const std::string big = "         6000          3000   50.0 %         2  data/big/\n";
    const std::string empty = "            0             0        -         0  empty/\n";
    Expect({"du"}, heading + root + data + empty);
    Expect({"du", "-q", "--depth", "2"}, root + data + big + empty);
    Expect({"du", "-q", "--depth", "0"}, root);
    Expect({"du", "-q", "./DATA"}, data + big);
    Expect({"du", "-q", "-h", "data/big"}, "     5.86 KiB      2.93 KiB   50.0 %         2  data/big/\n");
}

TEST_F(MorvDuTest, ShowsFilesAndSortsAsAsked)
{
    Expect({"du", "-q", "-a", "data/big"}, "         6000          3000   50.0 %         2  data/big/\n"
                                           "         3000          3000  100.0 %         1  data/big/one.bin\n"
                                           "         3000             0    0.0 %         1  data/big/twin.bin\n");
    Expect({"du", "-q", "-a", "--sort", "name"}, "         6510          3510   53.9 %         4  /\n"
                                                 "         6010          3010   50.1 %         3  data/\n"
                                                 "            0             0        -         0  empty/\n"
                                                 "          500           500  100.0 %         1  top\n");
    Expect({"du", "-q", "top"}, "          500           500  100.0 %         1  top\n");
}

TEST_F(MorvDuTest, AReleaseCanBeNamedAndAPathThatIsNotThereGetsNoTable)
{
    const std::string root = mTree.Path("MORV");
    EXPECT_EQ(RunMorv(root, {"du", "-q", "-r", "game/1.0.0.0", "top"}).out, Morv({"du", "-q", "top"}).out);
    const ToolResult result = Morv({"du", "nowhere"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.error, "morv: nowhere: not found; \"morv ls\" and \"morv find\" show what is there\n");
}

TEST_F(MorvDuTest, WritesADocument)
{
    const ToolResult result = Morv({"du", "--json", "-a"});
    ExpectMatchesSchema("du", result.out);
    const Json document = Json::parse(result.out);
    EXPECT_EQ(document["total"]["storedBytes"], 3510);
    EXPECT_EQ(document["entries"][1]["path"], "data/");
    EXPECT_EQ(document["release"]["name"], "game");
}

TEST_F(MorvDuTest, TellsWhatIsMissingAndChangesNothing)
{
    mTree.Remove("MORV/projects/game/releases/1.0.0.0/deploy/top");
    mTree.Write("MORV/projects/game/filearchives/1.0.0.0/bad.vka", "no index");
    const TreeSnapshot before = TakeSnapshot(mTree.Path("MORV"));
    const ToolResult result = Morv({"du", "-q", "--depth", "0"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.out, "         6010          3010   50.1 %         3  /\n");
    EXPECT_NE(result.error.find("1 of 4 files are missing"), std::string::npos) << result.error;
    EXPECT_EQ(Morv({"stats"}).exitCode, 1);
    EXPECT_EQ(Morv({"stats", "--releases"}).exitCode, 0);
    EXPECT_EQ(Morv({"du", "nowhere"}).exitCode, 1);
    EXPECT_EQ(Morv({"du", "--html", mTree.Path("source/top/page.html")}).exitCode, 2);
    EXPECT_TRUE(TakeSnapshot(mTree.Path("MORV")) == before);
}
} // namespace
} // namespace Keld::Test
