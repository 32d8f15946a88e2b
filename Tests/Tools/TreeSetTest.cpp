#include "Tools/OpenedRelease.h"

#include "Support/AsNobody.h"

#include "KeldFoundation/CStd/LargeVector.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace Keld::Test
{
namespace
{
using TreeReader::FaultKind;
using TreeReader::ResolveReference;

constexpr const char *SolutionText = "MORV Solution Manifest\n1.0.0.0\nsuite\n0.0.1.0\n2\nB\n1.0.0.0\n7\n0\n"
                                     "a\n1.0.0.0\n7\n0\n0\n";
constexpr const char *ConfigurationText = "MORV Configuration Manifest\n1.0.0.0\nall\n2\nB\na\n";

/// A solution of two projects with equal priorities.
class TreeSetTest : public PackFixture
{
protected:
    TreeSetTest()
    {
        for (const std::string project : {"a", "B"})
        {
            mTree.Write(project + "/shared", "from " + project);
            mTree.Write(project + "/dir/" + project, "");
            TreeWriter::PackRequest request = Request(TreeReader::Storage::Naked);
            request.source = mTree.Path(project);
            request.project = project;
            TreeWriter::PackRelease(request);
        }
        mTree.Write(Solution + "/solutionmanifest", SolutionText);
        mTree.Write(Solution + "/configurationmanifest", ConfigurationText);
    }

    void ExpectReference(const std::string &text, const std::string &directory, const std::string &name)
    {
        const auto reference = ResolveReference(text, mTree.Path(directory));
        ASSERT_TRUE(reference) << reference.GetFault().GetMessage();
        EXPECT_EQ(reference->root, mTree.Path("MORV"));
        EXPECT_EQ(reference->name.GetText(), name);
    }

    void ExpectOpenFault(FaultKind kind, const std::string &text)
    {
        TreeReader::TreeSet trees;
        const auto view = trees.Open("", mTree.Path(Solution));
        ASSERT_FALSE(view);
        EXPECT_STREQ(NameOf(view.GetFault().kind), NameOf(kind));
        EXPECT_NE(view.GetFault().GetMessage().find(text), std::string::npos) << view.GetFault().GetMessage();
    }

    const std::string Solution = "MORV/solutions/suite/releases/0.0.1.0";
};

TEST_F(TreeSetTest, AReferenceIsADirectoryOrAName)
{
    ExpectReference("", "MORV/projects/a/releases/1.0.0.0/deploy/dir", "a 1.0.0.0");
    ExpectReference("", "MORV/projects/a/releases/1.0.0.0/MORV", "a 1.0.0.0"); // the root's name counts above others
    ExpectReference("", Solution, "solution suite 0.0.1.0");
    ExpectReference("B/1.0.0.0", Solution, "B 1.0.0.0");
    ExpectReference("B/1.0.0.0", "MORV", "B 1.0.0.0");
    ExpectReference("solution:suite/0.0.1.0", "MORV/projects", "solution suite 0.0.1.0");
    ExpectReference("a/releases/1.0.0.0", "MORV/projects", "a 1.0.0.0");
    ExpectReference(mTree.Path(Solution), "", "solution suite 0.0.1.0");
    ExpectReference("../../../B/releases/1.0.0.0", "MORV/projects/a/releases/1.0.0.0", "B 1.0.0.0");
    EXPECT_EQ(ResolveReference("a/1.0.0.0", "/", "/srv/MORV")->root, "/srv/MORV");
}

TEST_F(TreeSetTest, ADirectoryIsResolvedBeforeItsNamesCount)
{
    std::filesystem::create_directory_symlink("1.0.0.0", mTree.Path("MORV/projects/a/releases/current"));
    std::filesystem::create_directory_symlink(mTree.Path("MORV/projects/B/releases/1.0.0.0"),
                                              mTree.Path("MORV/projects/a/releases/1.0.0.0/other"));
    ExpectReference("./current", "MORV/projects/a/releases", "a 1.0.0.0");
    ExpectReference("other", "MORV/projects/a/releases/1.0.0.0", "B 1.0.0.0");
    ExpectReference("other/../1.0.0.0/deploy", "MORV/projects/a/releases/1.0.0.0", "B 1.0.0.0");
}

TEST_F(TreeSetTest, ARootThatIsALinkIsFoundByItsName)
{
    std::filesystem::rename(mTree.Path("MORV"), mTree.Path("store"));
    std::filesystem::create_directory_symlink("store", mTree.Path("MORV"));
    ExpectReference(mTree.Path("MORV/projects/a/releases/1.0.0.0/../1.0.0.0"), "", "a 1.0.0.0");
}

TEST_F(TreeSetTest, NothingStandsBehindAVersion)
{
    for (const std::string text : {"1.0.0.0-beta", "1.0.0.0x", "1.0.0.0.9", "1.0.0.0,1.0.0.1", "+1.0.0.0", "01.0.0.0"})
    {
        EXPECT_FALSE(ResolveReference("a/" + text, mTree.Path("MORV"))) << text;
    }
}

TEST_F(TreeSetTest, WhatNamesNoReleaseIsRefusedWithAdvice)
{
    const auto nowhere = ResolveReference("", mTree.Root());
    ASSERT_FALSE(nowhere);
    EXPECT_EQ(nowhere.GetFault().kind, FaultKind::NoRelease);
    EXPECT_NE(nowhere.GetFault().text.find("lies in no release: change to ROOT/MORV/projects"), std::string::npos);
    const auto misnamed = ResolveReference("", "/srv/morv/projects/a/releases/1.0.0.0");
    ASSERT_FALSE(misnamed);
    EXPECT_NE(misnamed.GetFault().text.find("lies in no directory named MORV"), std::string::npos);
    EXPECT_FALSE(ResolveReference("a/1.0.0.0", "/"));
    EXPECT_FALSE(ResolveReference("a/1.0.0", mTree.Path("MORV")));
    // A slip of the hand must not mean the release around it.
    const auto slip = ResolveReference("nonsense", mTree.Path(Solution));
    ASSERT_FALSE(slip);
    EXPECT_EQ(slip.GetFault().GetMessage(),
              "nonsense: is neither a directory nor a release, as client/1.0.0.0 or solution:suite/0.0.1.0");
}

TEST_F(TreeSetTest, ListsProjectsReleasesAndSolutions)
{
    mTree.MakeDirectory("MORV/projects/empty");
    mTree.MakeDirectory("MORV/projects/a/releases/2.0.0.0");
    mTree.Write("MORV/projects/a/releases/01.0.0.0/releasemanifest", "another spelling that is never looked for");
    TreeReader::TreeSet trees;
    const TreeReader::Tree &tree = trees.GetTree(mTree.Path("MORV"));
    EXPECT_EQ(*tree.ListProjects(), (std::vector<std::string>{"B", "a"}));
    EXPECT_EQ(*tree.ListSolutions(), std::vector<std::string>{"suite"});
    EXPECT_EQ(*tree.ListReleases("a"), std::vector<MorvVersion>{First});
    EXPECT_EQ(*tree.ListSolutionReleases("suite"), std::vector<MorvVersion>{0x00000100});
    EXPECT_TRUE(trees.GetTree("/nowhere/MORV").ListProjects()->empty());
}

TEST_F(TreeSetTest, WhatCannotBeLookedAtIsNotTakenForMissing)
{
    const std::string closed[] = {mTree.Path("MORV/projects/a"), mTree.Path("MORV/projects/B/releases/1.0.0.0")};
    std::filesystem::permissions(mTree.Root(), std::filesystem::perms(0755));
    for (const std::string &directory : closed)
    {
        std::filesystem::permissions(directory, std::filesystem::perms(0));
    }
    {
        const AsNobody nobody;
        const TreeReader::Tree tree(mTree.Path("MORV"));
        ASSERT_FALSE(tree.ListProjects());
        EXPECT_EQ(tree.ListProjects().GetFault().kind, FaultKind::NotAllowed);
        EXPECT_EQ(tree.ListProjects().GetFault().path, closed[0] + "/releases");
        EXPECT_FALSE(tree.ListReleases("B"));
        TreeReader::Tree::Doubts doubts;
        EXPECT_EQ(*tree.ListProjects(&doubts), std::vector<std::string>{"B"});
        EXPECT_TRUE(tree.ListReleases("B", &doubts)->empty());
        ASSERT_EQ(doubts.size(), 2U);
        EXPECT_EQ(doubts[1].path, closed[1] + "/releasemanifest");
    }
    for (const std::string &directory : closed)
    {
        std::filesystem::permissions(directory, std::filesystem::perms(0755));
    }
}

TEST_F(TreeSetTest, AReleaseIsOpenedOnce)
{
    TreeReader::TreeSet trees;
    TreeReader::Tree &tree = trees.GetTree(mTree.Path("MORV"));
    const auto first = tree.OpenRelease("a", First);
    EXPECT_EQ(*first, *tree.OpenRelease("a", First));
    const auto missing = tree.OpenRelease("a", Second);
    ASSERT_FALSE(missing);
    EXPECT_NE(missing.GetFault().text.find("there is no release 1.0.0.1 of the project a"), std::string::npos);
}

TEST_F(TreeSetTest, AManifestThatSomebodyHasParsedIsTakenWhereTheFileHasItsBytes)
{
    const std::string bytes = mTree.Read("MORV/projects/a/releases/1.0.0.0/releasemanifest");
    const LargeVector<char> image(bytes.begin(), bytes.end());
    LargeVector<char> copy = image;
    auto parsed = TreeReader::ManifestTree::Parse(copy, "");
    ASSERT_TRUE(parsed);
    const std::shared_ptr<const TreeReader::ManifestTree> manifest = std::move(*parsed);
    TreeReader::Tree tree(mTree.Path("MORV"));
    tree.KnowManifest("a", 0x01000000, image, manifest);
    tree.KnowManifest("B", 0x01000000, image, manifest);
    EXPECT_EQ(&(*tree.OpenRelease("a", 0x01000000))->GetTree(), manifest.get());
    EXPECT_EQ((*tree.OpenRelease("B", 0x01000000))->GetProject(), "B") << "what lies on the disk counts";
}

TEST_F(TreeSetTest, TheFirstLayerWinsAndHidesTheOthers)
{
    TreeReader::TreeSet trees;
    const auto view = trees.Open("", mTree.Path(Solution));
    ASSERT_TRUE(view);
    EXPECT_EQ(view->GetConfiguration(), "all");
    EXPECT_EQ(view->GetNotes(), std::vector<std::string>{"a and B have the same priority, 7: a wins, by its name"});
    const auto hits = view->FindAll("SHARED");
    ASSERT_EQ(hits.size(), 2u);
    EXPECT_EQ(view->GetLayers()[hits[0].layer].project, "a");
    EXPECT_EQ(view->Find("shared").layer, hits[0].layer);
    std::vector<std::string> names;
    for (const auto entries = view->Enumerate("dir"); entries->IsValid(); entries->Next())
    {
        names.emplace_back(entries->GetCurrent().GetName());
    }
    EXPECT_EQ(names, (std::vector<std::string>{"a", "B"}));
    EXPECT_EQ(view->Enumerate("shared"), nullptr);
}

TEST_F(TreeSetTest, ATypedPathMayBeginAsInAShell)
{
    TreeReader::TreeSet trees;
    const auto view = trees.Open("", mTree.Path(Solution));
    for (const std::string typed : {"shared", "dir/", "", "/", ".", "./", "nothing"})
    {
        EXPECT_EQ(view->ResolveTyped(typed).note, "") << typed;
    }
    EXPECT_EQ(view->ResolveTyped("dir//").path, "dir");
    EXPECT_EQ(view->ResolveTyped("/").path, "");
    for (const std::string typed : {"./shared", "/shared", "//shared", "././shared"})
    {
        EXPECT_EQ(view->ResolveTyped(typed).path, "shared") << typed;
        EXPECT_EQ(view->ResolveTyped(typed).note, typed + ": a program that loads the library must ask for \"shared\"");
    }
}

TEST_F(TreeSetTest, ASolutionThatCannotBeUsedTellsTheCauseAlone)
{
    mTree.Write(Solution + "/solutionmanifest", "MORV Solution\n");
    ExpectOpenFault(FaultKind::BadSolution, "solutionmanifest: cannot be used: Magic string does not match");
    mTree.Write(Solution + "/solutionmanifest", SolutionText);
    mTree.Write(Solution + "/configurationmanifest", "MORV Configuration Manifest\n1.0.0.0\nall\n1\nc\n");
    ExpectOpenFault(FaultKind::BadSolution, "configurationmanifest: cannot be used: Failed to find project c");
    mTree.Remove(Solution + "/configurationmanifest");
    ExpectOpenFault(FaultKind::NotThere, "configurationmanifest: is missing");
    mTree.Write(Solution + "/configurationmanifest", ConfigurationText);
    mTree.Remove("MORV/projects/B");
    ExpectOpenFault(FaultKind::NotThere, "there is no release 1.0.0.0 of the project B");
}
} // namespace
} // namespace Keld::Test
