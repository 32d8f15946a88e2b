#include "Tools/HandmadeTree.h"

#include "Tools/TreeMount/DirectoryWalk.h"
#include "Tools/TreeMount/MountedTree.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

namespace Keld::Test
{
namespace
{
using TreeMount::DirectoryWalk;
using TreeMount::IsSameNode;
using TreeMount::MountedTree;
using TreeReader::Hit;
using TreeReader::View;

constexpr const char *Suite = "solution:suite/0.0.1.0";

MountedTree Mount(const View &view, const std::string &subdirectory = "")
{
    auto tree = MountedTree::Make(view, subdirectory);
    EXPECT_TRUE(tree) << (tree ? "" : tree.GetFault().GetMessage());
    return std::move(*tree);
}

/// The names that a directory shows, directories with a '/' behind them.
std::vector<std::string> List(const MountedTree &tree, const Hit &directory, const Hit &last = {})
{
    std::vector<std::string> names;
    for (DirectoryWalk walk(tree, directory, last); walk.IsValid(); walk.Next())
    {
        const Hit &child = walk.GetCurrent();
        names.push_back(tree.GetName(child) + std::string(tree.IsDirectory(child) ? "/" : ""));
    }
    return names;
}

/// Steps down a path name by name, as the kernel does.
Hit Descend(const MountedTree &tree, const std::string &path)
{
    Hit node = tree.GetRoot();
    for (std::size_t begin = 0; begin < path.size() && node;)
    {
        const std::size_t end = std::min(path.find('/', begin), path.size());
        node = tree.IsDirectory(node) ? tree.FindChild(node, path.substr(begin, end - begin).c_str()) : Hit{};
        begin = end + 1;
    }
    return node;
}

/// All that can be reached from a directory, with the node that its directory shows.
void Collect(const MountedTree &tree, const Hit &directory, const std::string &prefix,
             std::vector<std::pair<std::string, Hit>> &found)
{
    for (DirectoryWalk walk(tree, directory); walk.IsValid(); walk.Next())
    {
        const Hit child = walk.GetCurrent();
        const std::string path = prefix + tree.GetName(child);
        found.emplace_back(path, child);
        if (tree.IsDirectory(child))
        {
            Collect(tree, child, path + "/", found);
        }
    }
}

class MountedTreeTest : public HandmadeTree
{
protected:
    using Names = std::vector<std::string>;
};

TEST_F(MountedTreeTest, NamesAreFoundInAnyCaseAndShownAsTheyWerePacked)
{
    WriteProject("game", {{"Docs/ReadMe.txt", "x"}, {"docs2/a", "x"}, {"zeta", "x"}, {"Alpha", "x"}});
    const View view = Open("game/1.0.0.0");
    const MountedTree tree = Mount(view);
    EXPECT_EQ(List(tree, tree.GetRoot()), Names({"Docs/", "docs2/", "Alpha", "zeta"}));
    const Hit file = Descend(tree, "dOCS/README.TXT");
    ASSERT_TRUE(file);
    EXPECT_EQ(tree.GetNumber(file), tree.GetNumber(Descend(tree, "Docs/ReadMe.txt")));
    EXPECT_STREQ(tree.GetName(file), "ReadMe.txt");
    EXPECT_FALSE(Descend(tree, "docs/readme"));
    EXPECT_FALSE(Descend(tree, "doc"));
}

TEST_F(MountedTreeTest, EveryNodeHasANumberOfItsOwnAndIsFoundByIt)
{
    WriteProject("a", {{"d/x", "1"}, {"y", "2"}});
    WriteProject("b", {{"d/z", "3"}, {"e/y", "4"}});
    WriteSolution({"a", "b"});
    const View view = Open(Suite);
    const MountedTree tree = Mount(view);
    std::vector<std::pair<std::string, Hit>> all;
    Collect(tree, tree.GetRoot(), "", all);
    std::set<TreeMount::NodeNumber> numbers{TreeMount::RootNode};
    for (const auto &[path, node] : all)
    {
        EXPECT_TRUE(numbers.insert(tree.GetNumber(node)).second) << path;
        EXPECT_TRUE(IsSameNode(tree.GetNode(tree.GetNumber(node)), node)) << path;
    }
    EXPECT_EQ(numbers.size(), 7U);
    EXPECT_TRUE(IsSameNode(tree.GetNode(TreeMount::RootNode), tree.GetRoot()));
}

TEST_F(MountedTreeTest, ANumberThatNoNodeHasIsNone)
{
    WriteProject("game", {{"d/x", "1"}});
    const View view = Open("game/1.0.0.0");
    const MountedTree tree = Mount(view);
    EXPECT_TRUE(tree.GetNode(3));
    for (const TreeMount::NodeNumber number : {uint64{0}, uint64{4}, uint64{1} << 32, ~uint64{0}})
    {
        EXPECT_FALSE(tree.GetNode(number)) << number;
    }
}

TEST_F(MountedTreeTest, LayersAreMergedAndTheFirstWins)
{
    WriteProject("a", {{"both/a", "a"}, {"same", "a"}, {"x/inner", "a"}, {"y", "a"}});
    WriteProject("b", {{"BOTH/b", "b"}, {"Same", "bb"}, {"x", "b"}, {"y/inner", "b"}, {"z/b", "b"}});
    WriteProject("c", {{"x/c", "c"}, {"y/c", "c"}, {"both/B", "c"}});
    WriteSolution({"a", "b", "c"});
    const View view = Open(Suite);
    const MountedTree tree = Mount(view);
    EXPECT_EQ(List(tree, tree.GetRoot()), Names({"both/", "x/", "z/", "same", "y"}));
    EXPECT_EQ(List(tree, Descend(tree, "both")), Names({"a", "b"}));
    EXPECT_EQ(List(tree, Descend(tree, "x")), Names({"c", "inner"})) << "a file between them does not part them";
    EXPECT_EQ(Descend(tree, "same").layer, 0U);
    EXPECT_EQ(Descend(tree, "both/b").layer, 1U);
    EXPECT_FALSE(Descend(tree, "y/inner")) << "y is a file";
}

TEST_F(MountedTreeTest, AFileThatALayerLacksDoesNotHideThatOfALaterOne)
{
    WriteProject("a", {{"d/other", "a"}});
    WriteProject("b", {{"d/gone", "b"}, {"d/last", "b"}});
    mTree.Write(
        "MORV/projects/a/releases/1.0.0.0/releasemanifest",
        ManifestImage("a")
            .File("d/Gone")
            .File("d/lost")
            .File("d/other", {.flags = TreeReader::FlagsOf(TreeReader::Storage::Archive, TreeReader::Compression::None),
                              .size = 1})
            .Bytes());
    WriteSolution({"a", "b"});
    const View view = Open(Suite);
    const MountedTree tree = Mount(view);
    const Hit directory = Descend(tree, "d");
    EXPECT_EQ(List(tree, directory), Names({"gone", "last", "other"}));
    EXPECT_EQ(Descend(tree, "d/GONE").layer, 1U);
    EXPECT_EQ(List(tree, directory, Descend(tree, "d/gone")), Names({"last", "other"}));
    EXPECT_EQ(List(tree, directory, Descend(tree, "d/last")), Names({"other"}));
}

TEST_F(MountedTreeTest, WhatIsShownIsWhatTheLibraryFinds)
{
    std::mt19937 random(7);
    const std::vector<std::string> names{"a", "B", "c", "d"};
    for (const std::string project : {"one", "two", "three"})
    {
        std::set<std::string> taken;
        Files files;
        for (int attempt = 0; attempt < 60; ++attempt)
        {
            std::string path;
            for (auto depth = 1 + random() % 3; depth > 0; --depth)
            {
                path += (path.empty() ? "" : "/") + names[random() % names.size()];
            }
            const bool isParent =
                std::any_of(taken.begin(), taken.end(),
                            [&path](const std::string &other)
                            {
                                return (other + "/").starts_with(path + "/") || (path + "/").starts_with(other + "/");
                            });
            if (!isParent)
            {
                taken.insert(path);
                files.emplace_back(path, "x");
            }
        }
        WriteProject(project, files);
    }
    WriteSolution({"one", "two", "three"});
    const View view = Open(Suite);
    const MountedTree tree = Mount(view);
    std::vector<std::pair<std::string, Hit>> shown;
    Collect(tree, tree.GetRoot(), "", shown);
    std::set<std::string> paths;
    for (const auto &[path, node] : shown)
    {
        EXPECT_TRUE(IsSameNode(view.Find(path), node)) << path;
        EXPECT_TRUE(IsSameNode(Descend(tree, path), node)) << path;
        EXPECT_TRUE(paths.insert(path).second) << path << " is shown twice";
    }
    for (uint32 layer = 0; layer < 3; ++layer)
    {
        const TreeReader::ManifestTree &manifest = view.GetRelease(layer).GetTree();
        for (TreeReader::EntryIndex entry = 1; entry < manifest.GetEntryCount(); ++entry)
        {
            const std::string path = manifest.GetPath(entry);
            bool isHidden = false; // behind a file of an earlier layer
            for (std::size_t slash = path.find('/'); slash != std::string::npos; slash = path.find('/', slash + 1))
            {
                isHidden = isHidden || !view.IsDirectory(view.Find(path.substr(0, slash)));
            }
            EXPECT_TRUE(isHidden || Descend(tree, path)) << path;
        }
    }
}

TEST_F(MountedTreeTest, AWalkCanBeginBehindAnyChild)
{
    WriteProject("a", {{"d1/x", ""}, {"d3/x", ""}, {"f1", ""}, {"f4", ""}, {"x", "something"}});
    WriteProject("b", {{"D1/y", ""}, {"d2/x", ""}, {"f0", ""}, {"f4", ""}, {"f5", "something"}});
    WriteSolution({"a", "b"});
    const View view = Open(Suite);
    const MountedTree tree = Mount(view);
    const Names all = List(tree, tree.GetRoot());
    EXPECT_EQ(all, Names({"d1/", "d2/", "d3/", "f0", "f1", "f4", "f5", "x"}));
    std::size_t position = 0;
    for (DirectoryWalk walk(tree, tree.GetRoot()); walk.IsValid(); walk.Next())
    {
        ++position;
        EXPECT_EQ(List(tree, tree.GetRoot(), walk.GetCurrent()),
                  Names(all.begin() + static_cast<std::ptrdiff_t>(position), all.end()));
    }
    const Hit stranger = Descend(tree, "d1/x");
    EXPECT_EQ(List(tree, tree.GetRoot(), stranger), Names()) << "a place that a program made up, by its name";
}

TEST_F(MountedTreeTest, FilesThatAreMissingAreNotShown)
{
    WriteProject("game", {{"here", "x"}, {"gone", "x"}});
    ManifestImage manifest("game");
    manifest.File(
        "here", {.flags = TreeReader::FlagsOf(TreeReader::Storage::Archive, TreeReader::Compression::None), .size = 1});
    manifest.File("gone", {.size = 1}); // naked, and not in the deploy directory
    mTree.Write("MORV/projects/game/releases/1.0.0.0/releasemanifest", manifest.Bytes());
    const View view = Open("game/1.0.0.0");
    const MountedTree tree = Mount(view);
    EXPECT_EQ(List(tree, tree.GetRoot()), Names({"here"}));
    EXPECT_FALSE(Descend(tree, "gone"));
}

TEST_F(MountedTreeTest, NamesThatADirectoryCannotHoldAreLeftOutAndCounted)
{
    const std::string longName(300, 'n');
    WriteProject("game", {{"..", "x"},
                          {".", "x"},
                          {"../../escape", "x"},
                          {"tab\there\x01", "x"},
                          {"back\\slash", "x"},
                          {longName, "x"},
                          {"plain", "x"}});
    const View view = Open("game/1.0.0.0");
    const MountedTree tree = Mount(view);
    EXPECT_EQ(List(tree, tree.GetRoot()), Names({"back\\slash", longName, "plain", "tab\there\x01"}));
    EXPECT_TRUE(Descend(tree, longName));
    EXPECT_TRUE(Descend(tree, "TAB\there\x01"));
    EXPECT_EQ(tree.CountUnshown(), 4U) << "two files, and two directories named ..";
}

TEST_F(MountedTreeTest, PathsThatTheLibraryRefusesAsTooLongAreNotShown)
{
    const std::string name(250, 'd');
    const std::string directory = name + "/" + name + "/" + name + "/" + name + "/"; // 1,004 bytes
    WriteProject("game", {{directory + std::string(19, 'f'), "x"}, {directory + std::string(20, 'g'), "x"}});
    const View view = Open("game/1.0.0.0");
    const MountedTree tree = Mount(view);
    const Hit deepest = Descend(tree, directory.substr(0, directory.size() - 1));
    ASSERT_TRUE(deepest);
    EXPECT_EQ(List(tree, deepest), Names({std::string(19, 'f')}));
    EXPECT_EQ(tree.CountUnshown(), 1U);
}

TEST_F(MountedTreeTest, OfTwinsInADamagedManifestTheOneThatTheLibraryFindsIsShown)
{
    WriteProject("game", {{"name", "x"}, {"other", "x"}, {"dir/x", "x"}});
    ManifestImage manifest("game");
    const uint32 flags = TreeReader::FlagsOf(TreeReader::Storage::Archive, TreeReader::Compression::None);
    manifest.File("name", {.flags = flags, .size = 1}).File("NAME", {.flags = flags, .size = 1});
    manifest.File("dir", {.flags = flags, .size = 1}).File("dir/x", {.flags = flags, .size = 1});
    mTree.Write("MORV/projects/game/releases/1.0.0.0/releasemanifest", manifest.Bytes());
    const View view = Open("game/1.0.0.0");
    const MountedTree tree = Mount(view);
    EXPECT_EQ(List(tree, tree.GetRoot()).size(), 2U);
    EXPECT_TRUE(IsSameNode(Descend(tree, "Name"), view.Find("name")));
    EXPECT_TRUE(IsSameNode(Descend(tree, "dir"), view.Find("dir")));
    EXPECT_GE(tree.CountUnshown(), 1U);
}

TEST_F(MountedTreeTest, ASubdirectoryCanBeTheRoot)
{
    WriteProject("a", {{"data/maps/one", "x"}, {"data/readme", "x"}});
    WriteProject("b", {{"DATA/two", "x"}, {"readme", "x"}});
    WriteSolution({"a", "b"});
    const View view = Open(Suite);
    const MountedTree tree = Mount(view, "Data");
    EXPECT_EQ(List(tree, tree.GetRoot()), Names({"maps/", "readme", "two"}));
    EXPECT_EQ(tree.GetNumber(tree.GetRoot()), TreeMount::RootNode);
    EXPECT_EQ(List(tree, tree.GetNode(tree.GetNumber(Descend(tree, "MAPS")))), Names({"one"}));

    const auto file = MountedTree::Make(view, "data/readme");
    ASSERT_FALSE(file);
    EXPECT_EQ(file.GetFault().text, "is a file, and only a directory can be mounted");
    const auto nothing = MountedTree::Make(view, "nothing");
    ASSERT_FALSE(nothing);
    EXPECT_EQ(nothing.GetFault().text, "is not there; \"morv tree\" shows all there is");
}

TEST_F(MountedTreeTest, ADirectoryOfAHundredThousandFilesIsShownWhole)
{
    Files files;
    for (int number = 0; number < 100'000; ++number)
    {
        files.emplace_back("many/file" + std::to_string(number), "");
    }
    files.emplace_back("x", "not empty");
    WriteProject("game", files);
    const View view = Open("game/1.0.0.0");
    const MountedTree tree = Mount(view);
    const Hit directory = Descend(tree, "many");
    EXPECT_EQ(List(tree, directory).size(), 100'000U);
    for (const char *name : {"FILE0", "file99999", "file50000"})
    {
        EXPECT_TRUE(tree.FindChild(directory, name)) << name;
    }
    EXPECT_FALSE(tree.FindChild(directory, "file100000"));
}
} // namespace
} // namespace Keld::Test
