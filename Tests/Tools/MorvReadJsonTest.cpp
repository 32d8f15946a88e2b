#include "Tools/JsonSchema.h"
#include "Tools/ToolRun.h"

#include "Support/TempTree.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdlib>

namespace Keld::Test
{
namespace
{
using AnyJson = nlohmann::json;

/// A project with a delta, and a solution of it, for the documents of the reading commands.
class MorvReadJsonTest : public testing::Test
{
protected:
    MorvReadJsonTest()
    {
        mTree.Write("source/Docs/readme.txt", "read me\n");
        mTree.Write("source/na\xFFked", "x");
        mTree.MakeDirectory("source/empty");
        Morv(mTree.Root(), {"pack", "source", "--root", "MORV", "--project", "game", "--release", "1.0.0.0",
                            "--storage", "managed", "--no-sync"});
        mTree.Write("source/text.z", std::string(2000, 'z'));
        Morv(mTree.Root(), {"pack", "source", "--root", "MORV", "--project", "game", "--release", "1.0.0.1", "--base",
                            "1.0.0.0", "--rule", "*.z=archive:zlib", "--no-sync"});
        Morv(mTree.Root(),
             {"solution", "--root", "MORV", "--name", "suite", "--release", "0.0.1.0", "--project", "game=1.0.0.1:3"});
    }

    static ToolResult Morv(const std::string &directory, const std::vector<std::string> &arguments)
    {
        ToolResult result = RunMorv(directory, arguments);
        EXPECT_EQ(result.exitCode, 0) << result.error;
        return result;
    }

    /// The document of a command, which fits its schema.
    AnyJson Document(std::vector<std::string> arguments, int exitCode = 0)
    {
        arguments.emplace_back("--json");
        const ToolResult result = RunMorv(mTree.Path(mPlace), arguments);
        EXPECT_EQ(result.exitCode, exitCode) << result.error;
        ExpectMatchesSchema(arguments[0], result.out);
        return AnyJson::parse(result.out);
    }

    std::string mPlace = "MORV/projects/game/releases/1.0.0.1";
    TempTree mTree;
};

TEST_F(MorvReadJsonTest, LsListsEachDirectoryWithItsEntries)
{
    const AnyJson document = Document({"ls", "-R"});
    EXPECT_EQ(document["format"], "morv.ls/1");
    EXPECT_EQ(document["release"]["name"], "game");
    EXPECT_EQ(document["release"]["root"], mTree.Path("MORV"));
    EXPECT_EQ(document["whole"], true);
    ASSERT_EQ(document["listings"].size(), 3u);
    EXPECT_EQ(document["listings"][0]["entries"][2]["name"]["escaped"], "na\\xffked");
    EXPECT_EQ(document["listings"][1]["path"], "Docs");
    EXPECT_EQ(document["listings"][1]["entries"],
              AnyJson::array({{{"name", "readme.txt"}, {"type", "file"}, {"size", 8}}}));
    EXPECT_EQ(Document({"ls", "text.z"})["listings"][0]["type"], "file");
    EXPECT_EQ(Document({"ls", "-R", "--through-library"})["listings"], document["listings"]);
}

TEST_F(MorvReadJsonTest, WhatIsMissingStandsInTheDocument)
{
    mTree.Remove("MORV/projects/game/managedfiles/1.0.0.0/Docs/readme.txt");
    const AnyJson document = Document({"ls", "docs", "gone"}, 1);
    EXPECT_EQ(document["whole"], false);
    EXPECT_EQ(document["damage"]["missing"], 1);
    EXPECT_EQ(document["damage"]["examples"][0]["path"], "Docs/readme.txt");
    EXPECT_EQ(document["damage"]["examples"][0]["kind"], "not-there");
    EXPECT_EQ(document["errors"][0]["path"], "gone");
    EXPECT_EQ(Document({"ls", "--through-library"}, 1)["whole"], false);
}

TEST_F(MorvReadJsonTest, TreeNestsDirectories)
{
    const AnyJson document = Document({"tree"});
    EXPECT_EQ(document["files"], 3);
    EXPECT_EQ(document["bytes"], 2009);
    EXPECT_EQ(document["entries"][0]["entries"][0]["name"], "readme.txt");
    EXPECT_EQ(document["entries"][1]["entries"], AnyJson::array());
}

TEST_F(MorvReadJsonTest, CatHoldsContents)
{
    const AnyJson document = Document({"cat", "docs/readme.txt", "gone", "text.z", "--length", "4"}, 1);
    ASSERT_EQ(document["files"].size(), 2u);
    EXPECT_EQ(document["files"][0]["content"], "read");
    EXPECT_EQ(document["files"][1]["content"], "zzzz");
    EXPECT_EQ(document["files"][1]["bytes"], 4);
    EXPECT_EQ(document["errors"].size(), 1u);
}

TEST_F(MorvReadJsonTest, FindTellsHowItsMatchesAreStored)
{
    const AnyJson matches = Document({"find", "--type", "f", "--size", "+1"})["matches"];
    ASSERT_EQ(matches.size(), 2u);
    EXPECT_EQ(matches[0]["path"], "text.z");
    EXPECT_EQ(matches[0]["compression"], "zlib");
    EXPECT_EQ(matches[1]["storage"], "managed");
    EXPECT_EQ(matches[1]["version"], "1.0.0.0");
    EXPECT_EQ(Document({"find", "--name", "nothing"}, 1)["matches"], AnyJson::array());
}

TEST_F(MorvReadJsonTest, StatTellsFilesAndDirectories)
{
    const AnyJson document = Document({"stat", "--check", "docs/readme.txt", "/", "gone"}, 1);
    ASSERT_EQ(document["paths"].size(), 2u);
    EXPECT_EQ(document["paths"][0]["file"], mTree.Path("MORV/projects/game/managedfiles/1.0.0.0/Docs/readme.txt"));
    EXPECT_EQ(document["paths"][0]["expectedDigest"], "2eb6f3d85c8037648139f3ae51ee5274");
    EXPECT_EQ(document["paths"][0]["intact"], true);
    EXPECT_EQ(document["paths"][1]["entries"], 4);
    EXPECT_EQ(document["errors"][0]["path"], "gone");
    EXPECT_EQ(Document({"stat", "text.z"})["paths"][0]["intact"], nullptr);
}

TEST_F(MorvReadJsonTest, InfoCountsByStorage)
{
    mPlace = "MORV/solutions/suite/releases/0.0.1.0";
    const AnyJson document = Document({"info"});
    EXPECT_EQ(document["release"]["kind"], "solution");
    EXPECT_EQ(document["configuration"], "default");
    ASSERT_EQ(document["listings"].size(), 1u);
    EXPECT_EQ(document["listings"][0]["priority"], 3);
    EXPECT_EQ(document["listings"][0]["bytes"], 2009);
    EXPECT_EQ(document["listings"][0]["storage"]["managed"], 2);
    EXPECT_EQ(document["listings"][0]["storage"]["archivedZlib"], 1);
}

TEST_F(MorvReadJsonTest, ReleasesTellsBaseVersions)
{
    const AnyJson document = Document({"releases"});
    EXPECT_EQ(document["root"], mTree.Path("MORV"));
    ASSERT_EQ(document["releases"].size(), 2u);
    EXPECT_EQ(document["releases"][0]["bases"], AnyJson::array());
    EXPECT_EQ(document["releases"][1]["files"], 3);
    EXPECT_EQ(document["releases"][1]["bases"], AnyJson::array({{{"version", "1.0.0.0"}, {"files", 2}, {"bytes", 9}}}));
    EXPECT_EQ(document["solutions"][0]["projects"][0]["version"], "1.0.0.1");
}

TEST_F(MorvReadJsonTest, ReleasesGoesOnBehindWhatItCannotRead)
{
    const std::string expected = "root      " + mTree.Path("MORV") +
                                 "\nproject   game\n"
                                 "  1.0.0.0         2 files, 9 bytes\n"
                                 "  1.0.0.1         3 files, 1.96 KiB, with 2 files of 1.0.0.0\n"
                                 "solution  suite\n"
                                 "  0.0.1.0         default: game 1.0.0.1 (priority 3)\n";
    for (const std::string directory : {".", "MORV", "MORV/projects/game"})
    {
        EXPECT_EQ(Morv(mTree.Path(directory), {"releases"}).out, expected);
    }
    EXPECT_EQ(Morv("/", {"releases", "--root", mTree.Path("MORV")}).out, expected);
    mTree.Write("MORV/projects/game/releases/1.0.0.1/releasemanifest", "no manifest at all");
    const ToolResult result = RunMorv(mTree.Root(), {"releases"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.out, "root      " + mTree.Path("MORV") +
                              "\nproject   game\n  1.0.0.0         2 files, 9 bytes\nsolution  suite\n");
    EXPECT_NE(result.error.find("is no release manifest"), std::string::npos) << result.error;
    EXPECT_NE(result.error.find("the solution suite 0.0.1.0 does not start: "), std::string::npos) << result.error;
    const ToolResult nowhere = RunMorv("/", {"releases"});
    EXPECT_EQ(nowhere.exitCode, 2);
    EXPECT_NE(nowhere.error.find("lies in no deployment tree"), std::string::npos) << nowhere.error;
}

TEST_F(MorvReadJsonTest, FindTakesGlobsSizesStorageAndVersions)
{
    const std::string place = mTree.Path(mPlace);
    EXPECT_EQ(Morv(place, {"find", "--glob", "{docs,empty}"}).out, "Docs\nempty\n");
    EXPECT_EQ(Morv(place, {"find", "--glob", "**/READ*.txt"}).out, "Docs/readme.txt\n");
    EXPECT_EQ(Morv(place, {"find", "--glob", "docs/*"}).out, "Docs/readme.txt\n");
    EXPECT_EQ(Morv(place, {"find", "--glob", "*/"}).out, "Docs\nempty\n");
    EXPECT_EQ(Morv(place, {"find", "--size", "8"}).out, "Docs/readme.txt\n");
    EXPECT_EQ(Morv(place, {"find", "--size", "+1K"}).out, "text.z\n");
    EXPECT_EQ(Morv(place, {"find", "--size", "-2"}).out, "na\xFFked\n");
    EXPECT_EQ(Morv(place, {"find", "--storage", "managed", "--name", "*.txt"}).out, "Docs/readme.txt\n");
    EXPECT_EQ(Morv(place, {"find", "--storage", "archive:zlib"}).out, "text.z\n");
    EXPECT_EQ(RunMorv(place, {"find", "--storage", "archive:lzma"}).exitCode, 1);
    EXPECT_EQ(Morv(place, {"find", "--version-of", "1.0.0.1"}).out, "text.z\n");
}

TEST_F(MorvReadJsonTest, StatTakesPathsFromStandardInput)
{
    const std::string release = mTree.Path(mPlace);
    const auto run = [&](const std::string &script)
    {
        std::ignore = std::system(("cd " + release + "; (" + script + ") >out 2>error").c_str());
        return mTree.Read(mPlace + "/out");
    };
    const std::string one = Morv(release, {"stat", "text.z"}).out;
    EXPECT_EQ(run("printf 'text.z\\n\\nTEXT.z\\ntext.z' | " KELD_MORV_PROGRAM " stat -"), one + one + one);
    EXPECT_EQ(run("printf 'text.z\\0text.z' | " KELD_MORV_PROGRAM " stat -0 -"), one + one);
    EXPECT_EQ(run(": | " KELD_MORV_PROGRAM " stat -"), "");
    EXPECT_EQ(run("yes text.z | head -n 20000 | " KELD_MORV_PROGRAM " stat -j 2 - | wc -l"), "220000\n");
    EXPECT_EQ(run("head -c 70000 /dev/zero | tr '\\0' x | " KELD_MORV_PROGRAM " stat -; echo $?"), "2\n");
    EXPECT_NE(mTree.Read(mPlace + "/error").find("a path of more than 65,536 bytes"), std::string::npos);
}

TEST_F(MorvReadJsonTest, AFullDiskIsAnErrorAndAClosedPipeIsNone)
{
    const std::string release = mTree.Path(mPlace);
    for (const std::string words : {"ls -R", "tree", "find", "cat text.z", "stat text.z", "info", "releases",
                                    "ls --json", "stat --json text.z", "releases --json"})
    {
        const std::string full = "cd " + release + "; " KELD_MORV_PROGRAM " " + words + " >/dev/full 2>error";
        EXPECT_EQ(WEXITSTATUS(std::system(full.c_str())), 2) << words;
        EXPECT_EQ(mTree.Read(mPlace + "/error"), "morv: cannot write to standard output: No space left on device\n")
            << words;
        const std::string closed = "cd " + release + "; (sleep 0.1; " KELD_MORV_PROGRAM " " + words +
                                   " 2>error; echo $? >status) | true; sleep 0.3";
        EXPECT_EQ(std::system(closed.c_str()), 0);
        EXPECT_EQ(mTree.Read(mPlace + "/status"), "0\n") << words;
        EXPECT_EQ(mTree.Read(mPlace + "/error"), "") << words;
    }
}
} // namespace
} // namespace Keld::Test
