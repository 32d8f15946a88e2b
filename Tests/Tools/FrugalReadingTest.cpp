#include "Tools/OpenWatch.h"
#include "Tools/ToolRun.h"

#include "Support/TempTree.h"

#include <gtest/gtest.h>

namespace Keld::Test
{
namespace
{
using Opens = std::map<std::string, int>;

/// Commands that tell of files without reading them.
class FrugalReadingTest : public testing::Test
{
protected:
    FrugalReadingTest()
    {
        for (const char *name : {"a.n", "b.n", "a.m", "b.m", "a.s", "b.s", "a.z", "b.z", "a.l"})
        {
            mTree.Write(std::string("source/") + name, std::string(3000, name[2]));
        }
        const ToolResult packed =
            RunMorv(mTree.Root(), {"pack", "source", "--root", "MORV", "--project", "game", "--release", "1.0.0.0",
                                   "--rule", "*.m=managed", "--rule", "*.s=archive:none", "--rule", "*.z=archive:zlib",
                                   "--rule", "*.l=archive:lzma", "--no-sync"});
        EXPECT_EQ(packed.exitCode, 0) << packed.error;
    }

    /// What a command opens below the project's directory, but for directories.
    Opens OpensOf(const std::vector<std::string> &arguments) const
    {
        const OpenWatch watch(mTree.Path("MORV/projects/game"));
        const ToolResult result = RunMorv(mTree.Path("MORV/projects/game/releases/1.0.0.0"), arguments);
        EXPECT_EQ(result.exitCode, 0) << result.error;
        Opens opens;
        for (const auto &[path, count] : watch.Take())
        {
            if (!path.ends_with('/'))
            {
                opens[path] = count;
            }
        }
        return opens;
    }

    TempTree mTree;
};

TEST_F(FrugalReadingTest, StatOfPlainFilesOpensNoArchive)
{
    for (const std::vector<std::string> &arguments :
         {std::vector<std::string>{"stat", "a.n", "b.m"}, {"stat", "--json", "b.n"}})
    {
        SCOPED_TRACE(testing::PrintToString(arguments));
        EXPECT_EQ(OpensOf(arguments), (Opens{{"releases/1.0.0.0/releasemanifest", 1}}));
    }
}

TEST_F(FrugalReadingTest, StatAndInfoOpenNothingTwiceAndNoPlainFile)
{
    for (const std::vector<std::string> &arguments :
         {std::vector<std::string>{"stat", "a.n", "a.m"}, {"stat", "a.s", "b.s", "a.z", "a.l"}, {"info"}})
    {
        SCOPED_TRACE(testing::PrintToString(arguments));
        const Opens opens = OpensOf(arguments);
        EXPECT_EQ(opens.count("releases/1.0.0.0/releasemanifest"), 1U);
        for (const auto &[path, count] : opens)
        {
            EXPECT_EQ(count, 1) << path;
            EXPECT_TRUE(path.ends_with("/releasemanifest") || path.starts_with("filearchives/")) << path;
        }
    }
}
} // namespace
} // namespace Keld::Test
