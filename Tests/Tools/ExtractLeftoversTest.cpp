#include "Tools/JsonSchema.h"
#include "Tools/LayeredTree.h"

#include "Support/KilledChild.h"

#include "Tools/Common/OutputDirectory.h"
#include "Tools/morv/Json.h"

#include <csignal>
#include <filesystem>
#include <iterator>

#include <unistd.h>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;
using Common::NewFile;
using Common::OutputDirectory;

const std::string LeftoverName = ".morv-0123456789abcdef-1a";

TEST(LeftoversTest, TheFileOfAKilledProcessIsRemovedAndThatOfALivingOneStays)
{
    const TempTree tree;
    const OutputDirectory target(tree.MakeDirectory("target"));
    const Common::Descriptor place = target.OpenBelow("");
    NewFile living(place.Get(), "living");
    living.Write("half");
    ASSERT_TRUE(IsKilledDoing(
        [&place]
        {
            const NewFile killed(place.Get(), "killed");
            kill(getpid(), SIGKILL);
        }));
    EXPECT_EQ(Common::RemoveLeftovers(place.Get()), 1u);
    EXPECT_EQ(Common::RemoveLeftovers(place.Get()), 0u);
    living.Publish();
    EXPECT_EQ(tree.Read("target/living"), "half");
    EXPECT_EQ(std::distance(fs::directory_iterator(tree.Path("target")), fs::directory_iterator()), 1);
}

TEST(LeftoversTest, NothingElseIsTakenForALeftover)
{
    const TempTree tree;
    const std::vector<std::string> others{".morv-notes",
                                          ".morv-0123456789abcdef-",
                                          ".morv-0123456789ABCDEF-1",
                                          ".morv-0123456789abcde-11",
                                          "morv-0123456789abcdef-1",
                                          LeftoverName + "x"};
    for (const std::string &name : others)
    {
        tree.Write("target/" + name, "mine");
    }
    tree.MakeDirectory("target/.morv-0123456789abcdef-2");
    tree.Write("outside", "mine");
    fs::create_symlink("../outside", tree.Path("target/.morv-0123456789abcdef-3"));
    fs::create_hard_link(tree.Path("outside"), tree.Path("target/.morv-0123456789abcdef-4"));
    const OutputDirectory target(tree.Path("target"));
    EXPECT_EQ(Common::RemoveLeftovers(target.OpenBelow("").Get()), 0u);
    for (const std::string &name : others)
    {
        EXPECT_TRUE(tree.Exists("target/" + name)) << name;
    }
}

class ExtractLeftoversTest : public LayeredTree
{
protected:
    ToolResult Extract(std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.begin(), {"extract", "--to", mTree.Path("target"), "--release", "top/1.0.0.0"});
        return Morv(arguments);
    }
};

TEST_F(ExtractLeftoversTest, TheNextExtractionRemovesThemWhereItWrites)
{
    mTree.Write("target/" + LeftoverName, "half a file");
    mTree.Write("target/dir/" + LeftoverName, "half another");
    mTree.Write("target/elsewhere/" + LeftoverName, "not in the way");
    const ToolResult result = Extract({"a.txt", "dir"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.error, "morv: note: 2 temporary files removed, left by an extraction that was killed\n");
    EXPECT_FALSE(mTree.Exists("target/" + LeftoverName) || mTree.Exists("target/dir/" + LeftoverName));
    EXPECT_TRUE(mTree.Exists("target/elsewhere/" + LeftoverName));
    EXPECT_EQ(mTree.Read("target/a.txt"), "top a");

    mTree.Write("target/" + LeftoverName, "");
    const ToolResult updated = Extract({"--update", "--json", "-q", "a.txt"});
    ExpectMatchesSchema("extract", updated.out);
    EXPECT_EQ(Morv::Json::parse(updated.out)["leftovers"], 1);
    EXPECT_EQ(updated.error, "");
    EXPECT_FALSE(mTree.Exists("target/" + LeftoverName));
}

TEST_F(ExtractLeftoversTest, AnExtractionLeavesAnotherOneInPeace)
{
    const OutputDirectory target(mTree.MakeDirectory("target"));
    const Common::Descriptor place = target.OpenBelow("");
    NewFile other(place.Get(), "other");
    other.Write("of another");
    EXPECT_EQ(Extract({"-q"}).exitCode, 0);
    other.Publish();
    EXPECT_EQ(mTree.Read("target/other"), "of another");
}
} // namespace
} // namespace Keld::Test
