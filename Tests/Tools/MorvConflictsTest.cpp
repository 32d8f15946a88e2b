#include "Tools/JsonSchema.h"
#include "Tools/LayeredTree.h"
#include "Tools/TreeSnapshot.h"

#include "Tools/morv/Json.h"

#include <filesystem>

namespace Keld::Test
{
namespace
{
using Morv::Json;
using MorvConflictsTest = LayeredTree;

TEST_F(MorvConflictsTest, ListsEveryPathThatHidesSomethingWithCounts)
{
    const TreeSnapshot before = TakeSnapshot(mTree.Path("MORV"));
    const ToolResult result = Morv({"conflicts"});
    EXPECT_EQ(result.exitCode, 0) << result.error;
    EXPECT_EQ(result.out, "a.txt: top 1.0.0.0 over low 1.0.0.0: different, 5 bytes over 5\n"
                          "dir: top 1.0.0.0 over low 1.0.0.0: a directory over a file of 24 bytes\n"
                          "same.txt: top 1.0.0.0 over low 1.0.0.0: equal, 4 bytes\n"
                          "thing: top 1.0.0.0 over low 1.0.0.0: a file over a directory\n"
                          "4 paths with something hidden: 1 file of equal content, 1 file of different content, 2 of "
                          "two kinds; 33 bytes\n");
    EXPECT_EQ(result.error, "");
    EXPECT_TRUE(TakeSnapshot(mTree.Path("MORV")) == before);
}

TEST_F(MorvConflictsTest, QuietLeavesTheLinesAlone)
{
    EXPECT_EQ(Morv({"conflicts", "-q", "thing"}).out, "thing: top 1.0.0.0 over low 1.0.0.0: a file over a directory\n");
    EXPECT_EQ(Morv({"conflicts", "-q", "--release", "low/1.0.0.0"}).out, "");
}

TEST_F(MorvConflictsTest, GlobsAndContentsChoose)
{
    const std::string same = "same.txt: top 1.0.0.0 over low 1.0.0.0: equal, 4 bytes\n";
    EXPECT_EQ(Morv({"conflicts", "-q", "--equal"}).out, same);
    EXPECT_EQ(Morv({"conflicts", "-q", "--different", "*.txt"}).out,
              "a.txt: top 1.0.0.0 over low 1.0.0.0: different, 5 bytes over 5\n");
    EXPECT_EQ(Morv({"conflicts", "-q", "s*", "nothing"}).out, same);
    EXPECT_EQ(Morv({"conflicts", "-q", "dir/"}).out,
              "dir: top 1.0.0.0 over low 1.0.0.0: a directory over a file of 24 bytes\n");
    EXPECT_EQ(Morv({"conflicts", "-q", "thing/"}).out, "") << "the winner is no directory";
    const ToolResult wrong = Morv({"conflicts", "a["});
    EXPECT_EQ(wrong.exitCode, 2);
    EXPECT_NE(wrong.error.find("a["), std::string::npos) << wrong.error;
}

TEST_F(MorvConflictsTest, CheckMakesTheStatusTheAnswer)
{
    EXPECT_EQ(Morv({"conflicts", "--check"}).exitCode, 1);
    EXPECT_EQ(Morv({"conflicts", "--check", "only.txt"}).exitCode, 0);
}

TEST_F(MorvConflictsTest, AGlobThatMatchesNothingIsNoCleanCheck)
{
    const ToolResult result = Morv({"conflicts", "--check", "onyl.txt", "only.txt"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.error, "morv: \"onyl.txt\" matches nothing\n");
}

TEST_F(MorvConflictsTest, TheDocumentTellsDamageApartFromConflicts)
{
    const Json whole = Json::parse(Morv({"conflicts", "--json"}).out);
    EXPECT_EQ(whole["whole"], true);
    EXPECT_TRUE(whole["damage"].is_null());
    std::filesystem::remove(TopPlace("a.txt"));
    const ToolResult result = Morv({"conflicts", "--json"});
    ExpectMatchesSchema("conflicts", result.out);
    const Json damaged = Json::parse(result.out);
    EXPECT_EQ(damaged["whole"], false);
    EXPECT_EQ(damaged["damage"]["missing"], 1);
}

TEST_F(MorvConflictsTest, CatGivesWhatWinsAndBothRoadsAgree)
{
    for (const std::vector<std::string> &road : std::vector<std::vector<std::string>>{{}, {"--through-library"}})
    {
        const auto cat = [&](std::vector<std::string> words)
        {
            words.insert(words.begin(), "cat");
            words.insert(words.end(), road.begin(), road.end());
            return Morv(words);
        };
        EXPECT_EQ(cat({"thing"}).out, "a file over a directory");
        EXPECT_EQ(cat({"thing"}).exitCode, 0);
        EXPECT_EQ(cat({"dir"}).error, "morv: dir: is a directory; name the files in it\n");
        EXPECT_EQ(cat({"dir"}).exitCode, 1);
    }
}

TEST_F(MorvConflictsTest, TheDocumentMatchesItsSchemaAndCounts)
{
    const ToolResult result = Morv({"conflicts", "--json"});
    ExpectMatchesSchema("conflicts", result.out);
    const Json document = Json::parse(result.out);
    EXPECT_EQ(document["paths"], 4);
    EXPECT_EQ(document["hidden"]["equal"]["entries"], 1);
    EXPECT_EQ(document["hidden"]["different"]["bytes"], 5);
    EXPECT_EQ(document["hidden"]["file-under-directory"]["bytes"], 24);
    EXPECT_EQ(document["hidden"]["directory-under-file"]["entries"], 1);
    EXPECT_EQ(document["conflicts"][0]["winner"]["project"], "top");
    EXPECT_EQ(document["conflicts"][0]["hidden"][0]["relation"], "different");
}

TEST_F(MorvConflictsTest, WhatIsMissingOnDiskHidesNothingAndIsToldOnce)
{
    std::filesystem::remove(TopPlace("a.txt"));
    const ToolResult result = Morv({"conflicts", "-q", "a.txt"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.error.rfind("morv: 1 of 11 files ", 0), 0u) << result.error;
    EXPECT_NE(result.error.find("a.txt: " + TopPlace("a.txt")), std::string::npos) << result.error;
}

TEST_F(MorvConflictsTest, ThreeProjectsHideOneBehindTheOther)
{
    mTree.Write("mid/a.txt", "middle");
    mTree.Write("mid/dir/y.txt", "y");
    Pack("mid", "managed", "none");
    ExpectGood({"solution", "--root", "MORV", "--name", "three", "--release", "0.0.1.0", "--project", "top=1.0.0.0:3",
                "--project", "mid=1.0.0.0:2", "--project", "low=1.0.0.0:1"});
    EXPECT_EQ(Morv({"conflicts", "-q", "-r", "solution:three/0.0.1.0", "-j", "1", "a.txt", "dir"}).out,
              "a.txt: top 1.0.0.0 over mid 1.0.0.0: different, 5 bytes over 6\n"
              "a.txt: top 1.0.0.0 over low 1.0.0.0: different, 5 bytes over 5\n"
              "dir: top 1.0.0.0 over low 1.0.0.0: a directory over a file of 24 bytes\n");
}

TEST_F(MorvConflictsTest, AClosedPipeIsGoodAndAFullDiskIsNot)
{
    EXPECT_EQ(Shell("{ $MORV conflicts; echo $? >&2; } | head -1"), 0);
    EXPECT_EQ(mTree.Read("error"), "0\n");
    EXPECT_EQ(Shell("$MORV conflicts --json >/dev/full"), 2);
}
} // namespace
} // namespace Keld::Test
