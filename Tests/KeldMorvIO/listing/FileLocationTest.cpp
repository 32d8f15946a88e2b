#include "KeldMorvIO/listing/LocatedFiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

namespace Keld::MORV::Reader
{
namespace
{
using Keld::Test::LocatedFiles;
using Keld::Test::ManifestImage;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr uint32 NakedFlags = 0;
constexpr uint32 ManagedFlags = FileFlagManaged;

class FileLocationTest : public Keld::Test::LocationFixture
{
};

TEST_F(FileLocationTest, FindsNakedFilesUnderTheReleaseAndManagedOnesUnderTheirOwnVersion)
{
    mTree.Write("projects/atlas/releases/1.2.0.0/deploy/data/n", "");
    mTree.Write("projects/atlas/managedfiles/1.1.0.0/data/m", "");
    ManifestImage image("atlas", 0x01020000);
    image.File("data/n", {NakedFlags, 0, 0x01010000}).File("data/m", {ManagedFlags, 0, 0x01010000});
    LocatedFiles located;
    Locate(image, located);
    EXPECT_THAT(located.missing, IsEmpty());
    EXPECT_EQ(located.header.mArchivedCount, 0u);
    EXPECT_EQ(located.header.mManagedCount, 1u);
    EXPECT_EQ(located.header.mNakedCount, 1u);
    mLog.ExpectAll({});
}

TEST_F(FileLocationTest, TakesTheVersionFromTheManifestAndNotFromAnyPath)
{
    mTree.Write("projects/atlas/releases/1.2.0.0/deploy/a", "");
    LocatedFiles located;
    Locate(ManifestImage("other", 0x01030000).File("a"), located);
    EXPECT_THAT(located.missing, ElementsAre(0));
    mLog.ExpectAll({Missing("Missing naked file: " + mProject + "/releases/1.3.0.0/deploy/a")});
}

TEST_F(FileLocationTest, LogsEachFileThatIsMissingAndGoesOn)
{
    mTree.Write("projects/atlas/releases/1.0.0.0/deploy/b", "");
    mTree.Write("projects/atlas/managedfiles/1.0.0.0/data/d", "");
    ManifestImage image;
    image.File("a").File("b").File("data/c", {ManagedFlags}).File("data/d", {ManagedFlags});
    LocatedFiles located;
    Locate(image, located);
    EXPECT_THAT(located.missing, ElementsAre(0, 2));
    EXPECT_THAT(located.FoundIndices(), ElementsAre(3, 1));
    EXPECT_EQ(located.header.mManagedCount, 1u);
    EXPECT_EQ(located.header.mNakedCount, 1u);
    mLog.ExpectAll({Missing("Missing naked file: " + mProject + "/releases/1.0.0.0/deploy/a"),
                    Missing("Missing managed file: " + mProject + "/managedfiles/1.0.0.0/data/c")});
}

TEST_F(FileLocationTest, GivesMissingFilesInTheOrderOfTheFileTableAndLogsThemInThatOfTheTree)
{
    LocatedFiles located;
    Locate(ManifestImage().File("z/1").File("y/1"), located);
    EXPECT_THAT(located.missing, ElementsAre(0, 1));
    mLog.ExpectAll({Missing("Missing naked file: " + mProject + "/releases/1.0.0.0/deploy/y/1"),
                    Missing("Missing naked file: " + mProject + "/releases/1.0.0.0/deploy/z/1")});
}

TEST_F(FileLocationTest, CountsADirectoryAsMissingAndASocketAsThere)
{
    mTree.MakeDirectory("projects/atlas/releases/1.0.0.0/deploy/a");
    ASSERT_EQ(mkfifo(mTree.Path("projects/atlas/releases/1.0.0.0/deploy/fifo").c_str(), 0600), 0);
    ASSERT_EQ(mknod(mTree.Path("projects/atlas/releases/1.0.0.0/deploy/socket").c_str(), S_IFSOCK | 0600, 0), 0);
    LocatedFiles located;
    Locate(ManifestImage().File("a").File("fifo").File("socket"), located);
    EXPECT_THAT(located.missing, ElementsAre(0, 1));
    EXPECT_EQ(located.header.mNakedCount, 1u);
    mLog.ExpectAll({Missing("Missing naked file: " + mProject + "/releases/1.0.0.0/deploy/a"),
                    Missing("Missing naked file: " + mProject + "/releases/1.0.0.0/deploy/fifo")});
}

TEST_F(FileLocationTest, LeavesThePathThatDoesNotFitToItsOwnLine)
{
    const std::string name(1023, 'n');
    LocatedFiles located;
    Locate(ManifestImage().File(name), located);
    EXPECT_THAT(located.missing, ElementsAre(0));
    EXPECT_THAT(located.metadata, IsEmpty());
    mLog.ExpectAll(
        {Keld::Test::Error("The path is too long: " + mProject + "/releases/1.0.0.0/deploy/" + name,
                           "static bool Keld::MORV::Reader::ProjectListing::GetNakedFile(char *, uint32, FileType, "
                           "const char *, MorvVersion, MorvVersion, const char *)")});
}

TEST_F(FileLocationTest, PutsManagedFilesBeforeNakedOnesAndEachByIndex)
{
    ManifestImage image;
    for (const char *const name : {"a", "c", "e"})
    {
        mTree.Write(std::string("projects/atlas/releases/1.0.0.0/deploy/") + name, "");
        image.File(name);
    }
    for (const char *const name : {"b", "d"})
    {
        mTree.Write(std::string("projects/atlas/managedfiles/1.0.0.0/") + name, "");
        image.File(name, {ManagedFlags | FileFlagCompressed | FileFlagZlib});
    }
    LocatedFiles located;
    Locate(image, located);
    EXPECT_THAT(located.FoundIndices(), ElementsAre(1, 3, 0, 2, 4));
    for (const FileArchiveMetadata &record : located.metadata)
    {
        EXPECT_EQ(record.file, AsyncFile::Null);
    }
    EXPECT_EQ(located.metadata[0].flags, ManagedFlags | FileFlagCompressed | FileFlagZlib);
}

TEST_F(FileLocationTest, TellsTheParentsOfFilesThatAreMissingToo)
{
    LocatedFiles located;
    Locate(ManifestImage().File("a/f").Directory("a/b").File("g"), located);
    // Directories: root, a, a/b. Files: g, a/f.
    EXPECT_THAT(located.parents, ElementsAre(0, 0, 1, 0, 1));
    EXPECT_THAT(located.missing, ElementsAre(0, 1));
}

TEST_F(FileLocationTest, ReplacesWhatItsResultsHeldBefore)
{
    mTree.Write("projects/atlas/releases/1.0.0.0/deploy/a", "");
    LocatedFiles located;
    Locate(ManifestImage().File("a").File("b").File("c"), located);
    Locate(ManifestImage().File("a"), located);
    EXPECT_THAT(located.FoundIndices(), ElementsAre(0));
    EXPECT_THAT(located.missing, IsEmpty());
    EXPECT_THAT(located.parents, ElementsAre(0, 0));
    EXPECT_EQ(located.header.mNakedCount, 1u);
}

TEST_F(FileLocationTest, GivesNothingForAReleaseWithoutFiles)
{
    LocatedFiles located;
    Locate(ManifestImage().Directory("a/b"), located);
    EXPECT_THAT(located.metadata, IsEmpty());
    EXPECT_THAT(located.missing, IsEmpty());
    EXPECT_THAT(located.parents, ElementsAre(0, 0, 1));
    Locate(ManifestImage(), located);
    EXPECT_THAT(located.parents, ElementsAre(0));
    mLog.ExpectAll({});
}

TEST_F(FileLocationTest, LeavesARecordOfZerosForAFileThatNoDirectoryHolds)
{
    mTree.Write("projects/atlas/releases/1.0.0.0/deploy/a", "");
    mTree.Write("projects/atlas/releases/1.0.0.0/deploy/b", "");
    ManifestImage image;
    image.File("a").File("b").File("c");
    image.Patch(image.DirectoryOffset("") + 16, 2);
    LocatedFiles located;
    Locate(image, located);
    EXPECT_EQ(located.header.mNakedCount, 2u);
    EXPECT_THAT(located.FoundIndices(), ElementsAre(0, 0, 1));
    mLog.ExpectAll({});
}

TEST_F(FileLocationTest, FindsTheSameWithBothVersionsOfTheFileRecord)
{
    mTree.Write("projects/atlas/releases/1.0.0.0/deploy/b", "");
    mTree.Write("projects/atlas/managedfiles/1.0.0.0/c", "");
    ManifestImage image("atlas", 0x01000000, ManifestImage::Record::V0);
    image.File("c", {ManagedFlags}).File("b").File("a");
    LocatedFiles located;
    Locate(*Keld::Test::ParseManifest<FileTableEntryV0>(image.Bytes()), located);
    EXPECT_THAT(located.FoundIndices(), ElementsAre(2, 1));
    EXPECT_THAT(located.missing, ElementsAre(0));
}

TEST_F(FileLocationTest, AsksForNoArchivesWhenNoFileIsArchived)
{
    mTree.Write("projects/atlas/filearchives/1.0.0.0/bad.vka", "no archive: would be deleted");
    mTree.Write("projects/atlas/releases/1.0.0.0/deploy/a", "");
    LocatedFiles located;
    Locate(ManifestImage().File("a"), located);
    mLog.ExpectAll({}); // not even a trace
    EXPECT_TRUE(mTree.Exists("projects/atlas/filearchives/1.0.0.0/bad.vka"));
}
} // namespace
} // namespace Keld::MORV::Reader
