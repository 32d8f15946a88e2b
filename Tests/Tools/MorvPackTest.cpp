#include "Tools/JsonSchema.h"
#include "Tools/ToolRun.h"

#include "Support/TempTree.h"

#include "Tools/morv/Json.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>

#include <sys/wait.h>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;

class MorvPackTest : public testing::Test
{
protected:
    ToolResult Pack(std::vector<std::string> more)
    {
        std::vector<std::string> arguments{"pack", "source", "--root", "MORV", "--project", "game"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return RunMorv(mTree.Root(), arguments);
    }

    void ExpectRefused(const ToolResult &result, const std::string &reason)
    {
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.error.rfind("morv: ", 0), 0u);
        EXPECT_NE(result.error.find(reason), std::string::npos) << result.error;
    }

    TempTree mTree;
};

TEST_F(MorvPackTest, StoresNakedUnlessToldOtherwiseAndReportsIt)
{
    mTree.Write("source/d/a.txt", "hello");
    const ToolResult result = Pack({"--release", "1.0.0.0"});
    EXPECT_EQ(result.exitCode, 0) << result.error;
    EXPECT_EQ(result.error, "");
    const std::string lines = "game 1.0.0.0: 1 file in 2 directories, 5 bytes\n"
                              "  1 naked, 0 managed, 0 archived (0 stored, 0 zlib, 0 lzma) in 0 archives: 5 bytes "
                              "written\n";
    EXPECT_EQ(result.out.substr(0, lines.size()), lines);
    EXPECT_NE(result.out.find("bytes/s, 100.0 % of its size\n"), std::string::npos) << result.out;
    EXPECT_EQ(mTree.Read("MORV/projects/game/releases/1.0.0.0/deploy/d/a.txt"), "hello");
}

TEST_F(MorvPackTest, RulesAndCompressionDecideFileByFile)
{
    mTree.Write("source/a.txt", std::string(1000, 'a'));
    mTree.Write("source/b.bin", std::string(1000, 'b'));
    mTree.Write("source/c.cfg", "c");
    mTree.Write("source/keep/d.txt", "d");
    const ToolResult result = Pack({"--release", "1.0.0.0", "--storage", "archive", "--compression", "zlib", "--rule",
                                    "*.bin=archive:lzma", "--rule", "keep/*=naked", "--rule", "*.cfg=managed"});
    EXPECT_EQ(result.exitCode, 0) << result.error;
    EXPECT_NE(result.out.find("1 naked, 1 managed, 2 archived (0 stored, 1 zlib, 1 lzma) in 2 archives"),
              std::string::npos)
        << result.out;
}

TEST_F(MorvPackTest, ARuleWithoutACompressionTakesTheGeneralOne)
{
    mTree.Write("source/a.txt", std::string(1000, 'a'));
    const ToolResult result = Pack({"--release", "1.0.0.0", "--compression", "lzma", "--rule", "*.txt=archive"});
    EXPECT_NE(result.out.find("1 lzma"), std::string::npos) << result.out << result.error;
}

TEST_F(MorvPackTest, TheArchiveSizeMakesSeveralArchives)
{
    for (const char *name : {"source/a", "source/b", "source/c"})
    {
        mTree.Write(name, std::string(700, name[7]));
    }
    const ToolResult result = Pack({"--release", "1.0.0.0", "--storage", "archive", "--archive-size", "1K"});
    EXPECT_NE(result.out.find("in 3 archives"), std::string::npos) << result.out << result.error;
}

TEST_F(MorvPackTest, ADeltaTellsWhatItKept)
{
    mTree.Write("source/a", "1");
    mTree.Write("source/b", "1");
    ASSERT_EQ(Pack({"--release", "1.0.0.0", "--storage", "archive"}).exitCode, 0);
    mTree.Write("source/b", "22");
    const ToolResult result = Pack({"--release", "1.0.0.1", "--storage", "archive", "--base", "1.0.0.0"});
    EXPECT_EQ(result.exitCode, 0) << result.error;
    EXPECT_NE(result.out.find("2 bytes written\n  1 unchanged, served from the files of release 1.0.0.0"),
              std::string::npos)
        << result.out;
}

TEST_F(MorvPackTest, ADeltaCountsWhatIsGoneAndSaysWhatItHasToStoreAgain)
{
    for (const char *name : {"source/a", "source/b", "source/kept.n", "source/gone.n"})
    {
        mTree.Write(name, std::string("of ") + name);
    }
    ASSERT_EQ(Pack({"--release", "1.0.0.0", "--storage", "archive", "--rule", "*.n=naked"}).exitCode, 0);
    mTree.Remove("source/b");
    mTree.Remove("source/gone.n");
    const ToolResult result = Pack({"--release", "1.0.0.1", "--base", "1.0.0.0"});
    EXPECT_EQ(result.exitCode, 0) << result.error;
    EXPECT_NE(result.out.find(" 2 removed\n"), std::string::npos) << result.out;
    EXPECT_EQ(result.error, "morv: note: 1 unchanged naked file is stored again, 16 bytes: a later release can share "
                            "managed and archived files, but no naked ones\n");
}

TEST_F(MorvPackTest, AnExistingReleaseIsReplacedByForceAlone)
{
    mTree.Write("source/a", "old");
    ASSERT_EQ(Pack({"--release", "1.0.0.0"}).exitCode, 0);
    mTree.Write("source/a", "new");
    ExpectRefused(Pack({"--release", "1.0.0.0"}), "replace it with --force");
    EXPECT_EQ(mTree.Read("MORV/projects/game/releases/1.0.0.0/deploy/a"), "old");
    EXPECT_EQ(Pack({"--release", "1.0.0.0", "--force"}).exitCode, 0);
    EXPECT_EQ(mTree.Read("MORV/projects/game/releases/1.0.0.0/deploy/a"), "new");
}

TEST_F(MorvPackTest, EveryProblemOfTheSourceStandsOnALine)
{
    ExpectRefused(Pack({"--release", "1.0.0.0"}), "no such folder");
    mTree.Write("source/a", "x");
    mTree.Write("source/A", "y");
    std::filesystem::create_symlink("a", mTree.Path("source/link"));
    const ToolResult result = Pack({"--release", "1.0.0.0"});
    ExpectRefused(result, "in case alone");
    ExpectRefused(result, "morv: source/link: is a symbolic link");
    EXPECT_FALSE(mTree.Exists("MORV"));
}

TEST_F(MorvPackTest, ARootThatIsNotNamedMorvIsRefusedWithTheRightName)
{
    mTree.Write("source/a", "x");
    const ToolResult result =
        RunMorv(mTree.Root(), {"pack", "source", "--root", "tree", "--project", "game", "--release", "1.0.0.0"});
    ExpectRefused(result, "use --root tree/MORV");
}

TEST_F(MorvPackTest, AnInterruptLeavesNothingHalfMade)
{
    mTree.Write("source/large", "");
    fs::resize_file(mTree.Path("source/large"), 200'000'000);
    const std::string script = "cd " + mTree.Root() +
                               " && " KELD_MORV_PROGRAM
                               " pack source --root MORV --project game --release 1.0.0.0 >out 2>error & pid=$!;"
                               "cd " +
                               mTree.Root() +
                               "; until ls MORV/projects/game | grep -q packing; do"
                               " kill -0 $pid || break; done 2>/dev/null; kill -TERM $pid; wait $pid";
    const int status = std::system(("sh -c '" + script + "' 2>/dev/null").c_str());
    const bool interrupted = WEXITSTATUS(status) == 128 + SIGTERM;
    EXPECT_TRUE(interrupted || WEXITSTATUS(status) == 0) << status;
    EXPECT_EQ(mTree.Exists("MORV/projects/game/releases/1.0.0.0/releasemanifest"), !interrupted);
    EXPECT_EQ(mTree.Read("error"), interrupted ? "morv: interrupted: no release was made or changed\n" : "");
    EXPECT_EQ(mTree.Exists("MORV"), !interrupted);
}

TEST_F(MorvPackTest, TheDocumentMatchesItsSchema)
{
    mTree.Write("source/a", std::string(1000, 'a'));
    mTree.Write("source/b", std::string(1000, 'a'));
    mTree.Write("source/c", "c");
    ToolResult result = Pack({"--release", "1.0.0.0", "--storage", "archive", "--json", "--rule", "*.x=naked"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.error, "morv: note: the rule \"*.x\" matches no file\n");
    ExpectMatchesSchema("pack", result.out);
    const Morv::Json document = Morv::Json::parse(result.out);
    EXPECT_EQ(document["shared"]["bytes"], 1000);
    EXPECT_EQ(document["storedBytes"], 1001);
    EXPECT_EQ(document["delta"], nullptr);
    EXPECT_EQ(document["notes"].size(), 1u);

    mTree.Write("source/c", "changed");
    result = Pack({"--release", "1.0.0.1", "--base", "1.0.0.0", "--json", "-q", "-n"});
    EXPECT_EQ(result.error, "");
    ExpectMatchesSchema("pack", result.out);
    EXPECT_EQ(Morv::Json::parse(result.out)["delta"]["kept"], 2);
}

TEST_F(MorvPackTest, QuietSaysNothingWhenAllIsWell)
{
    mTree.Write("source/a", "x");
    const ToolResult result = Pack({"--release", "1.0.0.0", "-q", "--rule", "*.x=naked"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.out + result.error, "");
}

TEST_F(MorvPackTest, RulesOfAFileComeAfterThoseOfTheCommandLine)
{
    mTree.Write("source/a.txt", "x");
    mTree.Write("source/b.txt", "x");
    mTree.Write("rules", "# what goes where\n\n  b.*=managed  \r\n*.txt=naked\n");
    const ToolResult result = Pack({"--release", "1.0.0.0", "--rule", "a.*=archive", "--rules", "rules"});
    EXPECT_NE(result.out.find("0 naked, 1 managed, 1 archived"), std::string::npos) << result.out << result.error;
    EXPECT_NE(result.error.find("note: the rule \"*.txt\" decides nothing"), std::string::npos) << result.error;
    mTree.Write("rules", "*.txt=naked\n*.txt=box\n");
    const ToolResult wrong = Pack({"--release", "1.0.0.1", "--rules", "rules"});
    EXPECT_EQ(wrong.exitCode, 2);
    EXPECT_NE(wrong.error.find("rules, line 2: \"box\" is no storage"), std::string::npos) << wrong.error;
}

TEST_F(MorvPackTest, TheRootMayComeFromTheEnvironment)
{
    mTree.Write("source/a", "x");
    const std::vector<std::string> arguments{"pack", "source", "--project", "game", "--release", "1.0.0.0"};
    const ToolResult without = RunMorv(mTree.Root(), arguments);
    EXPECT_EQ(without.exitCode, 2);
    EXPECT_NE(without.error.find("MORV_ROOT"), std::string::npos);
    setenv("MORV_ROOT", mTree.Path("MORV").c_str(), 1);
    EXPECT_EQ(RunMorv(mTree.Root(), arguments).exitCode, 0);
    unsetenv("MORV_ROOT");
    EXPECT_TRUE(mTree.Exists("MORV/projects/game/releases/1.0.0.0/releasemanifest"));
}

TEST_F(MorvPackTest, ATarStreamIsPackedAsAFolderIs)
{
    mTree.Write("source/d/a.txt", "hello");
    mTree.Write("source/b", std::string(100'000, 'b'));
    mTree.Write("source/\u00e4", "umlaut");
    fs::create_hard_link(mTree.Path("source/b"), mTree.Path("source/same"));
    ASSERT_EQ(Pack({"--release", "1.0.0.0", "--storage", "archive"}).exitCode, 0);
    for (const char *form : {"--format=gnu", "--format=pax", "--format=pax -z"})
    {
        const std::string script = "cd " + mTree.Root() + " && tar -C source " + form +
                                   " -c . | LC_ALL=C " KELD_MORV_PROGRAM " pack - --root tar/MORV --project game "
                                   "--release 1.0.0.0 --storage archive >out 2>error";
        EXPECT_EQ(std::system(script.c_str()), 0) << mTree.Read("error");
        for (const char *name : {"releases/1.0.0.0/releasemanifest", "filearchives/1.0.0.0/files-0001.vka",
                                 "filearchives/1.0.0.0/files-0001.vka.dat"})
        {
            EXPECT_EQ(mTree.Read(std::string("tar/MORV/projects/game/") + name),
                      mTree.Read(std::string("MORV/projects/game/") + name))
                << form << name;
        }
        mTree.Remove("tar");
    }
}

TEST_F(MorvPackTest, WhatIsNoTarStreamOrHoldsHostileNamesIsRefused)
{
    mTree.Write("source/file", "x");
    fs::create_symlink("file", mTree.Path("source/link"));
    fs::create_symlink("/etc/passwd", mTree.Path("source/out"));
    const auto run = [this](const std::string &producer, const std::string &options)
    {
        const std::string script = "cd " + mTree.Root() + " && " + producer +
                                   " | " KELD_MORV_PROGRAM " pack - --root MORV --project game --release 1.0.0.0 " +
                                   options + " 2>error";
        const int status = std::system(script.c_str());
        return "status " + std::to_string(WEXITSTATUS(status)) + "\n" + mTree.Read("error");
    };
    EXPECT_EQ(run("echo nonsense", "").rfind("status 2\nmorv: standard input is no tar stream", 0), 0u);
    EXPECT_NE(run("tar -C source -c . --transform=s,./file,../evil,", "--links skip").find("evil: is no path below"),
              std::string::npos);
    EXPECT_NE(run("tar -C source -P -c . --transform=s,./file,/tmp/evil,", "--links skip").find("is no path below"),
              std::string::npos);
    EXPECT_NE(run("tar -C source -c .", "").find("link: is a symbolic link: --links follow"), std::string::npos);
    EXPECT_NE(run("tar -C source -c .", "--links follow").find("out: is a symbolic link to /etc/passwd, which is no"),
              std::string::npos);
    EXPECT_NE(run("true", "").find("is no tar stream"), std::string::npos);
    EXPECT_FALSE(mTree.Exists("MORV"));
    EXPECT_EQ(run("tar -C source -c .", "--links follow --exclude out -q"), "status 0\n");
    EXPECT_EQ(mTree.Read("MORV/projects/game/releases/1.0.0.0/deploy/link"), "x");
    EXPECT_FALSE(mTree.Exists("MORV/projects/game/releases/1.0.0.0/deploy/out"));
}

TEST_F(MorvPackTest, AListOfFilesComesFromAFileOrStandardInput)
{
    mTree.Write("source/a", "x");
    mTree.Write("source/b\nc", "x");
    mTree.Write("source/d/e", "x");
    mTree.Write("list", "a\nd\n");
    EXPECT_EQ(Pack({"--release", "1.0.0.0", "--files-from", "list"}).exitCode, 0);
    EXPECT_TRUE(mTree.Exists("MORV/projects/game/releases/1.0.0.0/deploy/d/e"));
    EXPECT_FALSE(mTree.Exists("MORV/projects/game/releases/1.0.0.0/deploy/b\nc"));
    const std::string script = "cd " + mTree.Root() +
                               "/source && find . -type f -print0 | " KELD_MORV_PROGRAM
                               " pack . --root ../MORV --project game --release 1.0.0.1 --files-from - -q";
    EXPECT_EQ(std::system(script.c_str()), 0);
    EXPECT_TRUE(mTree.Exists("MORV/projects/game/releases/1.0.0.1/deploy/b\nc"));
}

TEST_F(MorvPackTest, ABaseThatIsNotThereIsRefused)
{
    mTree.Write("source/a", "x");
    ExpectRefused(Pack({"--release", "1.0.0.1", "--base", "1.0.0.0"}), "has no release 1.0.0.0 to be the base");
}
} // namespace
} // namespace Keld::Test
