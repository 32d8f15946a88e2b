#include "Tools/ExtractFailures.h"
#include "Tools/ReleaseReader.h"
#include "Tools/ToolRun.h"

#include "Support/TestTree.h"

#include "Tools/TreeReader/TreeSet.h"
#include "Tools/morv/ExtractPlan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <map>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;

/// Manifests that no writer makes: extraction must not be led by their names.
class ExtractNamesTest : public testing::Test
{
protected:
    /// Extracts and gives the kind of each failure, by path.
    std::map<std::string, std::string> Failures(const std::string &release)
    {
        return ExtractFailures(RunMorv(release, {"extract", "--no-check", "--json", "--to", Target("")}));
    }

    /// Makes a directory's name empty, which no path that the fixture writes can say.
    void TakeName(const std::string &name) const
    {
        const std::string manifest = "MORV/projects/atlas/releases/1.0.0.0/releasemanifest";
        std::string bytes = mTree.Disk().Read(manifest);
        // The strings end the file, and behind their count stands how many bytes they have.
        std::uint32_t size = 0;
        std::size_t sizePlace = bytes.size();
        do
        {
            ASSERT_GT(sizePlace, 0u);
            --sizePlace;
            std::memcpy(&size, bytes.data() + sizePlace, std::min(sizeof size, bytes.size() - sizePlace));
        } while (sizePlace + sizeof size + size != bytes.size());
        for (std::size_t place = bytes.find(name); place != std::string::npos; place = bytes.find(name))
        {
            bytes.erase(place, name.size());
            size -= static_cast<std::uint32_t>(name.size());
        }
        std::memcpy(bytes.data() + sizePlace, &size, sizeof size);
        mTree.Disk().Write(manifest, bytes);
    }

    std::string Target(const std::string &path) const { return mTree.Disk().Path("around/target/" + path); }
    std::string Read(const std::string &path) const { return mTree.Disk().Read("around/target/" + path); }

    int CountFiles() const
    {
        int count = 0;
        for (const auto &entry : fs::recursive_directory_iterator(mTree.Disk().Path("around")))
        {
            count += entry.is_directory() ? 0 : 1;
        }
        return count;
    }

    TestTree mTree;
};

TEST_F(ExtractNamesTest, NamesThatLeadElsewhereAreRefusedByNameAndTheRestIsWritten)
{
    mTree.Disk().MakeDirectory("MORV/projects/atlas/releases/1.0.0.0/deploy/deep");
    const std::string release = mTree.Project("atlas", "1.0.0.0",
                                              {{.path = "good.txt", .content = "good"},
                                               {.path = "../evil.txt", .content = "evil"},
                                               {.path = "deep/../../evil.txt", .content = "evil"},
                                               {.path = "./dot.txt", .content = "dot"},
                                               {.path = "deep/<empty>/empty.txt", .missing = true},
                                               {.path = "<empty>/absolute.txt", .missing = true},
                                               {.path = "deep/..", .missing = true},
                                               {.path = "deep/good.txt", .content = "too"}});
    TakeName("<empty>");
    EXPECT_EQ(Failures(release), (std::map<std::string, std::string>{{"../evil.txt", "hostile-name"},
                                                                     {"deep/../../evil.txt", "hostile-name"},
                                                                     {"./dot.txt", "hostile-name"},
                                                                     {"deep//empty.txt", "hostile-name"},
                                                                     {"/absolute.txt", "hostile-name"},
                                                                     {"deep/..", "hostile-name"}}));
    EXPECT_EQ(Read("good.txt"), "good");
    EXPECT_EQ(Read("deep/good.txt"), "too");
    EXPECT_EQ(CountFiles(), 2);
    EXPECT_FALSE(fs::exists("/absolute.txt"));
}

TEST_F(ExtractNamesTest, PathsThatDifferInCaseAloneAreWrittenOnce)
{
    const std::string release = mTree.Project("atlas", "1.0.0.0",
                                              {{.path = "Twin.txt", .content = "first"},
                                               {.path = "twin.TXT", .content = "second"},
                                               {.path = "Data/one", .content = "1"},
                                               {.path = "data/two", .content = "2"}});
    const auto failures = Failures(release);
    ASSERT_EQ(failures.size(), 1u);
    EXPECT_EQ(failures.begin()->second, "twin");
    // The one that is written is the one that the library serves.
    const std::string written = failures.begin()->first == "Twin.txt" ? "twin.TXT" : "Twin.txt";
    EXPECT_EQ(Read(written), written == "Twin.txt" ? "first" : "second");
    EXPECT_EQ(ReleaseReader(release).Read("twin.txt"), Read(written));
    // Both files of the directory with two spellings lie in one.
    EXPECT_EQ(CountFiles(), 3);
    EXPECT_TRUE(fs::exists(Target("Data/one")) ? fs::exists(Target("Data/two"))
                                               : fs::exists(Target("data/one")) && fs::exists(Target("data/two")));
}

TEST_F(ExtractNamesTest, AFileAndADirectoryOfOneNameDoNotBothAppear)
{
    const std::string release = mTree.Project(
        "atlas", "1.0.0.0", {{.path = "thing", .missing = true}, {.path = "THING/inner", .content = "inner"}});
    EXPECT_EQ(Failures(release), (std::map<std::string, std::string>{{"thing", "not-there"}}));
    EXPECT_EQ(Read("THING/inner"), "inner");
}

TEST_F(ExtractNamesTest, AHiddenFileIsNotMissed)
{
    mTree.Project("first", "1.0.0.0", {{.path = "both", .content = "first"}, {.path = "own", .missing = true}});
    mTree.Project("second", "1.0.0.0", {{.path = "both", .missing = true}, {.path = "own", .content = "second"}});
    const std::string suite = mTree.Solution("suite", "0.0.1.0", {{"first", "1.0.0.0", 20}, {"second", "1.0.0.0", 10}});
    EXPECT_EQ(Failures(suite), (std::map<std::string, std::string>{{"own", "not-there"}}))
        << "the first project lacks it, and what is served instead may be another content";
    EXPECT_EQ(Read("both"), "first");
    EXPECT_EQ(Read("own"), "second");
}

TEST_F(ExtractNamesTest, FilesThatShareOneHugeNameAreNotRefusedAtThatLength)
{
    ManifestImage manifest("atlas");
    manifest.File(std::string(100'000, 'n'));
    for (int number = 0; number < 200; ++number)
    {
        manifest.File("deep/f" + std::to_string(number)).File("g" + std::to_string(number));
    }
    const std::uint32_t names = 2 + manifest.DirectoryCount() - 1; // behind those of the root, project, directories
    const std::uint32_t huge = names + manifest.FileIndex(std::string(100'000, 'n'));
    for (std::uint32_t file = 0; file < manifest.FileCount(); ++file)
    {
        manifest.Patch(manifest.FileOffset(file), huge);
    }
    mTree.Disk().Write("MORV/projects/atlas/releases/1.0.0.0/releasemanifest", manifest.Bytes());
    TreeReader::TreeSet trees;
    const auto view = trees.Open("atlas/1.0.0.0", mTree.Root());
    ASSERT_TRUE(view) << view.GetFault().GetMessage();
    const Morv::ExtractPlan plan = Morv::PlanExtraction(*view, Common::GlobSelection({}), 0);
    ASSERT_EQ(plan.refused.size(), manifest.FileCount());
    for (const Morv::ExtractFailure &failure : plan.refused)
    {
        EXPECT_EQ(failure.kind, "hostile-name");
        EXPECT_EQ(failure.path.size(), 1024U);
    }
}

TEST_F(ExtractNamesTest, NamesOnlyADiskWouldRefuseFailByName)
{
    const std::string longName(300, 'n');
    const std::string control = "line\nend\x1b";
    const std::string release =
        mTree.Project("atlas", "1.0.0.0", {{.path = control, .content = "odd"}, {.path = longName, .missing = true}});
    const ToolResult result = RunMorv(release, {"extract", "--no-check", "--to", Target("")});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_NE(result.error.find("morv: " + longName + ": is missing: "), std::string::npos) << result.error;
    EXPECT_EQ(Read(control), "odd");
}
} // namespace
} // namespace Keld::Test
