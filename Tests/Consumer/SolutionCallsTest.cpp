#include "Support/ReleaseFixture.h"

namespace Keld::Test
{
namespace
{
// Several projects behind one file system.
class SolutionCallsTest : public ReleaseFixture
{
protected:
    // In descending priority: the first project is searched first.
    void StartSolution(const std::vector<std::vector<ReleaseFile>> &projects)
    {
        std::vector<SolutionProject> bound;
        for (std::size_t index = 0; index < projects.size(); ++index)
        {
            const std::string name = "project" + std::to_string(index);
            mTree.Project(name, "1.0.0.0", projects[index]);
            bound.push_back({name, "1.0.0.0", static_cast<std::uint32_t>(100 - index)});
        }
        Start(mTree.Solution("suite", "0.0.1.7", bound) + "/deploy");
        LogRecorder::Clear();
    }
};

TEST_F(SolutionCallsTest, ServeTheFileOfTheHighestPriority)
{
    StartSolution({{{"a.txt", "first"}, {"only/first", "1"}}, {{"A.TXT", "second"}, {"only/second", "2"}}});
    EXPECT_EQ(Content("a.txt"), "first");
    EXPECT_EQ(Content("only/first"), "1");
    EXPECT_EQ(Content("only/second"), "2");
}

TEST_F(SolutionCallsTest, DoNotGoOnBehindADirectoryOfAnEarlierProject)
{
    StartSolution({{{"thing/inside", "x"}}, {{"thing", "file"}}});
    EXPECT_EQ(MorvFileExists("thing"), 1u);
    EXPECT_EQ(MorvOpenFile("thing"), nullptr);
    ExpectAll({});
}

TEST_F(SolutionCallsTest, DoNotGoOnBehindAFileThatCannotBeOpened)
{
    StartSolution({{{"a.txt", "first"}, {"keep", "k"}}, {{"a.txt", "second"}}});
    mTree.Disk().Remove("MORV/projects/project0/releases/1.0.0.0/deploy/a.txt");
    EXPECT_EQ(MorvOpenFile("a.txt"), nullptr);
    EXPECT_EQ(LogRecorder::Failures().size(), 2u);
}

TEST_F(SolutionCallsTest, OrderProjectsByPriorityAndThenByName)
{
    for (const std::string name : {"b", "A", "c", "high"})
    {
        mTree.Project(name, "1.0.0.0", {{"who", name}, {"from-" + name, "x"}});
    }
    const auto winner = [this](const std::vector<SolutionProject> &projects, const std::vector<std::string> &chosen)
    {
        MorvShutdown();
        Start(mTree.Solution("suite", "0.0.1.7", projects, chosen));
        return Content("who");
    };
    const std::vector<SolutionProject> equal = {{"c", "1.0.0.0", 7}, {"b", "1.0.0.0", 7}, {"A", "1.0.0.0", 7}};
    EXPECT_EQ(winner(equal, {"c", "b", "A"}), "A");
    EXPECT_EQ(winner(equal, {"b", "c"}), "b");
    EXPECT_EQ(winner(equal, {"c"}), "c");

    const std::vector<SolutionProject> ranked = {{"A", "1.0.0.0", 10}, {"high", "1.0.0.0", 0xFFFFFFFF}};
    EXPECT_EQ(winner(ranked, {"A", "high"}), "high");
    EXPECT_EQ(winner(ranked, {"high", "A"}), "high");
}

TEST_F(SolutionCallsTest, LoadTheReleaseThatTheSolutionNames)
{
    mTree.Project("client", "1.0.0.0", {{"a.txt", "old"}});
    mTree.Project("client", "2.0.0.0", {{"a.txt", "new"}});
    Start(mTree.Solution("suite", "1.0.0.0", {{"client", "2.0.0.0", 1}}));
    EXPECT_EQ(Content("a.txt"), "new");
}

TEST_F(SolutionCallsTest, LoadAProjectTwiceWhenItIsNamedTwice)
{
    mTree.Project("client", "1.0.0.0", {{"a.txt", "a"}});
    Start(mTree.Solution("suite", "1.0.0.0", {{"client", "1.0.0.0", 1}}, {"client", "CLIENT"}));
    EXPECT_EQ(Content("a.txt"), "a");
    EXPECT_EQ(List("*"), Names({"a.txt"}));
    ExpectFailures({});
}

TEST_F(SolutionCallsTest, ServeNothingFromAnEmptyConfiguration)
{
    mTree.Project("client", "1.0.0.0", {{"a.txt", "a"}});
    Start(mTree.Solution("suite", "1.0.0.0", {{"client", "1.0.0.0", 1}}, {}));
    EXPECT_EQ(MorvFileExists("a.txt"), 0u);
    EXPECT_EQ(List("*"), Names({"<null>"}));
    ExpectFailures({});
}
} // namespace
} // namespace Keld::Test
