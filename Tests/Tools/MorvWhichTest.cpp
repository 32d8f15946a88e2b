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

class MorvWhichTest : public LayeredTree
{
protected:
    Json Answer(const std::string &path) const
    {
        const ToolResult result = Morv({"which", "--json", path});
        ExpectMatchesSchema("which", result.out);
        return Json::parse(result.out)["paths"][0];
    }

    static std::string Words(const Json &entries)
    {
        std::string words;
        for (const Json &entry : entries)
        {
            words += entry["project"].get<std::string>() + " " + entry["type"].get<std::string>() + ";";
        }
        return words;
    }
};

TEST_F(MorvWhichTest, NamesTheWinnerAndWhatItHides)
{
    const ToolResult result = Morv({"which", "a.txt"});
    EXPECT_EQ(result.exitCode, 0) << result.error;
    const std::string beginning = "a.txt\n  wins     top 1.0.0.0: version 1.0.0.0, 5 bytes, naked, " +
                                  TopPlace("a.txt") + "\n  hidden   low 1.0.0.0: version 1.0.0.0, 5 bytes, archive " +
                                  "none, " + mTree.Path(mLowArchives) + "/";
    EXPECT_EQ(result.out.substr(0, beginning.size()), beginning);
    EXPECT_EQ(result.error, "");
}

TEST_F(MorvWhichTest, TellsFilesAndDirectoriesThatHideEachOtherAndDirectoriesThatMerge)
{
    EXPECT_EQ(Words(Answer("thing")["hidden"]), "low directory;");
    EXPECT_EQ(Words(Answer("dir")["hidden"]), "low file;");
    EXPECT_EQ(Words(Answer("cased")["merged"]), "low directory;");
    EXPECT_EQ(Words(Answer("cased")["hidden"]), "");
    EXPECT_EQ(Answer("CASED")["path"], "Cased");
    EXPECT_EQ(Words(Answer("/")["merged"]), "low directory;");
    // Below a hidden directory everything is found all the same.
    EXPECT_EQ(Answer("thing/inner.txt")["winner"]["project"], "low");
}

TEST_F(MorvWhichTest, PointsAtTheBytes)
{
    const Json naked = Answer("A.txt")["winner"];
    EXPECT_EQ(naked["place"], TopPlace("a.txt"));
    EXPECT_EQ(naked["storedSize"], 5);
    const Json archived = Answer("only.txt")["winner"];
    const auto data = archived["place"].get<std::string>();
    EXPECT_EQ(data.rfind(mTree.Path(mLowArchives), 0), 0u);
    EXPECT_LE(archived["offset"].get<std::size_t>() + archived["storedSize"].get<std::size_t>(),
              std::filesystem::file_size(data));
    EXPECT_EQ(archived["compression"], "zlib");
}

TEST_F(MorvWhichTest, APathThatIsNotThereIsAnsweredByHowFarItLeads)
{
    const std::vector<std::pair<std::string, std::string>> answers{
        {"no.txt", "no.txt: not found: there is no \"no.txt\" in /; "},
        {"cased/no/more.txt", "cased/no/more.txt: not found: there is no \"no\" in cased; "},
        {"a.txt/b", "a.txt/b: not found: a.txt is a file"},
        {std::string(1024, 'x'), std::string(1024, 'x') + ": has 1024 bytes or more, which the library refuses"},
        {"a\nb", "a\\nb: not found: there is no \"a\\nb\" in /; "}};
    for (const auto &[path, answer] : answers)
    {
        const ToolResult result = Morv({"which", "only.txt", path});
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_EQ(result.error.substr(0, 6 + answer.size()), "morv: " + answer);
        EXPECT_EQ(result.out.rfind("only.txt\n", 0), 0u) << "the others are answered";
    }
    EXPECT_EQ(Answer("no.txt")["found"], false);
}

TEST_F(MorvWhichTest, AFileThatIsMissingOnDiskIsToldWithTheCauseAndTheNextOneWins)
{
    std::filesystem::remove(TopPlace("a.txt"));
    const TreeSnapshot before = TakeSnapshot(mTree.Path("MORV"));
    const ToolResult result = Morv({"which", "a.txt"});
    EXPECT_EQ(result.exitCode, 0) << result.error;
    EXPECT_EQ(result.out.rfind("A.TXT\n  wins     low 1.0.0.0: ", 0), 0u) << result.out;
    EXPECT_NE(result.out.find("\n  missing  top 1.0.0.0: version 1.0.0.0, 5 bytes, " + TopPlace("a.txt") + ": "),
              std::string::npos)
        << result.out;
    EXPECT_EQ(Answer("a.txt")["missing"][0]["fault"]["kind"], "not-there");

    std::filesystem::remove(TopPlace("dir/x.txt"));
    const ToolResult gone = Morv({"which", "dir/x.txt"});
    EXPECT_EQ(gone.exitCode, 1);
    EXPECT_EQ(gone.error.rfind("morv: dir/x.txt: is listed by top 1.0.0.0, but the library leaves it out: " +
                                   TopPlace("dir/x.txt"),
                               0),
              0u)
        << gone.error;
    std::filesystem::remove(TopPlace("a.txt"));
    EXPECT_EQ(TakeSnapshot(mTree.Path("MORV")).size(), before.size() - 1);
}

TEST_F(MorvWhichTest, ADamagedIndexIsLeftWhereItIs)
{
    for (const auto &entry : std::filesystem::directory_iterator(mTree.Path(mLowArchives)))
    {
        if (entry.path().extension() == ".vka")
        {
            std::filesystem::resize_file(entry.path(), 7);
        }
    }
    const TreeSnapshot before = TakeSnapshot(mTree.Path("MORV"));
    const ToolResult result = Morv({"which", "-r", "solution:suite/0.0.1.0", "a.txt", "thing/inner.txt"});
    EXPECT_EQ(result.exitCode, 2) << "the library does not start without any file of a project";
    EXPECT_NE(result.error.find("low/releases/1.0.0.0: not one of its files is there"), std::string::npos)
        << result.error;
    EXPECT_TRUE(TakeSnapshot(mTree.Path("MORV")) == before);
}

TEST_F(MorvWhichTest, PathsComeFromStandardInputByLinesOrByNuls)
{
    EXPECT_EQ(Shell("printf 'a.txt\\n\\nonly.txt' | $MORV which dir/x.txt - | grep -v '^ '"), 0) << mTree.Read("error");
    EXPECT_EQ(mTree.Read("out"), "dir/x.txt\na.txt\nonly.txt\n");
    EXPECT_EQ(Shell("printf 'a.txt\\0only.txt\\0' | $MORV which -0 - | grep -v '^ '"), 0) << mTree.Read("error");
    EXPECT_EQ(mTree.Read("out"), "a.txt\nonly.txt\n");
    EXPECT_EQ(Shell("$MORV which - </dev/null"), 0) << mTree.Read("error");
    EXPECT_EQ(mTree.Read("out"), "");
    EXPECT_EQ(Shell("$MORV which - <.; test $? -eq 2"), 0);
    EXPECT_EQ(mTree.Read("error"), "morv: standard input cannot be read: Is a directory\n");
}

TEST_F(MorvWhichTest, AnswersOfManyThreadsComeInTheOrderOfTheQuestions)
{
    std::string asked;
    std::string expected;
    for (int count = 0; count < 3000; ++count)
    {
        asked += count % 3 == 0 ? "a.txt\n" : count % 3 == 1 ? "only.txt\n" : "dir/x.txt\n";
    }
    mTree.Write("asked", asked);
    for (const char *jobs : {"1", "2", "7"})
    {
        EXPECT_EQ(Shell("$MORV which -j " + std::string(jobs) + " - <'" + mTree.Path("asked") + "' | grep -v '^ '"), 0);
        EXPECT_EQ(mTree.Read("out"), asked) << jobs;
    }
}

TEST_F(MorvWhichTest, WhatAProgramCannotAskForIsTakenWithANote)
{
    const ToolResult result = Morv({"which", "/a.txt", "./only.txt"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.error, "morv: note: /a.txt: a program that loads the library must ask for \"a.txt\"\n"
                            "morv: note: ./only.txt: a program that loads the library must ask for \"only.txt\"\n");
    EXPECT_EQ(Morv({"which", "-q", "/a.txt"}).error, "");
    EXPECT_EQ(Shell("printf '/a.txt\\n/a.txt\\n/a.txt\\n/a.txt\\n/a.txt\\n' | $MORV which -"), 0);
    EXPECT_NE(mTree.Read("error").find("\nmorv: note: and so for 2 more\n"), std::string::npos) << mTree.Read("error");
}

TEST_F(MorvWhichTest, AReleaseCanBeNamed)
{
    EXPECT_EQ(Morv({"which", "--release", "low/1.0.0.0", "a.txt"}).out.rfind("A.TXT\n  wins     low", 0), 0u);
    const ToolResult unknown = Morv({"which", "-r", "low/9.0.0.0", "a.txt"});
    EXPECT_EQ(unknown.exitCode, 2);
    EXPECT_NE(unknown.error.find("9.0.0.0"), std::string::npos) << unknown.error;
    const ToolResult wrong = Morv({"which", "-r", "low", "a.txt"});
    EXPECT_EQ(wrong.exitCode, 2);
    EXPECT_EQ(wrong.error.rfind("morv: \"low\" names no release: say it as ", 0), 0u) << wrong.error;
}

TEST_F(MorvWhichTest, AClosedPipeIsGoodAndAFullDiskIsNot)
{
    EXPECT_EQ(Shell("for i in $(seq 20000); do echo only.txt; done | { $MORV which - ; echo $? >&2; } | head -1"), 0);
    EXPECT_EQ(mTree.Read("out"), "only.txt\n");
    EXPECT_EQ(mTree.Read("error"), "0\n");
    EXPECT_EQ(Shell("$MORV which only.txt >/dev/full"), 2);
    EXPECT_EQ(mTree.Read("error"), "morv: cannot write to standard output: No space left on device\n");
}

TEST_F(MorvWhichTest, NamesAreEscapedOnATerminalAlone)
{
    mTree.Write("odd/\x1b[31mred", "");
    Pack("odd", "naked", "none");
    const std::vector<std::string> which{"which", "-C", mTree.Path("MORV/projects/odd/releases/1.0.0.0"),
                                         "\x1b[31mred"};
    EXPECT_EQ(RunMorvOnTerminal("/", which).out.rfind("\\x1b[31mred\r\n", 0), 0u);
    EXPECT_EQ(RunMorv("/", which).out.rfind("\x1b[31mred\n", 0), 0u);
}
} // namespace
} // namespace Keld::Test
