#include "KeldMorvIO/listing/ManifestFileIterator.h"

#include "KeldFoundation/CStd/Hash.h"
#include "KeldMorvIO/listing/ParsedManifest.h"
#include "Support/ManifestImage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Keld::MORV::Reader
{
namespace
{
using Keld::Test::ManifestImage;
using testing::ElementsAre;

TEST(ManifestFileIterator, GoesLevelByLevelWithSubdirectoriesBeforeFiles)
{
    ManifestImage image;
    image.File("r").File("a/f").File("a/deep/d").File("b/g").Directory("b/empty");
    EXPECT_THAT(Keld::Test::WalkManifest(*Keld::Test::ParseManifest(image.Bytes())),
                ElementsAre("a/", "b/", "r", "a/deep/", "a/f", "b/empty/", "b/g", "a/deep/d"));
}

TEST(ManifestFileIterator, KeepsTheCaseOfNamesAndLeavesOutTheRoots)
{
    ManifestImage image;
    image.RootName("TheRoot").File("Data/Maps/Arena.MAP");
    EXPECT_THAT(Keld::Test::WalkManifest(*Keld::Test::ParseManifest(image.Bytes())),
                ElementsAre("Data/", "Data/Maps/", "Data/Maps/Arena.MAP"));
}

TEST(ManifestFileIterator, TellsTheParentOfEveryEntry)
{
    ManifestImage image;
    image.File("r").File("a/f").File("a/deep/d").File("b/g").Directory("b/empty");
    const auto manifest = Keld::Test::ParseManifest(image.Bytes());
    LargeVector<uint32> parents{99, 99}; // what was in it goes
    for (ManifestFileIterator entry(*manifest, parents); entry.IsValid(); entry.Next())
    {
    }
    // Directories: root, a, b, a/deep, b/empty. Files: r, a/f, b/g, a/deep/d.
    EXPECT_THAT(parents, ElementsAre(0, 0, 0, 1, 2, 0, 1, 2, 3));
}

TEST(ManifestFileIterator, GivesARecordAndAnIndexForFilesAlone)
{
    ManifestImage image;
    image.File("a/f", {0, 5}).File("a/g", {0, 6});
    const auto manifest = Keld::Test::ParseManifest<FileTableEntry>(image.Bytes());
    LargeVector<uint32> parents;
    ManifestFileIterator entry(*manifest, parents);
    EXPECT_EQ(entry.GetFile(), nullptr);
    entry.Next();
    EXPECT_EQ(entry.GetFile(), &manifest->GetFile(0));
    EXPECT_EQ(entry.GetFileIndex(), 0u);
    entry.Next();
    EXPECT_EQ(entry.GetFile(), &manifest->GetFile(1));
    EXPECT_EQ(entry.GetFileIndex(), 1u);
    EXPECT_EQ(entry.GetPath(), "a/g");
    entry.Next();
    EXPECT_FALSE(entry.IsValid());
    EXPECT_EQ(entry.GetFile(), nullptr);
}

TEST(ManifestFileIterator, StandsNowhereUnderARootWithoutChildren)
{
    const auto manifest = Keld::Test::ParseManifest(ManifestImage().Bytes());
    ASSERT_TRUE(manifest->IsValid());
    LargeVector<uint32> parents;
    const ManifestFileIterator entry(*manifest, parents);
    EXPECT_FALSE(entry.IsValid());
    EXPECT_THAT(parents, ElementsAre(0));
}

TEST(ManifestFileIterator, GivesParentZeroToWhatNoDirectoryHolds)
{
    ManifestImage image;
    image.File("a/f").File("a/g");
    image.Patch(image.DirectoryOffset("a") + 16, 1); // one file, the other is nobody's
    const auto manifest = Keld::Test::ParseManifest(image.Bytes());
    ASSERT_TRUE(manifest->IsValid());
    EXPECT_THAT(Keld::Test::WalkManifest(*manifest), ElementsAre("a/", "a/f"));
    LargeVector<uint32> parents;
    for (ManifestFileIterator entry(*manifest, parents); entry.IsValid(); entry.Next())
    {
    }
    EXPECT_THAT(parents, ElementsAre(0, 0, 1, 0));
}

TEST(ManifestFileIterator, MakesThePathsThatAreAskedForAlone)
{
    ManifestImage image;
    for (const char *const path : {"a/a/a/1", "a/a/b/2", "a/b/a/3", "b/4", "b/a/5", "b/a/a/a/6"})
    {
        image.File(path);
    }
    const auto manifest = Keld::Test::ParseManifest(image.Bytes());
    for (const std::size_t step : {1u, 2u, 3u, 5u})
    {
        LargeVector<uint32> parents;
        std::vector<std::string> files;
        std::size_t entryCount = 0;
        for (ManifestFileIterator entry(*manifest, parents); entry.IsValid(); entry.Next())
        {
            ++entryCount;
            if (entry.GetFile() != nullptr || entryCount % step == 0)
            {
                const std::string path = entry.GetPath();
                EXPECT_EQ(entry.GetPath(), path);
                files.insert(files.end(), entry.GetFile() != nullptr ? 1 : 0, path);
            }
        }
        EXPECT_THAT(files, ElementsAre("b/4", "b/a/5", "a/a/a/1", "a/a/b/2", "a/b/a/3", "b/a/a/a/6"));
    }
}

TEST(ManifestFileIterator, CutsALongPathAtTheLimitAndNoOther)
{
    const std::string fits(ManifestPathLimit, 'f');
    const std::string name = fits + "more";
    ManifestImage image;
    image.File("a/1").File(name).File(name + "/2").File("b/" + name + "/3").File("b/4").File("b/" + name + "/c/d/5");
    EXPECT_THAT(
        Keld::Test::WalkManifest(*Keld::Test::ParseManifest(image.Bytes())),
        ElementsAre("a/", "b/", fits + "/", fits, "a/1", ("b/" + fits).substr(0, ManifestPathLimit) + "/", "b/4", fits,
                    ("b/" + fits).substr(0, ManifestPathLimit) + "/", ("b/" + fits).substr(0, ManifestPathLimit),
                    ("b/" + fits).substr(0, ManifestPathLimit) + "/", ("b/" + fits).substr(0, ManifestPathLimit)));
}

TEST(ManifestFileIterator, GoesOnBehindATreeThatIsDeeperThanTheLimit)
{
    std::string path;
    ManifestImage image;
    for (uint32 level = 0; level < ManifestPathLimit; ++level)
    {
        path += "d/";
    }
    image.File(path + "leaf").File("e/1").File("e/e/2");
    const std::vector<std::string> walk = Keld::Test::WalkManifest(*Keld::Test::ParseManifest(image.Bytes()));
    ASSERT_EQ(walk.size(), ManifestPathLimit + 5u);
    EXPECT_EQ(walk.back(), path.substr(0, ManifestPathLimit));
    EXPECT_EQ(walk[3], "e/e/");
    EXPECT_EQ(walk[4], "e/1");
    EXPECT_EQ(walk[5], "d/d/d/");
    EXPECT_EQ(walk[6], "e/e/2");
    EXPECT_EQ(walk[7], "d/d/d/d/");
}

TEST(ManifestFileIterator, WalksAVeryDeepTree)
{
    std::string path;
    for (int level = 0; level < 2000; ++level)
    {
        path += "d/";
    }
    ManifestImage image;
    image.File(path + "leaf");
    const std::vector<std::string> walk = Keld::Test::WalkManifest(*Keld::Test::ParseManifest(image.Bytes()));
    ASSERT_EQ(walk.size(), 2001u);
    EXPECT_EQ(walk.back(), path + "leaf");
}

TEST(ManifestFileIterator, HashesEveryPathAsItStands)
{
    const std::string longName(ManifestPathLimit, 'n');
    ManifestImage image;
    image.File("Root.dds").File("a/B/c.txt").File("a/\xC3\xA4/f").File("a/" + longName).File(longName + "/x/y");
    image.File(longName.substr(0, ManifestPathLimit - 3) + "/z/1")
        .File(longName.substr(0, ManifestPathLimit - 1) + "/2");
    const auto manifest = Keld::Test::ParseManifest(image.Bytes());
    LargeVector<uint32> parents;
    uint32 entryCount = 0;
    for (ManifestFileIterator entry(*manifest, parents); entry.IsValid(); entry.Next(), ++entryCount)
    {
        const std::string path = entry.GetPath();
        EXPECT_EQ(HashName(path.c_str()), entry.GetPathHash()) << path;
    }
    EXPECT_EQ(15u, entryCount);
}

TEST(ManifestFileIterator, MakesAnewThePathsThatItHasNoRoomToKeep)
{
    ManifestImage image;
    for (const char *const top : {"a", "bb", "ccc"})
    {
        for (const char *const middle : {"d/e", "dd/e/e", "ddd/f/f/f"})
        {
            for (const char *const leaf : {"1", "g/2", "g/g/3"})
            {
                image.File(std::string(top) + "/" + middle + "/" + leaf);
            }
        }
    }
    const auto manifest = Keld::Test::ParseManifest(image.Bytes());
    const std::vector<std::string> walk = Keld::Test::WalkManifest(*manifest);
    for (const uint_size budget : {0u, 3u, 10u, 20u, 50u, 100u})
    {
        LargeVector<uint32> parents;
        uint32 index = 0;
        for (ManifestFileIterator entry(*manifest, parents, budget); entry.IsValid(); entry.Next(), ++index)
        {
            const std::string end = entry.GetFile() != nullptr ? "" : "/";
            ASSERT_EQ(walk[index], entry.GetPath() + end) << budget;
            ASSERT_EQ(HashName(entry.GetPath().c_str()), entry.GetPathHash()) << budget;
        }
        EXPECT_EQ(walk.size(), index);
    }
}
} // namespace
} // namespace Keld::MORV::Reader
