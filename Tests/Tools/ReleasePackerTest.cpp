#include "Tools/TreeWriter/ReleasePacker.h"

#include "Tools/ArchiveListing.h"
#include "Tools/PackFixture.h"

#include "Tools/TreeWriter/ContentDigest.h"
#include "Tools/TreeWriter/PackPlan.h"

#include <filesystem>
#include <random>

namespace Keld::Test
{
namespace
{
using TreeReader::Compression;
using TreeReader::ReleaseFile;
using TreeReader::Storage;
using TreeWriter::PackReport;
using TreeWriter::PackRequest;

class ReleasePackerTest : public PackFixture
{
protected:
    /// Writes "x" under a path of 1,000 bytes, too long for a file of a release on disk.
    std::string WriteLongPath() const
    {
        std::string path;
        while (path.size() < 900)
        {
            path.append(99, 'd').append("/");
        }
        path.append(1000 - path.size(), 'f');
        mTree.Write("source/" + path, "x");
        return path;
    }
};

TEST_F(ReleasePackerTest, NakedFilesLieInTheReleaseUnderTheirOwnPaths)
{
    mTree.Write("source/Maps/a.map", "abc");
    const PackReport report = TreeWriter::PackRelease(Request(Storage::Naked));
    EXPECT_EQ(mTree.Read("MORV/projects/game/releases/1.0.0.0/deploy/Maps/a.map"), "abc");
    EXPECT_EQ(report.naked, 1u);
    EXPECT_EQ(report.directories, 1u);
    const ReleaseFile expected{"Maps/a.map", First, TreeWriter::DigestOf("abc"), 0, 3};
    EXPECT_EQ(Contents().files, std::vector{expected});
    EXPECT_EQ(ProjectEntries(), std::vector<std::string>{"releases"});
}

TEST_F(ReleasePackerTest, ManagedFilesLieUnderTheirVersion)
{
    mTree.Write("source/a", "abc");
    TreeWriter::PackRelease(Request(Storage::Managed));
    EXPECT_EQ(mTree.Read("MORV/projects/game/managedfiles/1.0.0.0/a"), "abc");
    EXPECT_EQ(File("a").flags, 0x01u);
    EXPECT_TRUE(mTree.Exists("MORV/projects/game/releases/1.0.0.0/deploy")); // consumers start there
}

TEST_F(ReleasePackerTest, ArchivedFilesShareAnArchiveOfTheirVersion)
{
    mTree.Write("source/a", "abc");
    mTree.Write("source/d/b", "de");
    const PackReport report = TreeWriter::PackRelease(Request(Storage::Archive));
    EXPECT_EQ(report.archives, 1u);
    EXPECT_EQ(report.stored, 2u);
    EXPECT_EQ(mTree.Read("MORV/projects/game/filearchives/1.0.0.0/files-0001.vka.dat"), "abcde");
    EXPECT_EQ(File("a").flags, 0x02u);
}

TEST_F(ReleasePackerTest, CompressionIsInTheFlagsAndAnLzmaFileHasItsOwnArchive)
{
    mTree.Write("source/a.z", std::string(1000, 'z'));
    mTree.Write("source/b.l", std::string(1000, 'l'));
    mTree.Write("source/c.l", std::string(1000, 'l'));
    PackRequest request = Request(Storage::Archive, Compression::Zlib);
    request.rules = {{"*.l", {Storage::Archive, Compression::Lzma}}};
    const PackReport report = TreeWriter::PackRelease(request);
    EXPECT_EQ(report.archives, 3u);
    EXPECT_EQ(report.zlib, 1u);
    EXPECT_EQ(report.lzma, 2u);
    EXPECT_EQ(File("a.z").flags, 0x16u);
    EXPECT_EQ(File("b.l").flags, 0x32u);
    for (const char *name : {"lzma-0001.vka", "lzma-0002.vka"})
    {
        const std::string path = mTree.Path(std::string("MORV/projects/game/filearchives/1.0.0.0/") + name);
        EXPECT_EQ(ReadArchiveIndex(path).size(), 1u);
    }
}

TEST_F(ReleasePackerTest, WhatCompressionDoesNotMakeSmallerIsStored)
{
    mTree.Write("source/tiny", "x");
    TreeWriter::PackRelease(Request(Storage::Archive, Compression::Lzma));
    EXPECT_EQ(File("tiny").flags, 0x02u);
    PackRequest always = Request(Storage::Archive, Compression::Lzma, Second);
    always.compressAlways = true;
    TreeWriter::PackRelease(always);
    EXPECT_EQ(File("tiny", Second).flags, 0x32u);
    EXPECT_EQ(ReadBack("tiny", Second), "x");
}

TEST_F(ReleasePackerTest, AZlibStreamWhoseEndWouldLieAloneIsMadeLonger)
{
    std::mt19937 random(1);
    std::string noise(65520, '\0');
    for (char &character : noise)
    {
        character = static_cast<char>(random());
    }
    PackRequest request = Request(Storage::Archive, Compression::Zlib);
    request.compressAlways = true;
    for (int size = 65505; size < 65520; ++size)
    {
        mTree.Write("source/" + std::to_string(size), noise.substr(0, static_cast<std::size_t>(size)));
    }
    TreeWriter::PackRelease(request);
    for (int size = 65505; size < 65520; ++size)
    {
        EXPECT_EQ(File(std::to_string(size)).flags, 0x16u);
        EXPECT_TRUE(ReadBack(std::to_string(size)) == noise.substr(0, static_cast<std::size_t>(size)));
    }
}

TEST_F(ReleasePackerTest, AnEmptyFileJoinsAnArchiveThatHoldsSomething)
{
    mTree.Write("source/empty", "");
    mTree.Write("source/full", "x");
    TreeWriter::PackRelease(Request(Storage::Archive, Compression::Zlib));
    EXPECT_EQ(File("empty").flags, 0x02u);
    EXPECT_EQ(ReadBack("empty"), "");
}

TEST_F(ReleasePackerTest, EmptyFilesAloneAreManagedSinceTheReaderDeletesAnArchiveOfThem)
{
    mTree.Write("source/a", "");
    mTree.Write("source/b", "");
    const PackReport report = TreeWriter::PackRelease(Request(Storage::Archive));
    EXPECT_EQ(report.managed, 2u);
    EXPECT_EQ(report.archives, 0u);
    EXPECT_EQ(File("a").flags, 0x01u);
    EXPECT_EQ(ReadBack("b"), "");
}

TEST_F(ReleasePackerTest, EmptyDirectoriesStay)
{
    mTree.Write("source/a", "x");
    mTree.MakeDirectory("source/empty/deep");
    TreeWriter::PackRelease(Request(Storage::Archive));
    EXPECT_EQ(Contents().directories, (std::vector<std::string>{"empty", "empty/deep"}));
    const ReleaseReader reader(mTree.Path("MORV/projects/game/releases/1.0.0.0"));
    EXPECT_TRUE(reader.Exists("Empty/Deep"));
}

TEST_F(ReleasePackerTest, RefusesAReleaseThatIsThereAndLeavesItAlone)
{
    mTree.Write("source/a", "old");
    TreeWriter::PackRelease(Request(Storage::Archive));
    mTree.Write("source/a", "new");
    ExpectRefusal(Request(Storage::Naked), "is already there");
    EXPECT_EQ(ReadBack("a"), "old");
}

TEST_F(ReleasePackerTest, ReplacesAReleaseWholeWhenAsked)
{
    mTree.Write("source/a", "old");
    mTree.Write("source/gone", "x");
    TreeWriter::PackRelease(Request(Storage::Archive));
    mTree.Write("source/a", "new");
    mTree.Remove("source/gone");
    PackRequest replacement = Request(Storage::Managed);
    replacement.replace = true;
    TreeWriter::PackRelease(replacement);
    EXPECT_EQ(ReadBack("a"), "new");
    EXPECT_FALSE(mTree.Exists("MORV/projects/game/filearchives/1.0.0.0"));
    EXPECT_EQ(ProjectEntries(), (std::vector<std::string>{"filearchives", "managedfiles", "releases"}));
}

TEST_F(ReleasePackerTest, NeverTakesFilesFromUnderAReleaseThatIsServedFromThem)
{
    mTree.Write("source/a", "x");
    TreeWriter::PackRelease(Request(Storage::Archive));
    PackRequest delta = Request(Storage::Archive, Compression::None, Second);
    delta.base = First;
    TreeWriter::PackRelease(delta);
    PackRequest replacement = Request(Storage::Archive);
    replacement.replace = true;
    ExpectRefusal(replacement, "release 1.0.0.1 of game is served from its files");
    EXPECT_EQ(ReadBack("a", Second), "x");
}

TEST_F(ReleasePackerTest, RefusesAVersionWhoseFilesAreThereWithoutARelease)
{
    mTree.Write("source/a", "x");
    mTree.Write("MORV/projects/game/managedfiles/1.0.0.0/other", "y");
    ExpectRefusal(Request(Storage::Naked), "though no release of it");
}

TEST_F(ReleasePackerTest, AFailureOnTheWayLeavesNoReleaseAndNoRemains)
{
    mTree.Write("source/a", "x");
    mTree.Write("MORV/projects/game/managedfiles", "a file where a directory must go");
    EXPECT_ANY_THROW(TreeWriter::PackRelease(Request(Storage::Managed)));
    EXPECT_FALSE(mTree.Exists("MORV/projects/game/releases/1.0.0.0/releasemanifest"));
    EXPECT_EQ(ProjectEntries(), std::vector<std::string>{"managedfiles"});
}

TEST_F(ReleasePackerTest, WhatACheckpointThrowsEndsThePackingAndLeavesNothing)
{
    mTree.Write("source/a", "x");
    mTree.Write("source/b", "y");
    for (int last = 1; last <= 4; ++last) // each file is read for its digest, then stored
    {
        PackRequest request = Request(Storage::Archive);
        int calls = 0;
        request.checkpoint = [&calls, last]
        {
            if (++calls == last)
            {
                throw std::logic_error("enough");
            }
        };
        EXPECT_THROW(TreeWriter::PackRelease(request), std::logic_error) << last;
        EXPECT_FALSE(mTree.Exists("MORV/projects/game") && !ProjectEntries().empty()) << last;
    }
}

TEST_F(ReleasePackerTest, TheSameSourceGivesTheSameBytes)
{
    for (const char *name : {"b", "A", "dir/c", "dir/D"})
    {
        mTree.Write(std::string("source/") + name, std::string(5000, *name));
    }
    for (const Compression compression : {Compression::None, Compression::Zlib, Compression::Lzma})
    {
        PackRequest request = Request(Storage::Archive, compression);
        request.replace = true;
        TreeWriter::PackRelease(request);
        const std::map<std::string, std::string> first = ProjectFiles();
        TreeWriter::PackRelease(request);
        EXPECT_GE(first.size(), 3u);
        EXPECT_TRUE(ProjectFiles() == first);
    }
}

TEST_F(ReleasePackerTest, RefusesASourceAndATreeInsideEachOther)
{
    mTree.Write("MORV/source/a", "x");
    PackRequest inside = Request(Storage::Naked);
    inside.source = mTree.Path("MORV/source");
    ExpectRefusal(inside, "lie inside each other");
    PackRequest around = Request(Storage::Naked);
    around.source = mTree.Root();
    ExpectRefusal(around, "lie inside each other");
}

TEST_F(ReleasePackerTest, APathThatIsTooLongOnDiskIsRefusedUnlessItGoesIntoAnArchive)
{
    const std::string path = WriteLongPath();
    ExpectRefusal(Request(Storage::Naked), "longer than 1023 bytes");
    ExpectRefusal(Request(Storage::Managed), "longer than 1023 bytes");
    TreeWriter::PackRelease(Request(Storage::Archive));
    EXPECT_EQ(ReadBack(path), "x");
}

TEST_F(ReleasePackerTest, APathThatIsTooLongOnDiskIsRefusedOnceItsContentChanges)
{
    const std::string path = WriteLongPath();
    TreeWriter::PackRelease(Request(Storage::Archive));
    PackRequest delta = Request(Storage::Managed, Compression::None, Second);
    delta.base = First;
    TreeWriter::PackRelease(delta); // nothing of it is stored outside of the archive
    EXPECT_EQ(ReadBack(path, Second), "x");
    mTree.Write("source/" + path, "y");
    delta.release = Third;
    for (const bool dryRun : {true, false})
    {
        delta.dryRun = dryRun;
        ExpectRefusal(delta, "longer than 1023 bytes");
    }
    mTree.Write("source/" + path, "");
    ExpectRefusal(Request(Storage::Archive, Compression::None, Third), "longer than 1023 bytes");
    mTree.Write("source/other", "x");
    TreeWriter::PackRelease(Request(Storage::Archive, Compression::None, Third));
    EXPECT_EQ(ReadBack(path, Third), "");
}

TEST_F(ReleasePackerTest, RefusesARootWhosePathLeavesNoRoomForAManifest)
{
    mTree.Write("source/a", "x");
    PackRequest request = Request(Storage::Archive);
    std::string root = mTree.Root();
    root.append("/").append(250, 'a').append("/").append(250, 'b').append("/").append(250, 'c');
    request.root = root.append("/").append(220, 'd').append("/MORV");
    ExpectRefusal(request, "root with a shorter path");
}
} // namespace
} // namespace Keld::Test
