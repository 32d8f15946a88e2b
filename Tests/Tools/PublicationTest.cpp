#include "Tools/CheckedTree.h"

#include "Tools/Delivery/Sums/Publication.h"
#include "Tools/TreeWriter/SolutionWriter.h"
#include "Tools/TreeWriter/WriteLock.h"

#include <optional>
#include <stdexcept>

namespace Keld::Test
{
namespace
{
using TreeWriter::WriteLock;

class PublicationTest : public CheckedTree
{
protected:
    /// Binds the suite to "game" alone, or to "extra" as well.
    void WriteSuite(bool usesExtra) const
    {
        TreeWriter::SolutionConfiguration all{"all", {"game"}};
        TreeWriter::SolutionContents suite{"suite", 0x00000100, {{"game", Second, 10}}, {}};
        if (usesExtra)
        {
            all.projects.push_back("extra");
            suite.projects.push_back({"extra", First, 20});
        }
        suite.configurations = {all};
        mTree.Write(Suite + "configurationmanifest", TreeWriter::BuildConfigurationManifest(all));
        mTree.Write(Suite + "solutionmanifest", TreeWriter::BuildSolutionManifest(suite));
    }

    bool IsLocked(const std::string &project) const
    {
        try
        {
            const WriteLock lock(mTree.Path("MORV/projects/" + project),
                                 []
                                 {
                                     throw std::runtime_error("somebody has it");
                                 });
            return false;
        }
        catch (const std::runtime_error &)
        {
            return true;
        }
    }
};

TEST_F(PublicationTest, WhatASolutionUsesIsLockedThoughItWasWrittenAnewWhileSomebodyElseHadTheLock)
{
    WriteSuite(false);
    std::optional<WriteLock> other(std::in_place, mTree.Path("MORV/projects/game"), [] {});
    Delivery::PublishRequest request;
    request.root = mTree.Path("MORV");
    request.releases = {{true, "suite", 0x00000100}};
    request.sync = false;
    request.calls.checkpoint = [&]
    {
        if (other)
        {
            WriteSuite(true);
            other.reset();
        }
    };
    int stages = 0;
    request.calls.begin = [&](const char *stage, uint64)
    {
        ++stages;
        EXPECT_TRUE(IsLocked("game")) << stage;
        EXPECT_TRUE(IsLocked("extra")) << stage;
    };
    ASSERT_EQ(PublishShipLists(request).size(), 1U);
    EXPECT_GT(stages, 0);
    EXPECT_NE(mTree.Read(Suite + "shiplist").find("projects/extra/releases/1.0.0.0/releasemanifest"),
              std::string::npos);
    EXPECT_FALSE(IsLocked("game"));
    EXPECT_FALSE(IsLocked("extra"));
}
} // namespace
} // namespace Keld::Test
