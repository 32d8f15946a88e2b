#include "Tools/ExtractFailures.h"
#include "Tools/JsonSchema.h"
#include "Tools/LayeredTree.h"
#include "Tools/TreeSnapshot.h"

#include "Tools/morv/Json.h"

#include <csignal>
#include <filesystem>
#include <map>

#include <unistd.h>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;
using Morv::Json;

class MorvExtractTest : public LayeredTree
{
protected:
    /// Runs "morv extract" into the folder "target" of the tree.
    ToolResult Extract(std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.begin(), {"extract", "--to", mTree.Path("target")});
        return Morv(arguments);
    }

    /// What lies in the target, by path; directories end in '/'.
    std::map<std::string, std::string> Target() const
    {
        std::map<std::string, std::string> files;
        for (const auto &entry : fs::recursive_directory_iterator(mTree.Path("target")))
        {
            const std::string path = fs::relative(entry.path(), mTree.Path("target")).string();
            files[entry.is_directory() ? path + "/" : path] = entry.is_directory() ? "" : mTree.Read("target/" + path);
        }
        return files;
    }

    void ExpectNoTemporaryFile() const
    {
        for (const auto &[path, content] : Target())
        {
            EXPECT_EQ(path.find(".morv-"), std::string::npos) << path;
        }
    }

    const std::map<std::string, std::string> mWinners{{"Cased/", ""},
                                                      {"Cased/One.txt", "1"},
                                                      {"Cased/two.txt", "2"},
                                                      {"a.txt", "top a"},
                                                      {"dir/", ""},
                                                      {"dir/x.txt", "x"},
                                                      {"only.txt", std::string(3000, 'o')},
                                                      {"same.txt", "same"},
                                                      {"thing", "a file over a directory"}};
};

TEST_F(MorvExtractTest, WritesWhatAProgramWouldGetAndTellsWhatStandsInTheWay)
{
    const TreeSnapshot before = TakeSnapshot(mTree.Path("MORV"));
    const ToolResult result = Extract({});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(Target(), mWinners);
    EXPECT_EQ(result.error,
              "morv: thing/inner.txt: \"thing\" is a file, of top 1.0.0.0, where its directory should be\n"
              "morv: 1 path not written\n");
    EXPECT_EQ(result.out.rfind(mTree.Path("target") + ": 7 files, 2.96 KiB in ", 0), 0u) << result.out;
    EXPECT_TRUE(TakeSnapshot(mTree.Path("MORV")) == before);
}

TEST_F(MorvExtractTest, AWholeReleaseIsGoodAndComesWithItsEmptyDirectories)
{
    mTree.MakeDirectory("full/empty/deep");
    mTree.Write("full/a", "");
    Pack("full", "archive", "lzma");
    const ToolResult result = Extract({"--release", "full/1.0.0.0", "-q"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.out + result.error, "");
    EXPECT_EQ(Target(), (std::map<std::string, std::string>{{"a", ""}, {"empty/", ""}, {"empty/deep/", ""}}));
}

TEST_F(MorvExtractTest, GlobsChooseFilesAndAllBelowADirectory)
{
    EXPECT_EQ(Extract({"-q", "cased", "A.*"}).exitCode, 0);
    EXPECT_EQ(Target(), (std::map<std::string, std::string>{
                            {"Cased/", ""}, {"Cased/One.txt", "1"}, {"Cased/two.txt", "2"}, {"a.txt", "top a"}}));
    const ToolResult nothing = Extract({"-q", "only.*", "no such"});
    EXPECT_EQ(nothing.exitCode, 1);
    EXPECT_EQ(nothing.error.rfind("morv: no such: matches nothing; ", 0), 0u) << nothing.error;
    EXPECT_TRUE(mTree.Exists("target/only.txt")) << "the others are written";
    EXPECT_EQ(Extract({"{a"}).exitCode, 2);
}

TEST_F(MorvExtractTest, StripTakesNamesAndNoTwoFilesTakeOnePlace)
{
    const ToolResult result = Extract({"-q", "--strip", "1", "-r", "top/1.0.0.0"});
    EXPECT_EQ(result.exitCode, 0) << result.error;
    EXPECT_EQ(Target(), (std::map<std::string, std::string>{{"One.txt", "1"}, {"x.txt", "x"}}));
    EXPECT_EQ(Extract({"--strip", "1", "-r", "top/1.0.0.0"}).error,
              "morv: note: 3 files left out: --strip 1 takes the whole path\n");

    mTree.Write("twins/a/Same", "first");
    mTree.Write("twins/b/sAME", "second");
    mTree.Write("twins/c/same/below", "third");
    Pack("twins", "naked", "none");
    const ToolResult twins = Extract({"-q", "--strip", "1", "-r", "twins/1.0.0.0", "-j", "1"});
    EXPECT_EQ(twins.exitCode, 1);
    EXPECT_EQ(mTree.Read("target/Same"), "first");
    EXPECT_EQ(twins.error, "morv: b/sAME: \"sAME\" is taken by another path, be it in other case\n"
                           "morv: c/same/below: \"same\" is taken by a file, be it in other case\n"
                           "morv: 2 paths not written\n");
    EXPECT_FALSE(mTree.Exists("target/sAME") || mTree.Exists("target/same"));
}

TEST_F(MorvExtractTest, UpdateLeavesWhatIsEqualAndWritesTheRest)
{
    const std::vector<std::string> arguments{"--json", "--update", "cased", "*.txt"};
    ExpectMatchesSchema("extract", Extract(arguments).out);
    mTree.Write("target/a.txt", "TOP A"); // of the same size
    mTree.Write("target/same.txt", "longer than it was");
    fs::remove(mTree.Path("target/Cased/two.txt"));
    mTree.Write("target/extra", "stays");
    const auto time = fs::last_write_time(mTree.Path("target/only.txt"));
    const Json document = Json::parse(Extract(arguments).out);
    EXPECT_EQ(document["written"]["files"], 3);
    EXPECT_EQ(document["kept"]["files"], 3);
    EXPECT_EQ(document["kept"]["bytes"], 3002);
    EXPECT_EQ(mTree.Read("target/a.txt"), "top a");
    EXPECT_EQ(mTree.Read("target/same.txt"), "same");
    EXPECT_EQ(mTree.Read("target/Cased/two.txt"), "2");
    EXPECT_EQ(mTree.Read("target/extra"), "stays");
    EXPECT_TRUE(fs::last_write_time(mTree.Path("target/only.txt")) == time);
}

TEST_F(MorvExtractTest, DamagedAndMissingFilesAreListedAndTheRestIsWritten)
{
    mTree.Write("MORV/projects/top/releases/1.0.0.0/deploy/a.txt", "top b");
    fs::remove(TopPlace("dir/x.txt"));
    const ToolResult result = Extract({"--json"});
    ExpectMatchesSchema("extract", result.out);
    EXPECT_EQ(result.exitCode, 1);
    const Json failures = Json::parse(result.out)["failures"];
    ASSERT_EQ(failures.size(), 3u);
    EXPECT_EQ(failures[0]["path"], "a.txt");
    EXPECT_EQ(failures[0]["kind"], "wrong-digest");
    EXPECT_EQ(failures[1]["path"], "dir/x.txt");
    EXPECT_EQ(failures[1]["kind"], "not-there");
    EXPECT_EQ(failures[2]["kind"], "file-in-the-way");
    EXPECT_FALSE(mTree.Exists("target/a.txt"));
    EXPECT_EQ(mTree.Read("target/same.txt"), "same");
    ExpectNoTemporaryFile();

    EXPECT_EQ(Extract({"--no-check", "-q", "a.txt"}).exitCode, 0);
    EXPECT_EQ(mTree.Read("target/a.txt"), "top b");
}

TEST_F(MorvExtractTest, LinksAndDirectoriesInTheTargetAreNoWayOut)
{
    mTree.MakeDirectory("outside");
    mTree.MakeDirectory("target/same.txt");
    mTree.Write("victim", "untouched");
    fs::create_symlink(mTree.Path("outside"), mTree.Path("target/Cased"));
    fs::create_symlink(mTree.Path("victim"), mTree.Path("target/a.txt"));
    mTree.Write("target/dir", "in the way");
    const ToolResult result = Extract({"-q", "cased", "dir", "*.txt"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_NE(result.error.find("Cased/One.txt: \"Cased\" is a symbolic link there, and none is followed\n"),
              std::string::npos)
        << result.error;
    EXPECT_NE(result.error.find("dir/x.txt: \"dir\" is no directory there\n"), std::string::npos) << result.error;
    EXPECT_NE(result.error.find("same.txt: a directory of its name is there\n"), std::string::npos) << result.error;
    EXPECT_TRUE(fs::is_empty(mTree.Path("outside")));
    EXPECT_EQ(mTree.Read("victim"), "untouched");
    EXPECT_EQ(mTree.Read("target/a.txt"), "top a");
    ExpectNoTemporaryFile();
}

TEST_F(MorvExtractTest, NothingIsWrittenIntoTheTreeThatIsRead)
{
    const TreeSnapshot before = TakeSnapshot(mTree.Path("MORV"));
    fs::create_symlink(mTree.Path("MORV"), mTree.Path("link"));
    for (const std::string target : {"MORV", "MORV/new/place", "link/new", "MORV/projects/../x"})
    {
        const ToolResult result = Morv({"extract", "--to", mTree.Path(target)});
        EXPECT_EQ(result.exitCode, 2) << target;
        EXPECT_NE(result.error.find("lies in the tree that is read"), std::string::npos) << result.error;
    }
    EXPECT_TRUE(TakeSnapshot(mTree.Path("MORV")) == before);
    mTree.Write("file", "");
    EXPECT_EQ(Morv({"extract", "--to", mTree.Path("file")}).exitCode, 2);
    EXPECT_EQ(Morv({"extract"}).exitCode, 2);
}

TEST_F(MorvExtractTest, ATargetAboveTheTreeIsGoodAndTheTreeStaysAsItIs)
{
    const std::string manifest = "MORV/projects/top/releases/1.0.0.0/releasemanifest";
    mTree.Write("evil/here/" + manifest, "evil");
    mTree.Write("evil/there/morv/projects/new", "evil");
    mTree.Write("evil/here/MORVEL/good", "good");
    mTree.Write("evil/MORV", "evil");
    mTree.Write("evil/other", "good");
    Pack("evil", "archive", "none");
    const TreeSnapshot before = TakeSnapshot(mTree.Path("MORV"));
    const auto failuresOf = [this](const std::vector<std::string> &more)
    {
        std::vector<std::string> words{"extract", "-r", "evil/1.0.0.0", "--json", "--to", mTree.Root()};
        words.insert(words.end(), more.begin(), more.end());
        return ExtractFailures(Morv(words));
    };
    EXPECT_EQ(failuresOf({}), (std::map<std::string, std::string>{{"MORV", "in-the-tree"}}));
    EXPECT_EQ(mTree.Read("other"), "good");
    EXPECT_EQ(failuresOf({"*here", "--strip", "1"}),
              (std::map<std::string, std::string>{{"here/" + manifest, "in-the-tree"},
                                                  {"there/morv/projects/new", "in-the-tree"}}));
    EXPECT_EQ(mTree.Read("MORVEL/good"), "good");
    EXPECT_TRUE(TakeSnapshot(mTree.Path("MORV")) == before);
    EXPECT_FALSE(mTree.Exists("morv"));
}

TEST_F(MorvExtractTest, AFileThatGrowsTooLargeIsNamedAndTheRestIsWhole)
{
    mTree.Write("large/big", std::string(2'000'000, 'b'));
    mTree.Write("large/small", "s");
    Pack("large", "archive", "zlib");
    EXPECT_EQ(Shell("trap '' XFSZ; ulimit -f 1024; $MORV extract -r large/1.0.0.0 --to '" + mTree.Path("target") + "'"),
              1);
    EXPECT_EQ(mTree.Read("error"), "morv: big: cannot write: File too large\nmorv: 1 path not written\n");
    EXPECT_EQ(Target(), (std::map<std::string, std::string>{{"small", "s"}}));
}

#ifdef KELD_CAN_MOUNT_DISKS
TEST_F(MorvExtractTest, AFullDiskEndsTheWorkAndLeavesWholeFiles)
{
    std::map<std::string, std::string> files;
    for (int number = 0; number < 40; ++number)
    {
        const std::string name = std::to_string(number);
        files[name] = std::string(100'000, static_cast<char>('a' + number % 26));
        mTree.Write("many/" + name, files[name]);
    }
    Pack("many", "archive", "zlib");
    mTree.MakeDirectory("disk");
    mTree.MakeDirectory("target");
    // A disk of its own that is small, in a name space of its own. The copy is taken before it goes.
    const std::string line = "mount -t tmpfs -o size=1m none '" + mTree.Path("disk") +
                             "' && { $MORV extract -j 2 --json -r many/1.0.0.0 --to '" + mTree.Path("disk") +
                             "'; status=$?; cp -r '" + mTree.Path("disk") + "/.' '" + mTree.Path("target") +
                             "'; exit $status; }";
    mTree.Write("line", line);
    const std::string unshare = geteuid() == 0 ? "unshare -m" : "unshare -rm";
    ASSERT_EQ(Shell("export MORV; " + unshare + " sh '" + mTree.Path("line") + "'"), 2) << mTree.Read("error");
    const std::string out = mTree.Read("out");
    ExpectMatchesSchema("extract", out);
    const Json document = Json::parse(out);
    EXPECT_EQ(document["stopped"], "No space left on device");
    EXPECT_NE(mTree.Read("error").find("the work ended: No space left on device; "), std::string::npos);
    const auto written = Target();
    EXPECT_EQ(document["written"]["files"], written.size());
    EXPECT_GT(written.size(), 0u);
    EXPECT_LT(written.size(), files.size());
    for (const auto &[path, content] : written)
    {
        EXPECT_TRUE(files.count(path) == 1 && content == files[path]) << path;
    }
    EXPECT_EQ(document["written"]["files"].get<std::size_t>() + document["failures"].size() +
                  document["notBegun"].get<std::size_t>(),
              files.size());
}
#endif

TEST_F(MorvExtractTest, AnInterruptLeavesNoHalfWrittenFile)
{
    mTree.Write("large/big", "");
    fs::resize_file(mTree.Path("large/big"), 200'000'000);
    Pack("large", "archive", "zlib");
    const std::string target = mTree.Path("target");
    const int status =
        Shell("cd /; $MORV -C '" + mTree.Path("MORV/projects/large/releases/1.0.0.0") + "' extract --to '" + target +
              "' & pid=$!; until ls -A '" + target +
              "' | grep -q morv; do kill -0 $pid || break; done 2>/dev/null; kill -TERM $pid; wait $pid");
    EXPECT_EQ(status, 128 + SIGTERM);
    // Behind it some shells say that the process was terminated.
    EXPECT_TRUE(mTree.Read("error").starts_with("morv: interrupted: the files that are there are whole\n"));
    EXPECT_TRUE(fs::is_empty(target));
}

TEST_F(MorvExtractTest, TheNumberOfThreadsChangesNothing)
{
    for (const char *jobs : {"1", "2", "5"})
    {
        mTree.Remove("target");
        EXPECT_EQ(Extract({"-q", "-j", jobs}).exitCode, 1);
        EXPECT_EQ(Target(), mWinners) << jobs;
    }
}

TEST_F(MorvExtractTest, StandardOutputMayBeClosedOrFull)
{
    EXPECT_EQ(Shell("$MORV extract a.txt --to '" + mTree.Path("target") + "' >/dev/full"), 2);
    EXPECT_EQ(mTree.Read("target/a.txt"), "top a");
    EXPECT_EQ(Shell("{ $MORV extract only.txt --to '" + mTree.Path("target") + "'; echo $? >&2; } | true"), 0);
    EXPECT_EQ(mTree.Read("error"), "0\n");
}
} // namespace
} // namespace Keld::Test
