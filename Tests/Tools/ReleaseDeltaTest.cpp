#include "Tools/PackFixture.h"

namespace Keld::Test
{
namespace
{
using TreeReader::Compression;
using TreeReader::Storage;
using TreeWriter::PackReport;
using TreeWriter::PackRequest;

class ReleaseDeltaTest : public PackFixture
{
protected:
    PackReport PackDelta(Storage storage, MorvVersion release) const
    {
        PackRequest delta = Request(storage, Compression::None, release);
        delta.base = release - 1;
        return TreeWriter::PackRelease(delta);
    }
};

TEST_F(ReleaseDeltaTest, ADeltaStoresWhatChangedAndServesTheRestFromTheBase)
{
    mTree.Write("source/same", "same");
    mTree.Write("source/changed", "old");
    mTree.Write("source/gone", "gone");
    TreeWriter::PackRelease(Request(Storage::Archive));
    mTree.Write("source/changed", "new");
    mTree.Write("source/added", "more");
    mTree.Remove("source/gone");
    const PackReport report = PackDelta(Storage::Managed, Second);
    EXPECT_EQ(report.kept, 1u);
    EXPECT_EQ(report.managed, 2u);
    EXPECT_EQ(report.storedSize, 7u);
    EXPECT_EQ(File("same", Second), File("same", First));
    EXPECT_EQ(File("changed", Second).version, Second);
    EXPECT_EQ(ReadBack("same", Second), "same");
    EXPECT_EQ(ReadBack("changed", Second), "new");
    EXPECT_EQ(ReadBack("gone", Second), "<cannot be opened>");
    EXPECT_EQ(ReadBack("changed", First), "old");
}

TEST_F(ReleaseDeltaTest, ADeltaOfADeltaReachesBackToTheFirstRelease)
{
    mTree.Write("source/a", "1");
    mTree.Write("source/b", "1");
    mTree.Write("source/c", "1");
    TreeWriter::PackRelease(Request(Storage::Archive));
    for (const auto &[release, path] : {std::pair{Second, "source/b"}, {Third, "source/c"}})
    {
        mTree.Write(path, "changed");
        PackDelta(Storage::Archive, release);
    }
    EXPECT_EQ(File("a", Third).version, First);
    EXPECT_EQ(File("b", Third).version, Second);
    EXPECT_EQ(File("c", Third).version, Third);
    EXPECT_EQ(ReadBack("a", Third) + ReadBack("b", Third) + ReadBack("c", Third), "1changedchanged");
}

TEST_F(ReleaseDeltaTest, AnUnchangedNakedFileIsCopiedIntoTheNewReleaseAndKeepsItsVersion)
{
    mTree.Write("source/a", "x");
    TreeWriter::PackRelease(Request(Storage::Naked));
    PackDelta(Storage::Naked, Second);
    EXPECT_EQ(mTree.Read("MORV/projects/game/releases/1.0.0.1/deploy/a"), "x");
    EXPECT_EQ(File("a", Second).version, First);
}

TEST_F(ReleaseDeltaTest, AFileThatTheBaseHasLostIsStoredAnew)
{
    mTree.Write("source/a", "x");
    TreeWriter::PackRelease(Request(Storage::Archive));
    mTree.Remove("MORV/projects/game/filearchives/1.0.0.0/files-0001.vka.dat");
    EXPECT_EQ(PackDelta(Storage::Archive, Second).kept, 0u);
    EXPECT_EQ(ReadBack("a", Second), "x");
}

TEST_F(ReleaseDeltaTest, AFileWhoseSpellingChangedIsStoredAnew)
{
    mTree.Write("source/name", "x");
    TreeWriter::PackRelease(Request(Storage::Managed));
    mTree.Remove("source/name");
    mTree.Write("source/Name", "x");
    EXPECT_EQ(PackDelta(Storage::Managed, Second).kept, 0u);
    EXPECT_EQ(ReadBack("name", Second), "x");
}

TEST_F(ReleaseDeltaTest, RefusesABaseThatIsNotThereOrIsTheReleaseItself)
{
    mTree.Write("source/a", "x");
    PackRequest request = Request(Storage::Naked);
    request.base = Second;
    ExpectRefusal(request, "has no release 1.0.0.1 to be the base");
    request.base = First;
    ExpectRefusal(request, "its own base");
}

TEST_F(ReleaseDeltaTest, AnUnchangedFileStaysWhereItIsWhateverTheStorageAskedFor)
{
    mTree.Write("source/a", "x");
    TreeWriter::PackRelease(Request(Storage::Archive));
    for (const Storage storage : {Storage::Naked, Storage::Managed})
    {
        PackRequest delta = Request(storage, Compression::None, Second);
        delta.base = First;
        delta.replace = true;
        EXPECT_EQ(TreeWriter::PackRelease(delta).kept, 1u);
        EXPECT_EQ(File("a", Second), File("a", First));
        EXPECT_EQ(ReadBack("a", Second), "x");
    }
}

TEST_F(ReleaseDeltaTest, AFileThatChangesBackIsStoredAnew)
{
    mTree.Write("source/a", "x");
    TreeWriter::PackRelease(Request(Storage::Archive));
    mTree.Write("source/a", "y");
    PackDelta(Storage::Archive, Second);
    mTree.Write("source/a", "x");
    EXPECT_EQ(PackDelta(Storage::Archive, Third).kept, 0u);
    EXPECT_EQ(File("a", Third).version, Third);
    EXPECT_EQ(ReadBack("a", First) + ReadBack("a", Second) + ReadBack("a", Third), "xyx");
}

TEST_F(ReleaseDeltaTest, AFileThatBecomesADirectoryAndADirectoryThatBecomesAFile)
{
    mTree.Write("source/file", "1");
    mTree.Write("source/directory/inside", "2");
    TreeWriter::PackRelease(Request(Storage::Archive));
    mTree.Remove("source/file");
    mTree.Remove("source/directory/inside");
    mTree.Remove("source/directory");
    mTree.Write("source/file/inside", "3");
    mTree.Write("source/directory", "4");
    PackDelta(Storage::Archive, Second);
    EXPECT_EQ(ReadBack("file/inside", Second) + ReadBack("directory", Second), "34");
    EXPECT_EQ(ReadBack("file", First) + ReadBack("directory/inside", First), "12");
}
} // namespace
} // namespace Keld::Test
