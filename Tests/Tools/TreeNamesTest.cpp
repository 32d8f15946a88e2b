#include "Tools/TreeWriter/TreeNames.h"

#include "Support/TempTree.h"

#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeReader/TreeText.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace Keld::Test
{
namespace
{
using TreeReader::TreeError;
using TreeWriter::RequireRootForSolutions;
using TreeWriter::RequireUsableName;
using TreeWriter::RequireUsableRoot;

TEST(TreeNamesTest, RefusesNamesThatTheReaderWouldNotFindAgain)
{
    for (const char *name : {"", ".", "..", "a/b", "a\\b", "d[1]", "a*", "a?", "a\nb", "projects", "myprojects",
                             "solutions", "releases", "prereleases", "MORV", "XMORV", "solution:suite", "solution:"})
    {
        EXPECT_THROW(RequireUsableName("project", name), TreeError) << name;
    }
    EXPECT_THROW(RequireUsableName("project", std::string(256, 'n')), TreeError);
    for (const char *name : {"client", "projects2", "morv", "Releases", "a b", "ä", "a:b", "solution"})
    {
        EXPECT_NO_THROW(RequireUsableName("project", name)) << name;
    }
}

TEST(TreeNamesTest, TheRootIsNamedAsTheReaderLooksForIt)
{
    const TempTree tree;
    EXPECT_EQ(RequireUsableRoot(tree.Path("new/MORV")), tree.Path("new/MORV"));
    EXPECT_EQ(RequireUsableRoot(tree.Path("new/MORV/")), tree.Path("new/MORV"));
    EXPECT_EQ(RequireUsableRoot(tree.Path("new/../MORV")), tree.Path("MORV"));
    EXPECT_THROW(RequireUsableRoot(tree.Path("morv")), TreeError);
    EXPECT_THROW(RequireUsableRoot(tree.Path("a[1]/MORV")), TreeError);
    tree.Write("MORV", "a file");
    EXPECT_THROW(RequireUsableRoot(tree.Path("MORV")), TreeError);
}

TEST(TreeNamesTest, OfARootThatIsALinkTheOtherEndIsToldAndNoFalseAdvice)
{
    const TempTree tree;
    std::filesystem::create_directory_symlink(tree.MakeDirectory("store"), tree.Path("MORV"));
    try
    {
        RequireUsableRoot(tree.Path("MORV"));
        FAIL() << "a root that is not named MORV";
    }
    catch (const TreeError &error)
    {
        EXPECT_NE(std::string(error.what()).find("is a link to one that is not: " + tree.Path("store")),
                  std::string::npos)
            << error.what();
    }
}

TEST(TreeNamesTest, NoSolutionLiesBelowTheWordOfProjects)
{
    EXPECT_THROW(RequireRootForSolutions("/home/me/projects/MORV"), TreeError);
    EXPECT_NO_THROW(RequireRootForSolutions("/home/me/project/MORV"));
}

TEST(TreeNamesTest, AVersionIsReadInItsOwnFormAlone)
{
    EXPECT_EQ(TreeReader::ParseVersionText("1.2.3.255"), 0x010203FFu);
    for (const char *text : {"", "1.2.3", "1.2.3.256", "01.2.3.4", "1.2.3.4.5", "1.2.3.4 ", "+1.2.3.4", "a"})
    {
        EXPECT_THROW(TreeReader::ParseVersionText(text), TreeError) << text;
    }
}
} // namespace
} // namespace Keld::Test
