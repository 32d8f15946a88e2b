#include "Tools/LayeredTree.h"

#include "Support/CompressedStream.h"

#include "Tools/TreeReader/TreeSet.h"
#include "Tools/morv/Extraction.h"
#include "Tools/morv/Json.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <map>
#include <stdexcept>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;
using Morv::Json;

/// Small files in many directories, and a few large ones among them. Their digests are taken side by side, so that many
/// of them wait at any moment.
class ExtractBatchTest : public LayeredTree
{
protected:
    ExtractBatchTest()
    {
        for (std::uint32_t number = 0; number < 90; ++number)
        {
            const std::size_t size = number % 30 == 7 ? (2 << 20) + number : std::size_t{7} * number * number;
            Write("d" + std::to_string(number % 9) + "/" + std::to_string(number), PatternedBytes(size, number));
        }
    }

    void Write(const std::string &path, const std::string &content)
    {
        mContents[path] = content;
        mTree.Write("many/" + path, content);
    }

    Json Extract(const std::string &jobs, int status) const
    {
        const ToolResult result =
            Morv({"extract", "--json", "-q", "-r", "many/1.0.0.0", "--to", mTree.Path("target"), "-j", jobs});
        EXPECT_EQ(result.exitCode, status) << result.error;
        return Json::parse(result.out);
    }

    /// How many files lie in the target. Each has its whole content.
    std::size_t CountWholeFiles() const
    {
        std::size_t count = 0;
        for (const auto &entry : fs::recursive_directory_iterator(mTree.Path("target")))
        {
            if (entry.is_regular_file())
            {
                const std::string path = fs::relative(entry.path(), mTree.Path("target")).string();
                const auto known = mContents.find(path);
                EXPECT_TRUE(known != mContents.end() && mTree.Read("target/" + path) == known->second) << path;
                ++count;
            }
        }
        return count;
    }

    std::map<std::string, std::string> mContents;
};

TEST_F(ExtractBatchTest, AllIsWrittenWhateverWaitsForWhat)
{
    for (const char *compression : {"zlib", "none"})
    {
        mTree.Remove("MORV/projects/many");
        Pack("many", "archive", compression);
        for (const char *jobs : {"1", "3"})
        {
            mTree.Remove("target");
            EXPECT_EQ(Extract(jobs, 0)["written"]["files"], mContents.size());
            EXPECT_EQ(CountWholeFiles(), mContents.size()) << compression << jobs;
        }
    }
}

TEST_F(ExtractBatchTest, DamagedFilesInTheMiddleAreNamedAndTheOthersAreWhole)
{
    Pack("many", "naked", "none");
    for (const char *path : {"d3/30", "d4/40"})
    {
        const std::string place = std::string("MORV/projects/many/releases/1.0.0.0/deploy/") + path;
        std::string content = mTree.Read(place);
        char &byte = content[content.size() / 2];
        byte = static_cast<char>(byte ^ 0x10);
        mTree.Write(place, content);
    }
    fs::resize_file(mTree.Path("MORV/projects/many/releases/1.0.0.0/deploy/d5/50"), 3);
    for (const char *jobs : {"1", "3"})
    {
        mTree.Remove("target");
        const Json failures = Extract(jobs, 1)["failures"];
        ASSERT_EQ(failures.size(), 3u) << failures;
        EXPECT_EQ(failures[0]["path"], "d3/30");
        EXPECT_EQ(failures[0]["kind"], "wrong-digest");
        EXPECT_EQ(failures[1]["path"], "d4/40");
        EXPECT_EQ(failures[1]["kind"], "wrong-digest");
        EXPECT_EQ(failures[2]["path"], "d5/50");
        EXPECT_EQ(failures[2]["kind"], "ends-early");
        EXPECT_EQ(CountWholeFiles(), mContents.size() - 3);
    }
}

TEST_F(ExtractBatchTest, AFileThatCannotBeWrittenIsNamedAndTheOthersAreWhole)
{
    Pack("many", "archive", "zlib");
    mTree.MakeDirectory("target/d3/30");
    mTree.Write("target/d6", "a file where a directory should be");
    mContents["d6"] = mTree.Read("target/d6");
    const Json document = Extract("2", 1);
    std::size_t blocked = 0;
    for (const Json &failure : document["failures"])
    {
        EXPECT_EQ(failure["kind"], "not-written");
        blocked += failure["path"].get<std::string>().starts_with("d6/") ? 1u : 0u;
    }
    EXPECT_EQ(blocked, 11u) << "the directory, and ten files in it";
    EXPECT_EQ(document["failures"].size(), blocked + 1);
    EXPECT_EQ(CountWholeFiles(), mContents.size() - 11) << "with what stood in the way";
}

TEST_F(ExtractBatchTest, AnEndInTheMiddleLeavesWholeFilesAlone)
{
    Pack("many", "archive", "zlib");
    TreeReader::TreeSet trees;
    const auto view = trees.Open("many/1.0.0.0", mTree.Path("MORV"));
    ASSERT_TRUE(view);
    const Common::OutputDirectory target(mTree.Path("target"));
    std::size_t fewest = mContents.size();
    for (const int calls : {10, 60, 100, 150})
    {
        std::atomic<int> left{calls};
        Morv::ExtractOptions options;
        options.threadCount = 2;
        options.checkpoint = [&left]
        {
            if (--left < 0)
            {
                throw std::runtime_error("enough");
            }
        };
        const Common::GlobSelection all({});
        EXPECT_THROW(Morv::Extract(*view, Morv::PlanExtraction(*view, all, 0), target, options), std::runtime_error);
        fewest = std::min(fewest, CountWholeFiles());
    }
    EXPECT_LT(fewest, mContents.size());
}
} // namespace
} // namespace Keld::Test
