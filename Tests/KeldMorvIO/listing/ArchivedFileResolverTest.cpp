#include "KeldMorvIO/listing/ArchivedFileResolver.h"

#include "KeldFoundation/CStd/Hash.h"
#include "KeldMorvIO/blocks/AsyncRequest.h"
#include "KeldMorvIO/listing/LocatedFiles.h"
#include "Support/ArchiveImage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Keld::MORV::Reader
{
namespace
{
using Keld::Test::ArchiveImage;
using Keld::Test::Error;
using Keld::Test::LocatedFiles;
using Keld::Test::ManifestImage;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr uint32 ArchivedFlags = FileFlagArchived;

class ArchivedFileResolverTest : public Keld::Test::LocationFixture
{
protected:
    /// Writes an archive of the project in the given version.
    void Archive(const std::string &version, const std::string &name, const ArchiveImage &index)
    {
        mTree.Write(Directory(version) + "/" + name + ".vka", index.Bytes());
        mTree.Write(Directory(version) + "/" + name + ".vka.dat", "stored bytes of " + name);
    }

    static std::string Directory(const std::string &version) { return "projects/atlas/filearchives/" + version; }

    static bool Resolve(ArchivedFileResolver &resolver, const std::string &path, MorvVersion version,
                        FileArchiveMetadata &record)
    {
        GivenPath given(path);
        return resolver.Resolve(given, {HashName(path.c_str()), 0}, version, record);
    }

    /// What is reported for every file of a version that has no archives.
    std::vector<Keld::Test::ExpectedLine> MissingVersion(const std::string &version, const std::string &path)
    {
        return {
            Error("No valid archive files were found in the directory: " + mTree.Path(Directory(version)) + "/*.vka"),
            Error("Failed to create file system manager for project \"atlas\" and release " + version),
            Missing("Missing archive files for version " + version + ": affects: " + path)};
    }
};

TEST_F(ArchivedFileResolverTest, FillsInHandleOffsetAndStoredSize)
{
    Archive("1.0.0.0", "maps", ArchiveImage().File("data/a", 7, 5).File("b", 0, 6));
    LocatedFiles located;
    Locate(ManifestImage().File("data/a", {ArchivedFlags, 99}).File("b", {ArchivedFlags, 99}), located);
    mLog.ExpectFailures({});
    EXPECT_EQ(located.header.mArchivedCount, 2u);
    ASSERT_EQ(located.metadata.size(), 2u);
    EXPECT_THAT(located.FoundIndices(), ElementsAre(0, 1));
    EXPECT_EQ(located.metadata[0].offset, 0u);
    EXPECT_EQ(located.metadata[0].size, 6u);
    EXPECT_EQ(located.metadata[0].flags, ArchivedFlags);
    EXPECT_EQ(located.metadata[1].offset, 7u);
    EXPECT_EQ(located.metadata[1].size, 5u);
    char bytes[6] = {};
    EXPECT_TRUE(AsyncRead(located.metadata[1].file, 7, 5, nullptr, bytes));
    EXPECT_STREQ(bytes, "bytes");
}

TEST_F(ArchivedFileResolverTest, SharesOneHandleAmongTheFilesOfADataFile)
{
    Archive("1.0.0.0", "maps", ArchiveImage().File("a", 0, 1).File("b", 1, 1));
    Archive("1.0.0.0", "sounds", ArchiveImage().File("c", 0, 1));
    LocatedFiles located;
    Locate(ManifestImage().File("a", {ArchivedFlags}).File("b", {ArchivedFlags}).File("c", {ArchivedFlags}), located);
    ASSERT_EQ(located.metadata.size(), 3u);
    std::map<uint32, AsyncFile> files;
    for (const FileArchiveMetadata &record : located.metadata)
    {
        files[record.fileIndex] = record.file;
    }
    EXPECT_EQ(files[0], files[1]);
    EXPECT_NE(files[0], files[2]);
    EXPECT_NE(files[2], AsyncFile::Null);
}

TEST_F(ArchivedFileResolverTest, KeepsSharersOfAHandleSideBySideWhateverTheirManagedFlag)
{
    Archive("1.0.0.0", "x", ArchiveImage().File("a", 0, 1).File("c", 0, 1).File("e", 0, 1));
    Archive("2.0.0.0", "y", ArchiveImage().File("b", 0, 1).File("d", 0, 1).File("f", 0, 1));
    ManifestImage image;
    image.File("a", {ArchivedFlags}).File("c", {ArchivedFlags | FileFlagManaged}).File("e", {ArchivedFlags});
    image.File("b", {ArchivedFlags | FileFlagManaged, 0, 0x02000000}).File("d", {ArchivedFlags, 0, 0x02000000});
    image.File("f", {ArchivedFlags | FileFlagManaged, 0, 0x02000000});
    LocatedFiles located;
    Locate(image, located);
    EXPECT_EQ(located.header.mArchivedCount, 6u);
    EXPECT_EQ(located.header.mManagedCount, 0u);
    ASSERT_EQ(located.metadata.size(), 6u);
    EXPECT_EQ(located.metadata[0].file, located.metadata[2].file);
    EXPECT_EQ(located.metadata[3].file, located.metadata[5].file);
    EXPECT_LT(static_cast<int32>(located.metadata[0].file), static_cast<int32>(located.metadata[3].file));
    EXPECT_LT(located.metadata[0].fileIndex, located.metadata[1].fileIndex);
    EXPECT_LT(located.metadata[1].fileIndex, located.metadata[2].fileIndex);
}

TEST_F(ArchivedFileResolverTest, PutsArchivedFilesBeforeTheOthers)
{
    Archive("1.0.0.0", "x", ArchiveImage().File("c", 0, 1));
    mTree.Write("projects/atlas/releases/1.0.0.0/deploy/a", "");
    mTree.Write("projects/atlas/managedfiles/1.0.0.0/b", "");
    LocatedFiles located;
    Locate(ManifestImage().File("a").File("b", {FileFlagManaged}).File("c", {ArchivedFlags}), located);
    EXPECT_THAT(located.FoundIndices(), ElementsAre(2, 1, 0));
}

TEST_F(ArchivedFileResolverTest, KeepsAFileWhoseFlagsAreAllSet)
{
    Archive("1.0.0.0", "x", ArchiveImage().File("a", 0, 1).File("c", 0, 1));
    LocatedFiles located;
    Locate(ManifestImage().File("a", {0xFFFFFFFF}).File("b", {ArchivedFlags}).File("c", {0xFFFFFFFF}), located);
    EXPECT_THAT(located.FoundIndices(), ElementsAre(0, 2));
    EXPECT_THAT(located.missing, ElementsAre(1));
}

TEST_F(ArchivedFileResolverTest, LooksInTheArchivesOfTheFilesOwnVersion)
{
    Archive("1.0.0.0", "old", ArchiveImage().File("a", 3, 1));
    Archive("2.0.0.0", "new", ArchiveImage().File("a", 4, 1));
    LocatedFiles located;
    Locate(ManifestImage("atlas", 0x02000000).File("a", {ArchivedFlags, 0, 0x01000000}), located);
    ASSERT_EQ(located.metadata.size(), 1u);
    EXPECT_EQ(located.metadata[0].offset, 3u);
}

TEST_F(ArchivedFileResolverTest, LooksInTheProjectThatTheManifestNames)
{
    mTree.Write("projects/other/filearchives/1.0.0.0/x.vka", ArchiveImage().File("a", 0, 1).Bytes());
    mTree.Write("projects/other/filearchives/1.0.0.0/x.vka.dat", "bytes");
    mProject = mTree.Path("projects/other");
    LocatedFiles located;
    Locate(ManifestImage("other").File("a", {ArchivedFlags}), located);
    EXPECT_EQ(located.header.mArchivedCount, 1u);
}

TEST_F(ArchivedFileResolverTest, TriesAMissingVersionAgainForEachOfItsFiles)
{
    LocatedFiles located;
    Locate(ManifestImage().File("a", {ArchivedFlags, 0, 0x03000000}).File("data/b", {ArchivedFlags, 0, 0x03000000}),
           located);
    EXPECT_THAT(located.missing, ElementsAre(0, 1));
    EXPECT_THAT(located.metadata, IsEmpty());
    EXPECT_EQ(located.header.mArchivedCount, 0u);
    std::vector<Keld::Test::ExpectedLine> lines = MissingVersion("3.0.0.0", "a");
    for (const Keld::Test::ExpectedLine &line : MissingVersion("3.0.0.0", "data/b"))
    {
        lines.push_back(line);
    }
    mLog.ExpectFailures(lines);
}

TEST_F(ArchivedFileResolverTest, NamesTheVersionWhoseArchivesLackAPath)
{
    Archive("1.0.0.0", "x", ArchiveImage().File("other", 9, 9));
    LocatedFiles located;
    Locate(ManifestImage().File("data/a", {ArchivedFlags}), located);
    EXPECT_THAT(located.missing, ElementsAre(0));
    EXPECT_THAT(located.metadata, IsEmpty());
    mLog.ExpectFailures({Missing("Archives for version 1.0.0.0 are missing an entry for: data/a")});
}

TEST_F(ArchivedFileResolverTest, ReportsAnAbsentDataFileForEachOfItsFiles)
{
    Archive("1.0.0.0", "x", ArchiveImage().File("a", 0, 1).File("b", 0, 1));
    mTree.Remove(Directory("1.0.0.0") + "/x.vka.dat");
    LocatedFiles located;
    Locate(ManifestImage().File("a", {ArchivedFlags}).File("b", {ArchivedFlags}), located);
    EXPECT_THAT(located.missing, ElementsAre(0, 1));
    EXPECT_EQ(located.header.mArchivedCount, 0u);
    const std::string path = mTree.Path(Directory("1.0.0.0") + "/x.vka.dat");
    mLog.ExpectFailures({Missing("Missing archive file: " + path + ": affects: a"),
                         Missing("Missing archive file: " + path + ": affects: b")});
}

TEST_F(ArchivedFileResolverTest, TriesToOpenADataFileOnce)
{
    Archive("1.0.0.0", "x", ArchiveImage().File("a", 0, 1).File("b", 0, 1));
    mTree.Remove(Directory("1.0.0.0") + "/x.vka.dat");
    const std::string root = mTree.Root();
    ArchivedFileResolver resolver(root.c_str(), mProject.c_str(), "atlas", 0x01000000, "signature");
    FileArchiveMetadata record{};
    EXPECT_FALSE(Resolve(resolver, "a", 0x01000000, record));
    mTree.Write(Directory("1.0.0.0") + "/x.vka.dat", "bytes"); // too late
    EXPECT_FALSE(Resolve(resolver, "b", 0x01000000, record));
    const std::string path = mTree.Path(Directory("1.0.0.0") + "/x.vka.dat");
    mLog.ExpectFailures({Error("Missing archive file: " + path + ": affects: a", "signature"),
                         Error("Missing archive file: " + path + ": affects: b", "signature")});
}

TEST_F(ArchivedFileResolverTest, ReadsTheArchivesOfAVersionOnce)
{
    Archive("1.0.0.0", "x", ArchiveImage().File("a", 0, 1).File("b", 0, 1));
    const std::string root = mTree.Root();
    ArchivedFileResolver resolver(root.c_str(), mProject.c_str(), "atlas", 0x01000000, "signature");
    FileArchiveMetadata first{};
    FileArchiveMetadata second{};
    ASSERT_TRUE(Resolve(resolver, "a", 0x01000000, first));
    mTree.Remove(Directory("1.0.0.0") + "/x.vka");
    ASSERT_TRUE(Resolve(resolver, "b", 0x01000000, second));
    EXPECT_EQ(first.file, second.file);
    AsyncClose(first.file);
}

TEST_F(ArchivedFileResolverTest, FindsPathsWithoutRegardToCase)
{
    Archive("1.0.0.0", "x", ArchiveImage().File("Data/A.dds", 2, 1));
    LocatedFiles located;
    Locate(ManifestImage().File("data/a.DDS", {ArchivedFlags}), located);
    EXPECT_EQ(located.header.mArchivedCount, 1u);
}

TEST_F(ArchivedFileResolverTest, LeavesADataFilePathThatDoesNotFitToItsOwnLine)
{
    Archive("1.0.0.0", "x", ArchiveImage().File("a", 0, 1));
    mProject = "/" + std::string(1000, 'p'); // only for the disk path: indexes are found by root and name
    LocatedFiles located;
    Locate(ManifestImage().File("a", {ArchivedFlags}), located);
    EXPECT_THAT(located.missing, ElementsAre(0));
    mLog.ExpectFailures({Error("The path is too long: " + mProject + "/filearchives/1.0.0.0/x.vka.dat")});
}

TEST_F(ArchivedFileResolverTest, TakesARootOfNullForAnEmptyOne)
{
    ArchivedFileResolver resolver(nullptr, "projects/atlas", "absent-project", 0x01000000, "signature");
    FileArchiveMetadata record{};
    EXPECT_FALSE(Resolve(resolver, "a", 0x01000000, record));
    mLog.ExpectFailures(
        {Error(
             "No valid archive files were found in the directory: /projects/absent-project/filearchives/1.0.0.0/*.vka"),
         Error("Failed to create file system manager for project \"absent-project\" and release 1.0.0.0"),
         Error("Missing archive files for version 1.0.0.0: affects: a", "signature")});
}

TEST_F(ArchivedFileResolverTest, ServesBothVersionsOfTheFileRecord)
{
    Archive("1.0.0.0", "x", ArchiveImage().File("a", 1, 2));
    ManifestImage image("atlas", 0x01000000, ManifestImage::Record::V0);
    image.File("a", {ArchivedFlags});
    LocatedFiles located;
    Locate(*Keld::Test::ParseManifest<FileTableEntryV0>(image.Bytes()), located);
    ASSERT_EQ(located.metadata.size(), 1u);
    EXPECT_EQ(located.metadata[0].offset, 1u);
    EXPECT_EQ(located.metadata[0].size, 2u);
}
} // namespace
} // namespace Keld::MORV::Reader
