#include "Tools/HandmadeTree.h"
#include "Tools/RandomReleases.h"
#include "Tools/ReleaseReader.h"

#include "Support/TempTree.h"

#include "Tools/TreeReader/ShippingList.h"
#include "Tools/TreeReader/TreeSet.h"
#include "Tools/TreeWriter/ReleasePacker.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;
using TreeReader::HeldRelease;
using TreeReader::PartKind;
using TreeReader::ReleasePart;
using TreeReader::ShippingList;
using TreeReader::View;

/// A server with three releases of "game", each a delta of the one before, and a client elsewhere.
class ShippingListTest : public testing::TestWithParam<uint32>
{
protected:
    ShippingListTest() : mRandom(GetParam())
    {
        RandomReleases releases(mServer, mRandom);
        FileContents files = mRandom.Make(15);
        for (MorvVersion number = 0; number < 3; ++number)
        {
            mFiles[number] = files;
            const MorvVersion version = RandomReleases::First + number;
            releases.Pack("game", files, version, number == 0 ? std::nullopt : std::optional<MorvVersion>(version - 1));
            files = mRandom.Change(files);
        }
    }

    static std::string Place(MorvVersion number)
    {
        return "MORV/projects/game/releases/" + FormatVersion(RandomReleases::First + number);
    }

    HeldRelease Hold(const TempTree &tree, MorvVersion number)
    {
        auto view = mTrees.Open("", tree.Path(Place(number)));
        EXPECT_TRUE(view) << (view ? "" : view.GetFault().GetMessage());
        mViews.push_back(std::make_unique<View>(*view));
        return {mViews.back().get(), tree.Path("MORV")};
    }

    void Bring(const ShippingList &shipping)
    {
        for (const ReleasePart &part : shipping.GetParts())
        {
            mClient.Write("MORV/" + part.path, mServer.Read("MORV/" + part.path));
        }
    }

    /// The library serves one tree at a time.
    static std::map<std::string, std::string> ContentsAt(const std::string &place)
    {
        const ReleaseReader reader(place);
        std::map<std::string, std::string> contents;
        for (const auto &[path, size] : reader.FindAll())
        {
            contents[path] = reader.Read(path);
            EXPECT_EQ(contents[path].size(), size) << path;
        }
        return contents;
    }

    void ExpectClientHas(MorvVersion number) const
    {
        const auto contents = ContentsAt(mClient.Path(Place(number)));
        EXPECT_EQ(contents.size(), mFiles[number].size());
        EXPECT_TRUE(contents == ContentsAt(mServer.Path(Place(number))));
    }

    static std::vector<std::string> PathsOf(const ShippingList &shipping)
    {
        std::vector<std::string> paths;
        for (const ReleasePart &part : shipping.GetParts())
        {
            paths.push_back(part.path);
        }
        return paths;
    }

    TempTree mServer;
    TempTree mClient;
    RandomTree mRandom;
    FileContents mFiles[3];
    TreeReader::TreeSet mTrees;
    std::vector<std::unique_ptr<View>> mViews;
};

TEST_P(ShippingListTest, WhoHasAReleaseGetsTheNextOneWholeByWhatIsListed)
{
    Bring(ShippingList({}, Hold(mServer, 0), 2));
    ExpectClientHas(0);
    Bring(ShippingList({Hold(mServer, 0)}, Hold(mServer, 2), 2));
    ExpectClientHas(2);
    ExpectClientHas(0);
}

TEST_P(ShippingListTest, NothingIsListedThatTheClientHasAndManifestsComeLast)
{
    const ShippingList shipping({Hold(mServer, 0)}, Hold(mServer, 1), 1);
    ASSERT_FALSE(shipping.GetParts().empty());
    EXPECT_EQ(shipping.GetParts().back().kind, PartKind::ReleaseManifest);
    Bring(ShippingList({}, Hold(mServer, 0), 1));
    for (const std::string &path : PathsOf(shipping))
    {
        EXPECT_FALSE(mClient.Exists("MORV/" + path)) << path;
    }
    EXPECT_TRUE(PathsOf(ShippingList({Hold(mServer, 1)}, Hold(mServer, 1), 1)).empty());
}

TEST_P(ShippingListTest, SeveralReleasesTogetherLeaveLess)
{
    const auto few = PathsOf(ShippingList({Hold(mServer, 0), Hold(mServer, 1)}, Hold(mServer, 2), 1));
    const auto ofFirst = PathsOf(ShippingList({Hold(mServer, 0)}, Hold(mServer, 2), 1));
    const auto ofSecond = PathsOf(ShippingList({Hold(mServer, 1)}, Hold(mServer, 2), 1));
    const std::set<std::string> second(ofSecond.begin(), ofSecond.end());
    std::vector<std::string> common;
    for (const std::string &path : ofFirst)
    {
        if (second.count(path) != 0)
        {
            common.push_back(path);
        }
    }
    EXPECT_EQ(few, common);
}

TEST_P(ShippingListTest, ATreeOfTheClientsOwnGivesTheSameListAsTheServersCopyOfIt)
{
    Bring(ShippingList({}, Hold(mServer, 0), 1));
    const auto own = PathsOf(ShippingList({Hold(mClient, 0)}, Hold(mServer, 1), 1));
    EXPECT_EQ(own, PathsOf(ShippingList({Hold(mServer, 0)}, Hold(mServer, 1), 1)));
}

TEST_P(ShippingListTest, WhatTheClientLacksOfItsReleaseIsListed)
{
    Bring(ShippingList({}, Hold(mServer, 1), 1));
    std::vector<std::string> lost;
    for (const auto &entry : fs::recursive_directory_iterator(mClient.Path("MORV")))
    {
        if (entry.is_regular_file() && entry.path().filename() != "releasemanifest" && lost.size() < 2)
        {
            lost.push_back(fs::relative(entry.path(), mClient.Path("MORV")));
        }
    }
    for (const std::string &path : lost)
    {
        mClient.Remove("MORV/" + path);
    }
    Bring(ShippingList({Hold(mClient, 1)}, Hold(mServer, 1), 1));
    ExpectClientHas(1);
}

INSTANTIATE_TEST_SUITE_P(Seeds, ShippingListTest, testing::Range(0u, 4u));

/// Two trees that gave one version to different content.
TEST(ShippingListBetweenTrees, AnArchiveOfTheSameNameAndSizeWithOtherContentIsShipped)
{
    TempTree trees[2];
    for (const int number : {0, 1})
    {
        TreeWriter::PackRequest request;
        trees[number].Write("source/a", number == 0 ? "first" : "other");
        request.source = trees[number].Path("source");
        request.root = trees[number].Path("MORV");
        request.project = "game";
        request.release = RandomReleases::First;
        request.choice = {TreeReader::Storage::Archive, TreeReader::Compression::None};
        request.sync = false;
        TreeWriter::PackRelease(request);
    }
    TreeReader::TreeSet set;
    const auto held = set.Open("", trees[0].Path("MORV/projects/game/releases/1.0.0.0"));
    const auto wanted = set.Open("", trees[1].Path("MORV/projects/game/releases/1.0.0.0"));
    ASSERT_TRUE(held && wanted);
    const ShippingList shipping({{&*held, trees[0].Path("MORV")}}, {&*wanted, trees[1].Path("MORV")}, 1);
    EXPECT_EQ(shipping.GetParts().size(), 3u); // both files of the archive, and the manifest
    const ShippingList none({{&*held, trees[0].Path("MORV")}}, {&*held, trees[0].Path("MORV")}, 1);
    EXPECT_TRUE(none.GetParts().empty());
}

/// Projects whose manifests give them names that no writer takes.
class OddlyNamedPartsTest : public HandmadeTree
{
protected:
    void WriteManifest(const std::string &name) const
    {
        const ManifestFile stored{
            .flags = TreeReader::FlagsOf(TreeReader::Storage::Archive, TreeReader::Compression::None), .size = 1};
        mTree.Write("MORV/projects/odd/releases/1.0.0.0/releasemanifest",
                    ManifestImage(name).File("a", stored).File("naked", {.size = 1}).Bytes());
    }

    TreeReader::ReleaseParts Gather()
    {
        TreeReader::TreeSet trees;
        const auto view = trees.Open("odd/1.0.0.0", mTree.Path("MORV"));
        EXPECT_TRUE(view) << (view ? "" : view.GetFault().GetMessage());
        TreeReader::ReleaseParts parts = TreeReader::GatherParts(*view, mTree.Path("MORV"), 1);
        for (ReleasePart &part : parts.parts)
        {
            part.archive = nullptr; // it goes with the view
        }
        return parts;
    }

    static std::vector<std::string> PathsOf(const TreeReader::ReleaseParts &parts)
    {
        std::vector<std::string> paths;
        for (const ReleasePart &part : parts.parts)
        {
            paths.push_back(part.path);
        }
        return paths;
    }
};

TEST_F(OddlyNamedPartsTest, APartHasOnePathHoweverTheProjectIsSpelled)
{
    WriteProject("odd", {{"a", "x"}});
    mTree.Write("MORV/projects/odd/releases/1.0.0.0/deploy/naked", "n");
    for (const std::string name : {"odd", "odd/", "./odd", "odd//", "../projects/odd"})
    {
        WriteManifest(name);
        const TreeReader::ReleaseParts parts = Gather();
        EXPECT_EQ(PathsOf(parts),
                  std::vector<std::string>(
                      {"projects/odd/filearchives/1.0.0.0/files.vka.dat", "projects/odd/filearchives/1.0.0.0/files.vka",
                       "projects/odd/releases/1.0.0.0/deploy/naked", "projects/odd/releases/1.0.0.0/releasemanifest"}))
            << name;
        EXPECT_TRUE(parts.outside.empty());
    }
}

TEST_F(OddlyNamedPartsTest, WhatLeadsOutOfTheTreeIsToldAndIsNoPart)
{
    mTree.MakeDirectory("MORV/projects");
    WriteProject("../../outside", {{"a", "x"}});
    mTree.Write("outside/releases/1.0.0.0/deploy/naked", "n");
    WriteManifest("../../outside");
    const TreeReader::ReleaseParts parts = Gather();
    EXPECT_EQ(PathsOf(parts), std::vector<std::string>({"projects/odd/releases/1.0.0.0/releasemanifest"}));
    ASSERT_EQ(parts.outside.size(), 3U);
    EXPECT_EQ(parts.outside[0], "naked");
    EXPECT_NE(parts.outside[1].find("/outside/filearchives/1.0.0.0/files.vka"), std::string::npos);
}
} // namespace
} // namespace Keld::Test
