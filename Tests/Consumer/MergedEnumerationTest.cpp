#include "Support/ReleaseFixture.h"

#include <algorithm>
#include <random>
#include <utility>

namespace Keld::Test
{
namespace
{
// The directory "d" of one project: names, with a '/' behind those of directories.
using Children = std::vector<std::string>;

class MergedEnumerationTest : public ReleaseFixture
{
protected:
    // Lays out and starts a solution; the first project is searched first. A file's content is the number of its
    // project and a file "keep" beside the directory keeps each project from being empty.
    void StartWith(const std::vector<Children> &projects)
    {
        MorvShutdown();
        std::vector<SolutionProject> bound;
        for (std::size_t index = 0; index < projects.size(); ++index)
        {
            const std::string name = "project" + std::to_string(index);
            std::vector<ReleaseFile> files = {{"keep", "k"}};
            for (const std::string &child : projects[index])
            {
                files.push_back({"d/" + child, std::string(index + 1, 'x')});
            }
            mTree.Project(name, "1.0.0.0", files);
            bound.push_back({name, "1.0.0.0", static_cast<std::uint32_t>(1000 - index)});
        }
        Start(mTree.Solution("suite", "0.0.1.7", bound));
    }

    Names Enumerate(const std::vector<Children> &projects)
    {
        StartWith(projects);
        return List("d/*");
    }
};

TEST_F(MergedEnumerationTest, ShowsAllSubdirectoriesFirstWhileTheFirstProjectHasSome)
{
    EXPECT_EQ(Enumerate({{"a/", "y"}, {"b/", "x"}}), Names({"a/", "b/", "x", "y"}));
}

TEST_F(MergedEnumerationTest, LetsTheFilesOfTheFirstProjectCompeteWithLaterSubdirectories)
{
    EXPECT_EQ(Enumerate({{"x/", "b", "c"}, {"z/"}}), Names({"x/", "b", "c", "z/"}));
}

TEST_F(MergedEnumerationTest, DropsASubdirectoryThatMeetsAnEarlierFileOfItsName)
{
    EXPECT_EQ(Enumerate({{"m"}, {"m/", "p/"}}), Names({"m", "p/"}));
}

TEST_F(MergedEnumerationTest, ShowsOneNameOfTwoKindsTwiceWhenTheDirectoryIsTheEarlier)
{
    EXPECT_EQ(Enumerate({{"a/"}, {"a"}}), Names({"a/", "a"}));
    EXPECT_EQ(Enumerate({{"a"}, {"a/"}}), Names({"a"}));
}

TEST_F(MergedEnumerationTest, ShowsANameOnceWithTheSizeOfTheHighestPriority)
{
    StartWith({{"a", "c"}, {"A", "b"}, {"a"}});
    EXPECT_EQ(List("d/*"), Names({"a", "b", "c"}));
    FindHandle *const handle = MorvFindFirstFile("d/a");
    ASSERT_NE(handle, nullptr);
    std::uint64_t size = 0;
    ASSERT_EQ(MorvFindNextFile(handle, nullptr, &size, 0, nullptr), S_OK);
    EXPECT_EQ(size, 1u);
    EXPECT_EQ(MorvFindNextFile(handle, nullptr, &size, 0, nullptr), E_FAIL);
    MorvFindClose(handle);
}

TEST_F(MergedEnumerationTest, PassesOverProjectsWithoutTheDirectory)
{
    EXPECT_EQ(Enumerate({{}, {"b"}, {}, {"a"}}), Names({"a", "b"}));
    EXPECT_EQ(Enumerate({{}, {}}), Names({"<null>"}));
}

TEST_F(MergedEnumerationTest, ListsTheDirectoryOfALaterProjectBehindAFileOfItsPath)
{
    mTree.Project("first", "1.0.0.0", {{"thing", "a file"}});
    mTree.Project("second", "1.0.0.0", {{"thing/inside", "x"}});
    Start(mTree.Solution("suite", "1.0.0.0", {{"first", "1.0.0.0", 2}, {"second", "1.0.0.0", 1}}));
    EXPECT_EQ(List("thing/*"), Names({"inside"}));
    EXPECT_EQ(Content("thing"), "a file");
}

TEST_F(MergedEnumerationTest, DropsAnIteratorThatRunsOutInATieAndLooksAtTheNextInItsPlace)
{
    EXPECT_EQ(Enumerate({{"a", "z"}, {"a"}, {"a"}, {"b"}}), Names({"a", "b", "z"}));
    EXPECT_EQ(Enumerate({{"a/"}, {"a/"}, {"a/", "b/"}, {"a/"}}), Names({"a/", "b/"}));
}

TEST_F(MergedEnumerationTest, MatchesPatternsAgainstTheMergedNames)
{
    StartWith({{"a.dds", "b.txt"}, {"A.DDS", "c.dds"}});
    EXPECT_EQ(List("d/*.dds"), Names({"a.dds", "c.dds"}));
    EXPECT_EQ(List("d/?.txt"), Names({"b.txt"}));
}

// The rule, over plain lists: what each project has left, none of which is empty.
class EnumerationModel
{
public:
    explicit EnumerationModel(std::vector<Children> projects)
    {
        for (Children &children : projects)
        {
            std::sort(children.begin(), children.end(),
                      [](const std::string &lhs, const std::string &rhs)
                      {
                          return std::pair(!IsDirectory(lhs), Name(lhs)) < std::pair(!IsDirectory(rhs), Name(rhs));
                      });
            mLeft.push_back(std::move(children));
        }
    }

    Children Run()
    {
        Children shown;
        for (Forget(); !mLeft.empty(); Forget())
        {
            shown.push_back(Pick());
        }
        return shown;
    }

private:
    static bool IsDirectory(const std::string &child) { return child.ends_with('/'); }
    static std::string Name(const std::string &child) { return child.substr(0, child.find('/')); }

    void Forget()
    {
        std::erase_if(mLeft,
                      [](const Children &children)
                      {
                          return children.empty();
                      });
    }

    std::string Pick()
    {
        const bool anyDirectory = std::any_of(mLeft.begin(), mLeft.end(),
                                              [](const Children &children)
                                              {
                                                  return IsDirectory(children.front());
                                              });
        std::size_t best = 0;
        for (std::size_t index = 1; index < mLeft.size(); ++index)
        {
            const std::string candidate = mLeft[index].front();
            const std::string leader = mLeft[best].front();
            if (IsDirectory(candidate) == anyDirectory && Name(candidate) <= Name(leader))
            {
                // A tie costs the later project its entry at once.
                if (Name(candidate) == Name(leader))
                {
                    mLeft[index].erase(mLeft[index].begin());
                    if (mLeft[index].empty())
                    {
                        mLeft.erase(mLeft.begin() + static_cast<std::ptrdiff_t>(index));
                        --index;
                    }
                    continue;
                }
                best = index;
            }
        }
        std::string picked = mLeft[best].front();
        mLeft[best].erase(mLeft[best].begin());
        return picked;
    }

    std::vector<Children> mLeft;
};

Children RandomChildren(std::mt19937 &random)
{
    Children children;
    for (const char name : std::string("abcdefg"))
    {
        // A directory never has two children of one name, whatever their kind.
        switch (random() % 4)
        {
        case 0:
            children.push_back(std::string(1, name) + "/");
            break;
        case 1:
            children.push_back(std::string(1, name));
            break;
        default:
            break;
        }
    }
    std::shuffle(children.begin(), children.end(), random);
    return children;
}

TEST_F(MergedEnumerationTest, AgreesWithAModelOfTheRuleOverRandomProjects)
{
    constexpr std::size_t directoryCount = 40;
    std::mt19937 random(20101);
    for (std::size_t projectCount = 1; projectCount <= 5; ++projectCount)
    {
        SCOPED_TRACE(std::to_string(projectCount) + " projects");
        // Each directory of the solution is a round of its own.
        std::vector<Children> projects(projectCount);
        std::vector<std::vector<Children>> rounds(directoryCount);
        for (Children &project : projects)
        {
            for (std::size_t directory = 0; directory < directoryCount; ++directory)
            {
                const Children children = RandomChildren(random);
                for (const std::string &child : children)
                {
                    project.push_back(std::to_string(directory) + "/" + child);
                }
                if (!children.empty())
                {
                    rounds[directory].push_back(children);
                }
            }
        }
        StartWith(projects);
        for (std::size_t directory = 0; directory < directoryCount; ++directory)
        {
            SCOPED_TRACE("directory " + std::to_string(directory));
            const Children expected =
                rounds[directory].empty() ? Children{"<null>"} : EnumerationModel(rounds[directory]).Run();
            EXPECT_EQ(List("d/" + std::to_string(directory) + "/*"), expected);
        }
        for (std::size_t index = 0; index < projectCount; ++index)
        {
            mTree.Disk().Remove("MORV/projects/project" + std::to_string(index));
        }
    }
}
} // namespace
} // namespace Keld::Test
