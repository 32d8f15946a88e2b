#include "KeldMorvIO/environment/RuntimeEnvironment.h"

#include "KeldMorvIO/environment/MultiListingIterator.h"
#include "Support/ReaderLogCapture.h"
#include "Support/TestTree.h"

#include <gtest/gtest.h>

namespace Keld::Test
{
namespace
{
using namespace MORV::Reader;

class RuntimeEnvironmentTest : public testing::Test
{
protected:
    // A project without a manifest gives an environment all the same, which tells what was made of the path.
    static std::unique_ptr<RuntimeEnvironment> Create(const std::string &path)
    {
        return std::unique_ptr<RuntimeEnvironment>(RuntimeEnvironment::Create(path.c_str()));
    }

    static void ExpectRoot(const std::string &path, const std::string &root, const std::string &deployRoot)
    {
        SCOPED_TRACE(path);
        const std::unique_ptr<RuntimeEnvironment> environment = Create(path);
        ASSERT_NE(environment, nullptr);
        EXPECT_EQ(environment->GetMorvRoot(), root);
        EXPECT_EQ(environment->GetDeployRoot(), deployRoot);
        EXPECT_TRUE(environment->GetListings().empty());
    }

    TestTree mTree;
    ReaderLogCapture mLog;
};

TEST_F(RuntimeEnvironmentTest, CutsTheRootBehindTheLastKeyword)
{
    ExpectRoot("/a/MORV/projects/x/releases/1.2.3.4", "/a/MORV", "/a/MORV/projects/x/releases/1.2.3.4/deploy");
    ExpectRoot("/a/MORV/projects/x/releases/1.2.3.4/deploy/", "/a/MORV", "/a/MORV/projects/x/releases/1.2.3.4/deploy");
    ExpectRoot("/a/MORV/b/MORV/projects/x/releases/1.2.3.4", "/a/MORV/b/MORV",
               "/a/MORV/b/MORV/projects/x/releases/1.2.3.4/deploy");
    ExpectRoot("/a/XMORV/projects/x/releases/1.2.3.4", "/a/XMORV", "/a/XMORV/projects/x/releases/1.2.3.4/deploy");
    ExpectRoot("/a/MORV/projects/x/releases/1.2.3.4/deploy/MORV/", "/a/MORV/projects/x/releases/1.2.3.4/deploy/MORV",
               "/a/MORV/projects/x/releases/1.2.3.4/deploy/MORV/projects/x/releases/1.2.3.4/deploy");
    ExpectRoot("MORV/projects/x/releases/1.2.3.4", "MORV", "MORV/projects/x/releases/1.2.3.4/deploy");
}

TEST_F(RuntimeEnvironmentTest, ConvertsBackslashes)
{
    ExpectRoot("C:\\a\\MORV\\projects\\x\\releases\\1.2.3.4", "C:/a/MORV",
               "C:/a/MORV/projects/x/releases/1.2.3.4/deploy");
}

TEST_F(RuntimeEnvironmentTest, TakesTheWholePathForTheRootWhereThereIsNone)
{
    ExpectRoot("/a/morv/projects/x/releases/1.2.3.4", "/a/morv/projects/x/releases/1.2.3.4",
               "/a/morv/projects/x/releases/1.2.3.4/projects/x/releases/1.2.3.4/deploy");
    ExpectRoot("/a/projects/x/releases/1.2.3.4//", "/a/projects/x/releases/1.2.3.4/",
               "/a/projects/x/releases/1.2.3.4/projects/x/releases/1.2.3.4/deploy");
}

TEST_F(RuntimeEnvironmentTest, NormalisesTheVersionThatItLooksFor)
{
    mTree.Project("atlas", "1.2.3.4", {{"a.txt", "a"}});
    for (const std::string version : {"1.2.3.4", "01.02.03.04", "1.2.3.4x", "+1.2.3.4-beta"})
    {
        const std::unique_ptr<RuntimeEnvironment> environment =
            Create(mTree.Path("projects/atlas/releases/" + version));
        ASSERT_NE(environment, nullptr);
        EXPECT_EQ(environment->GetListings().size(), 1u) << version;
        EXPECT_EQ(environment->GetVersion(), 0x01020304u);
    }
}

TEST_F(RuntimeEnvironmentTest, LoadsTheProjectThroughADirectoryThatTheTreeDoesNotHave)
{
    mTree.Project("atlas", "1.2.3.4", {{"a.txt", "a"}});
    const std::unique_ptr<RuntimeEnvironment> environment =
        Create(mTree.Path("projects/atlas/sub/releases/1.2.3.4/deploy/deeper"));
    ASSERT_NE(environment, nullptr);
    EXPECT_EQ(environment->GetListings().size(), 1u);
    EXPECT_EQ(environment->GetMorvRoot(), mTree.Root());
    EXPECT_EQ(environment->GetDeployRoot(), mTree.Path("projects/atlas/releases/1.2.3.4/deploy"));
}

TEST_F(RuntimeEnvironmentTest, KeepsWhatItHasLoaded)
{
    mTree.Project("client", "1.0.0.0", {{"a.txt", "a"}});
    mTree.Project("data", "2.0.0.0", {{"a.txt", "a"}, {"b.txt", "b"}});
    const std::unique_ptr<RuntimeEnvironment> environment =
        Create(mTree.Solution("suite", "0.0.1.7", {{"client", "1.0.0.0", 10}, {"data", "2.0.0.0", 20}}));
    ASSERT_NE(environment, nullptr);
    EXPECT_EQ(environment->GetRuntimeType(), RuntimeEnvironment::RuntimeTypeSolution);
    EXPECT_EQ(environment->GetName(), "suite");
    EXPECT_EQ(environment->GetVersion(), 0x00000107u);
    EXPECT_EQ(environment->GetMorvRoot(), mTree.Root());
    EXPECT_EQ(environment->GetDeployRoot(), mTree.Path("solutions/suite/releases/0.0.1.7/deploy"));
    ASSERT_EQ(environment->GetListings().size(), 2u);
    EXPECT_STREQ(environment->GetListings()[0]->GetProjectName(), "data");
    EXPECT_STREQ(environment->GetListings()[1]->GetProjectName(), "client");
}

TEST_F(RuntimeEnvironmentTest, OrdersListingsByPriorityAndEqualOnesByName)
{
    using ListingNames = std::vector<std::string>;
    const auto listingsOf = [this](const std::vector<SolutionProject> &projects)
    {
        for (const SolutionProject &project : projects)
        {
            mTree.Project(project.name, project.version, {{"a.txt", "a"}});
        }
        const std::unique_ptr<RuntimeEnvironment> environment = Create(mTree.Solution("suite", "0.0.1.7", projects));
        ListingNames names;
        for (const ProjectListing *const listing : environment->GetListings())
        {
            names.push_back(listing->GetProjectName());
        }
        return names;
    };
    EXPECT_EQ(listingsOf({{"one", "1.0.0.0", 10}, {"two", "1.0.0.0", 20}}), ListingNames({"two", "one"}));
    EXPECT_EQ(listingsOf({{"two", "1.0.0.0", 20}, {"one", "1.0.0.0", 10}}), ListingNames({"two", "one"}));
    EXPECT_EQ(listingsOf({{"b", "1.0.0.0", 5}, {"A", "1.0.0.0", 5}, {"c", "1.0.0.0", 5}}),
              ListingNames({"A", "b", "c"}));
    EXPECT_EQ(listingsOf({{"c", "1.0.0.0", 5}, {"b", "1.0.0.0", 5}, {"A", "1.0.0.0", 5}}),
              ListingNames({"A", "b", "c"}));
    EXPECT_EQ(listingsOf({{"low", "1.0.0.0", 0x7FFFFFFF}, {"high", "1.0.0.0", 0x80000000}}),
              ListingNames({"high", "low"}));

    // More than a short sort would keep in order by chance.
    std::vector<SolutionProject> many;
    ListingNames expected;
    for (char name = 'z'; name >= 'a'; --name)
    {
        many.push_back({std::string(1, name), "1.0.0.0", name == 'q' ? 8u : 7u});
    }
    expected.push_back("q");
    for (char name = 'a'; name <= 'z'; ++name)
    {
        if (name != 'q')
        {
            expected.push_back(std::string(1, name));
        }
    }
    EXPECT_EQ(listingsOf(many), expected);
}

TEST_F(RuntimeEnvironmentTest, FindsTheEntryOfTheFirstListingThatHasThePath)
{
    mTree.Project("client", "1.0.0.0", {{"both/x", "a"}, {"client.txt", "c"}});
    mTree.Project("data", "2.0.0.0", {{"both", "file"}, {"data.txt", "d"}});
    const std::unique_ptr<RuntimeEnvironment> environment =
        Create(mTree.Solution("suite", "0.0.1.7", {{"client", "1.0.0.0", 20}, {"data", "2.0.0.0", 10}}));
    ASSERT_NE(environment, nullptr);
    ASSERT_EQ(environment->GetListings().size(), 2u);
    ProjectListing *const client = environment->GetListings()[0];
    ProjectListing *const data = environment->GetListings()[1];

    EXPECT_EQ(environment->FindEntry("client.txt").first, client);
    EXPECT_EQ(environment->FindEntry("data.txt").first, data);
    EXPECT_EQ(environment->FindEntry("").first, client);
    const auto both = environment->FindEntry("both");
    EXPECT_EQ(both.first, client);
    EXPECT_TRUE(ProjectListing::IsDirectory(both.second));
    const auto none = environment->FindEntry("neither");
    EXPECT_EQ(none.first, nullptr);
    EXPECT_EQ(none.second, nullptr);
}

TEST_F(RuntimeEnvironmentTest, LeavesTheOutParametersAloneWhenItCannotCollect)
{
    for (const auto type : {RuntimeEnvironment::RuntimeTypeProject, RuntimeEnvironment::RuntimeTypeSolution})
    {
        std::string deployRoot = "before";
        std::vector<ProjectListing *> listings;
        EXPECT_FALSE(RuntimeEnvironment::CollectProjects(type, std::string(1020, 'r').c_str(), "x", "1.2.3.4",
                                                         deployRoot, listings));
        EXPECT_EQ(deployRoot, "before");
        EXPECT_TRUE(listings.empty());
    }
    std::string deployRoot = "before";
    std::vector<ProjectListing *> listings;
    EXPECT_FALSE(RuntimeEnvironment::CollectProjects(RuntimeEnvironment::RuntimeTypeSolution, mTree.Root().c_str(),
                                                     "suite", "1.2.3.4", deployRoot, listings));
    EXPECT_EQ(deployRoot, "before");
    EXPECT_TRUE(listings.empty());
}

TEST_F(RuntimeEnvironmentTest, EmptiesTheListingsWhenOneProjectOfASolutionIsMissing)
{
    mTree.Project("client", "1.0.0.0", {{"a.txt", "a"}});
    mTree.Solution("suite", "0.0.1.7", {{"client", "1.0.0.0", 20}, {"data", "2.0.0.0", 10}});
    std::string deployRoot = "before";
    std::vector<ProjectListing *> listings;
    EXPECT_FALSE(RuntimeEnvironment::CollectProjects(RuntimeEnvironment::RuntimeTypeSolution, mTree.Root().c_str(),
                                                     "suite", "0.0.1.7", deployRoot, listings));
    EXPECT_TRUE(listings.empty());
    EXPECT_EQ(deployRoot, "before");
}

TEST_F(RuntimeEnvironmentTest, SetsTheDeployRootOfAProjectThatCannotBeLoaded)
{
    std::string deployRoot = "before";
    std::vector<ProjectListing *> listings;
    EXPECT_TRUE(RuntimeEnvironment::CollectProjects(RuntimeEnvironment::RuntimeTypeProject, "/a/MORV", "x", "1.2.3.4",
                                                    deployRoot, listings));
    EXPECT_EQ(deployRoot, "/a/MORV/projects/x/releases/1.2.3.4/deploy");
    EXPECT_TRUE(listings.empty());
}

TEST_F(RuntimeEnvironmentTest, LetsTheDeployRootBeLongerThanAPathBuffer)
{
    const std::string end = "/projects/x/releases/1.2.3.4";
    const std::string root(1023 - end.size(), 'r');
    std::string deployRoot;
    std::vector<ProjectListing *> listings;
    EXPECT_TRUE(RuntimeEnvironment::CollectProjects(RuntimeEnvironment::RuntimeTypeProject, root.c_str(), "x",
                                                    "1.2.3.4", deployRoot, listings));
    EXPECT_EQ(deployRoot, root + end + "/deploy");
}

TEST_F(RuntimeEnvironmentTest, TakesTheTextsOfItsConstructorOver)
{
    std::string root = "/a/MORV";
    std::string deployRoot = "/a/MORV/projects/x/releases/1.2.3.4/deploy";
    std::string name = "x";
    std::vector<ProjectListing *> listings;
    const RuntimeEnvironment environment(root, deployRoot, listings, RuntimeEnvironment::RuntimeTypeProject, name,
                                         0x01020304);
    EXPECT_EQ(root, "");
    EXPECT_EQ(deployRoot, "");
    EXPECT_EQ(name, "");
    EXPECT_EQ(environment.GetName(), "x");
    static_assert(sizeof(RuntimeEnvironment::RuntimeType) == 4);
}

} // namespace
} // namespace Keld::Test
