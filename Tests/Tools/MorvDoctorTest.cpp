#include "Tools/CheckedTree.h"
#include "Tools/JsonSchema.h"
#include "Tools/ToolRun.h"
#include "Tools/TreeSnapshot.h"

#include <nlohmann/json.hpp>

namespace Keld::Test
{
namespace
{
/// The command as people run it.
class MorvDoctorTest : public CheckedTree
{
protected:
    const std::string Release = mTree.Path("MORV/projects/game/releases/1.0.0.0");
};

TEST_F(MorvDoctorTest, AHealthyPlaceIsToldInOneLine)
{
    const ToolResult result = RunMorv(Release, {"doctor"});
    EXPECT_EQ(result.exitCode, 0) << result.out;
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(result.out.find(Release + " (game 1.0.0.0): the library starts here and finds all of 7 files\n"), 0U)
        << result.out;
    EXPECT_EQ(RunMorv(mTree.Root(), {"doctor", "MORV/solutions/suite/releases/0.0.1.0", "-q"}).out, "");
}

TEST_F(MorvDoctorTest, ABrokenPlaceGetsOneCauseAndOneRemedy)
{
    mTree.Write("MORV/projects/game/releases/1.0.0.0/releasemanifest", "QVMF");
    const ToolResult result = RunMorv(mTree.Root(), {"doctor", "MORV/projects/game/releases/1.0.0.0/deploy"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(result.out, Release + "/deploy (game 1.0.0.0): the library starts here and finds nothing\n" +
                              "  cause   " + Release +
                              "/releasemanifest: is no release manifest: it has fewer than 8 bytes\n"
                              "  remedy  copy the release again from where it was packed, or pack it again\n"
                              "  log     Failure while reading header\n");
    const ToolResult outside = RunMorv(mTree.Root(), {"doctor"});
    EXPECT_EQ(outside.exitCode, 1);
    EXPECT_NE(outside.out.find(": the library does not start here\n  cause   "), std::string::npos) << outside.out;
    EXPECT_EQ(RunMorv(mTree.Root(), {"doctor", "nowhere"}).exitCode, 2);
}

TEST_F(MorvDoctorTest, TheDocumentMatchesItsSchema)
{
    mTree.Write(GameArchives + "bad.vka", "no index");
    mTree.Remove("MORV/projects/game/releases/1.0.0.0/deploy/Data/naked.txt");
    const TreeSnapshot before = TakeSnapshot(mTree.Root());
    const ToolResult result = RunMorv(Release, {"doctor", "--json"});
    EXPECT_EQ(TakeSnapshot(mTree.Root()), before);
    EXPECT_EQ(result.exitCode, 1);
    ExpectMatchesSchema("doctor", result.out);
    const auto document = nlohmann::json::parse(result.out);
    EXPECT_EQ(document["outcome"], "incomplete");
    EXPECT_EQ(document["release"]["name"], "game");
    EXPECT_EQ(document["cause"]["kind"], "not-there");
    EXPECT_EQ(document["missing"], 1);
    EXPECT_EQ(document["doomed"][0]["path"], mTree.Path(GameArchives + "bad.vka"));
    ExpectMatchesSchema("doctor", RunMorv(mTree.Root(), {"doctor", "--json"}).out);
    ExpectMatchesSchema("doctor",
                        RunMorv(mTree.Path("MORV/solutions/suite/releases/0.0.1.0"), {"doctor", "--json"}).out);
}
} // namespace
} // namespace Keld::Test
