#include "KeldMorvIO/listing/ReleaseManifestTemplate.h"
#include "ListingTree.h"
#include "Support/ReaderLogCapture.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>

namespace Keld::MORV::Reader
{
namespace
{
using namespace Keld::Test;
using namespace std::string_literals;
using FileEntry = ProjectListing::FileEntry;

const char *const CreateListingSignature = "Keld::MORV::Reader::ProjectListing "
                                           "*Keld::MORV::Reader::ReleaseManifestTemplate<EntryType>::CreateListing("
                                           "const char *) const";

class ListingConstructionTest : public testing::Test
{
protected:
    static const ProjectListing::ArchiveFile &ArchiveRecord(const FileEntry *entry)
    {
        return *static_cast<const ProjectListing::ArchiveFile *>(entry->mOpenState.Get());
    }

    ReaderLogCapture mLog;
    ListingTree mTree;
};

TEST_F(ListingConstructionTest, RefusesAnInvalidManifest)
{
    LargeVector<char> tooShort(31, '\0');
    const ReleaseManifestTemplate<FileTableEntry> manifest(tooShort);
    EXPECT_EQ(manifest.CreateListing(mTree.Root().c_str()), nullptr);

    LargeVector<char> older(31, '\0');
    const ReleaseManifestTemplate<FileTableEntryV0> olderManifest(older);
    EXPECT_EQ(olderManifest.CreateListing(mTree.Root().c_str()), nullptr);

    const ExpectedLine line =
        Error("Failed to create project listing because the manifest is invalid.", CreateListingSignature);
    mLog.ExpectAll({line, line});
}

TEST_F(ListingConstructionTest, TouchesNoFileWhenTheProjectRootIsTooLong)
{
    mTree.Absent("a.txt");
    const std::string path = mTree.Disk().Write("releasemanifest", mTree.Manifest().Bytes());
    const std::unique_ptr<ReleaseManifest> manifest(ReleaseManifest::Load(path.c_str()));
    ASSERT_NE(manifest, nullptr);
    LogRecorder::Clear();

    const std::string root = "/" + std::string(1023 - std::string("//projects/atlas").size() + 1, 'r');
    EXPECT_EQ(manifest->CreateListing(root.c_str()), nullptr);
    mLog.ExpectAll({Error("The project path is too long: " + root + "/projects/atlas"),
                    Error("Failed to create project listing because the project root could not be obtained.",
                          CreateListingSignature)});

    const std::string fits = root.substr(0, root.size() - 1);
    EXPECT_EQ(manifest->CreateListing(fits.c_str()), nullptr);
    mLog.ExpectAll({Error("The path is too long: " + fits + "/projects/atlas/releases/1.0.0.0/deploy/a.txt")});
}

TEST_F(ListingConstructionTest, GivesNoListingAndNoLineOfItsOwnWhenAllFilesAreMissing)
{
    mTree.Absent("a.txt").Absent("b.txt");
    EXPECT_EQ(mTree.Load(), nullptr);
    mLog.ExpectFailures({Error("Missing naked file: " + mTree.Disk().Path(ListingTree::NakedPath("a.txt"))),
                         Error("Missing naked file: " + mTree.Disk().Path(ListingTree::NakedPath("b.txt")))});
}

TEST_F(ListingConstructionTest, GivesNoListingForAReleaseWithoutFiles)
{
    mTree.Manifest().Directory("empty/nested");
    EXPECT_EQ(mTree.Load(), nullptr);
    mLog.ExpectFailures({});
}

TEST_F(ListingConstructionTest, LogsNothingOfItsOwnOnSuccess)
{
    mTree.Naked("a.txt", "A");
    EXPECT_NE(mTree.Load(), nullptr);
    mLog.ExpectAll({Progress("(\"" + mTree.Disk().Path("releasemanifest") + "\")")});
}

TEST_F(ListingConstructionTest, TakesNameAndVersionFromTheManifest)
{
    mTree.Naked("a.txt", "A").Naked("d/b.txt", "B");
    const auto listing = mTree.Load();
    ASSERT_NE(listing, nullptr);
    EXPECT_STREQ(listing->GetProjectName(), "atlas");
    EXPECT_EQ(listing->GetReleaseVersion(), 0x01000000u);
    EXPECT_EQ(listing->GetProjectRootText(), mTree.ProjectRoot());
    EXPECT_EQ(listing->GetHeader().mDirectoryCount, 2u);
    EXPECT_EQ(listing->GetHeader().mFileCount, 2u);
}

TEST_F(ListingConstructionTest, DropsAMissingFileAndClosesTheGap)
{
    mTree.Naked("a.txt", "A").Absent("b.txt").Naked("c.txt", "C").Absent("d.txt").Naked("e.txt", "E");
    const auto listing = mTree.Load();
    ASSERT_NE(listing, nullptr);
    EXPECT_EQ(NamesIn(listing->FindEntry("")), (std::vector<std::string>{"a.txt", "c.txt", "e.txt"}));
    EXPECT_EQ(listing->FindEntry("b.txt"), nullptr);
    EXPECT_EQ(listing->FindEntry("d.txt"), nullptr);
    EXPECT_EQ(listing->FindEntry("c.txt"), listing->FindEntry("a.txt") + 1);
    EXPECT_EQ(listing->FindEntry("e.txt"), listing->FindEntry("a.txt") + 2);
}

TEST_F(ListingConstructionTest, StartsADirectoryAtItsFirstKeptFile)
{
    mTree.Absent("d/a").Naked("d/b", "B").Absent("d/c").Naked("d/e", "E").Naked("f/g", "G");
    const auto listing = mTree.Load();
    ASSERT_NE(listing, nullptr);
    const DirectoryEntry *const directory = AsDirectoryEntry(listing->FindEntry("d"));
    EXPECT_EQ(directory->mFileCount, 2u);
    EXPECT_EQ(directory->mFirstFile, listing->FindEntry("d/b"));
    EXPECT_EQ(AsDirectoryEntry(listing->FindEntry("f"))->mFirstFile, listing->FindEntry("f/g"));
}

TEST_F(ListingConstructionTest, KeepsADirectoryThatLostAllItsFiles)
{
    mTree.Naked("a.txt", "A").Absent("lost/b.txt").Absent("lost/c.txt");
    const auto listing = mTree.Load();
    ASSERT_NE(listing, nullptr);
    const FileEntry *const lost = listing->FindEntry("lost");
    ASSERT_NE(lost, nullptr);
    EXPECT_TRUE(ProjectListing::IsDirectory(lost));
    EXPECT_EQ(AsDirectoryEntry(lost)->mFileCount, 0u);
    EXPECT_EQ(AsDirectoryEntry(lost)->mFirstFile, nullptr);
    EXPECT_EQ(NamesIn(lost), std::vector<std::string>{});
    EXPECT_EQ(NamesIn(listing->FindEntry("")), (std::vector<std::string>{"lost/", "a.txt"}));
}

TEST_F(ListingConstructionTest, GivesADirectoryWithoutSubdirectoriesNoFirstOne)
{
    mTree.Naked("d/a.txt", "A");
    const auto listing = mTree.Load();
    ASSERT_NE(listing, nullptr);
    const DirectoryEntry *const root = AsDirectoryEntry(listing->FindEntry(""));
    EXPECT_EQ(root->mEntry.mParent, nullptr);
    EXPECT_EQ(root->mSubdirectoryCount, 1u);
    EXPECT_EQ(root->mFirstSubdirectory, AsDirectoryEntry(listing->FindEntry("d")));
    EXPECT_EQ(root->mFileCount, 0u);
    EXPECT_EQ(root->mFirstFile, nullptr);
    EXPECT_EQ(root->mFirstSubdirectory->mEntry.mParent, root);
    EXPECT_EQ(root->mFirstSubdirectory->mSubdirectoryCount, 0u);
    EXPECT_EQ(root->mFirstSubdirectory->mFirstSubdirectory, nullptr);
}

TEST_F(ListingConstructionTest, CopiesWhatTheManifestSaysOfAFile)
{
    mTree.Naked("a.txt", "A");
    mTree.Disk().Write(ListingTree::NakedPath("d/b.txt"), "on disk");
    mTree.Manifest().File("d/b.txt", {.size = 0x89ABCDEF, .version = 0x01020304, .digest = "0123456789abcdef"});
    const auto listing = mTree.Load();
    ASSERT_NE(listing, nullptr);
    const FileEntry *const entry = listing->FindEntry("d/b.txt");
    ASSERT_NE(entry, nullptr);
    EXPECT_STREQ(entry->mEntry.mName, "b.txt");
    EXPECT_EQ(entry->mEntry.mParent, AsDirectoryEntry(listing->FindEntry("d")));
    EXPECT_EQ(std::memcmp(entry->mDigest, "0123456789abcdef", 16), 0);
    EXPECT_EQ(entry->mVersion, 0x01020304u);
    EXPECT_EQ(entry->mSize, 0x89ABCDEFu);
}

TEST_F(ListingConstructionTest, KeepsAllStringDataAlsoOfDroppedFiles)
{
    mTree.Absent("lost.txt").Naked("kept.txt", "K");
    const std::string image = mTree.Manifest().Bytes();
    const std::string strings = image.substr(mTree.Manifest().StringDataOffset());
    mTree.Manifest().Append("trailing\0never read"s);
    const auto listing = mTree.Load();
    ASSERT_NE(listing, nullptr);
    // The root's name is the first string, and the string data is the tail of the block.
    const char *const copied = GetListingEntry(listing->FindEntry("")).mName.Get();
    EXPECT_EQ(std::string(copied, strings.size()), strings);
    EXPECT_NE(strings.find("lost.txt"), std::string::npos);
}

TEST_F(ListingConstructionTest, CountsFilesByStorage)
{
    mTree.Naked("n1", "1").Naked("n2", "22").Naked("n3", "333").Managed("m1", "1").Managed("m2", "22");
    mTree.Archived("a1", "1").Absent("lost");
    const auto listing = mTree.Load();
    ASSERT_NE(listing, nullptr);
    EXPECT_EQ(listing->GetFileHandleHeader().mArchivedCount, 1u);
    EXPECT_EQ(listing->GetFileHandleHeader().mManagedCount, 2u);
    EXPECT_EQ(listing->GetFileHandleHeader().mNakedCount, 3u);
    EXPECT_EQ(listing->GetHeader().mFileCount, 6u);
}

TEST_F(ListingConstructionTest, GivesPlainFilesAClosedOpenStateOfTheirOwn)
{
    mTree.Naked("n1", "1").Managed("m1", "1").Naked("n2", "2").Managed("m2", "2");
    const auto listing = mTree.Load();
    ASSERT_NE(listing, nullptr);
    std::set<const ProjectListing::FileInfo *> states;
    for (const char *const path : {"n1", "n2", "m1", "m2"})
    {
        const FileEntry *const entry = listing->FindEntry(path);
        ASSERT_NE(entry->mOpenState, nullptr) << path;
        EXPECT_EQ(entry->mOpenState->GetReferenceCount(), 0u) << path;
        EXPECT_EQ(entry->mOpenState->GetFile(), AsyncFile::Null) << path;
        states.insert(entry->mOpenState.Get());
    }
    EXPECT_EQ(states.size(), 4u);
}

TEST_F(ListingConstructionTest, CopiesPlaceAndTagOfArchivedFiles)
{
    mTree.Archived("first", "12345").Archived("second", "678", 99, ArchivedZlibFlags);
    const auto listing = mTree.Load();
    ASSERT_NE(listing, nullptr);
    const ProjectListing::ArchiveFile &first = ArchiveRecord(listing->FindEntry("first"));
    const ProjectListing::ArchiveFile &second = ArchiveRecord(listing->FindEntry("second"));
    EXPECT_EQ(first.GetOffset(), 0u);
    EXPECT_EQ(first.GetStoredSize(), 5u);
    EXPECT_EQ(first.GetCompression(), CompressionNone);
    EXPECT_EQ(first.GetReferenceCount(), 0u);
    EXPECT_EQ(second.GetOffset(), 5u);
    EXPECT_EQ(second.GetStoredSize(), 3u);
    EXPECT_EQ(second.GetCompression(), CompressionZlib);
    EXPECT_NE(first.GetFile(), AsyncFile::Null);
    EXPECT_EQ(first.GetFile(), second.GetFile());
}

TEST_F(ListingConstructionTest, KeepsOneDescriptorForEachDataFile)
{
    mTree.Archived("a/1", "1").Archived("a/2", "2").Archived("b/1", "1", 1, ArchivedFlag, "other").Naked("n", "n");
    const std::size_t before = CountDescriptors();
    auto listing = mTree.Load();
    ASSERT_NE(listing, nullptr);
    EXPECT_EQ(CountDescriptors(), before + 2);
    listing.reset();
    EXPECT_EQ(CountDescriptors(), before);
}

TEST_F(ListingConstructionTest, BuildsTheSameListingFromBothRecordVersions)
{
    const auto dump = [](ManifestImage::Record record)
    {
        ListingTree tree(record);
        tree.Naked("n.txt", "naked").Managed("d/m.txt", "managed", 0x01000007).Absent("d/lost").Archived("e/f/a", "x");
        const auto listing = tree.Load();
        std::string text;
        for (const FileEntry *const entry : ChainOf(*listing))
        {
            text += ProjectListing::GetFilePath(entry) + (ProjectListing::IsDirectory(entry) ? " d " : " f ");
            text += std::to_string(ProjectListing::GetFileSize(entry)) + "\n";
        }
        const FileEntry *const managed = listing->FindEntry("d/m.txt");
        text += std::to_string(managed->mVersion) + std::string(managed->mDigest, managed->mDigest + 16);
        return text + std::to_string(listing->GetHeader().mBucketCount);
    };
    const std::string current = dump(ManifestImage::Record::Current);
    EXPECT_EQ(dump(ManifestImage::Record::V0), current);
    EXPECT_NE(current.find("e/f/a f 1\n"), std::string::npos);
}

TEST_F(ListingConstructionTest, KeepsAFileThatNoDirectoryHoldsWithoutListingIt)
{
    mTree.Naked("a.txt", "A").Naked("b.txt", "B").Archived("z/c.txt", "C");
    // The root now ends before its second file.
    mTree.Manifest().Patch(mTree.Manifest().DirectoryOffset("") + 16, 1);
    const auto listing = mTree.Load();
    ASSERT_NE(listing, nullptr);
    EXPECT_EQ(NamesIn(listing->FindEntry("")), (std::vector<std::string>{"z/", "a.txt"}));
    EXPECT_EQ(listing->GetHeader().mFileCount, 3u);
    EXPECT_EQ(listing->GetFileHandleHeader().mNakedCount, 1u);

    const FileEntry *orphan = nullptr;
    for (const FileEntry *const entry : ChainOf(*listing))
    {
        orphan = std::string("b.txt") == GetListingEntry(entry).mName.Get() ? entry : orphan;
    }
    ASSERT_NE(orphan, nullptr);
    EXPECT_EQ(orphan->mOpenState, nullptr);
    LogRecorder::Clear();
    char byte = '#';
    uint32 bytesRead = 77;
    EXPECT_FALSE(listing->Open(orphan));
    EXPECT_FALSE(listing->Read(orphan, 0, 1, &bytesRead, &byte));
    EXPECT_EQ(bytesRead, 77u);
    listing->Close(orphan);
    mLog.ExpectAll({});

    ASSERT_TRUE(listing->Open(listing->FindEntry("a.txt")));
    EXPECT_EQ(ReadWhole(*listing, listing->FindEntry("a.txt")), "A");
    listing->Close(listing->FindEntry("a.txt"));
}

TEST_F(ListingConstructionTest, KeepsADirectoryThatNoDirectoryHoldsOutOfReach)
{
    mTree.Naked("a.txt", "A").Naked("d/b.txt", "B");
    mTree.Manifest().Patch(mTree.Manifest().DirectoryOffset("") + 8, 0); // the root's subdirectories
    const auto listing = mTree.Load();
    ASSERT_NE(listing, nullptr);
    EXPECT_EQ(NamesIn(listing->FindEntry("")), std::vector<std::string>{"a.txt"});
    EXPECT_EQ(listing->GetHeader().mDirectoryCount, 2u);
    EXPECT_EQ(listing->FindEntry("d/b.txt"), nullptr);
    LogRecorder::Clear();
    for (const FileEntry *const entry : ChainOf(*listing))
    {
        const std::string name = GetListingEntry(entry).mName.Get();
        if (name == "d" || name == "b.txt")
        {
            EXPECT_FALSE(listing->Open(entry)) << name;
            EXPECT_EQ(NamesIn(entry), std::vector<std::string>{}) << name;
        }
    }
    mLog.ExpectAll({});
}

// Such a directory is found by its name where that has the hash of bucket 0, and it looks like a file. Behind its
// record come the bytes of the first file's digest, where they could be taken for the way to any open state.
TEST_F(ListingConstructionTest, OpensNoDirectoryThatNoDirectoryHoldsWhateverStandsBehindIt)
{
    for (uint32 word = 4; word < 200; word += 4)
    {
        for (const bool areArchived : {false, true})
        {
            ListingTree tree;
            if (areArchived)
            {
                tree.Archived("a.txt", "content").Archived("b.txt", "content");
            }
            else
            {
                tree.Naked("a.txt", "content").Naked("b.txt", "content");
            }
            tree.Disk().Write(ListingTree::NakedPath("config1.ini"), "on disk");
            tree.Manifest().Directory("config1.ini");
            tree.Manifest().Patch(tree.Manifest().DirectoryOffset("") + 8, 0); // the root's subdirectories
            tree.Manifest().Patch(tree.Manifest().FileOffset(0) + 8, word);
            const auto listing = tree.Load();
            ASSERT_NE(listing, nullptr);
            const FileEntry *const entry = listing->FindEntry("config1.ini");
            ASSERT_NE(entry, nullptr);
            LogRecorder::Clear();
            char byte = '#';
            uint32 bytesRead = 77;
            EXPECT_FALSE(listing->Open(entry)) << word;
            EXPECT_EQ(listing->GetContent(entry), nullptr) << word;
            EXPECT_FALSE(listing->Read(entry, 0, 1, &bytesRead, &byte)) << word;
            EXPECT_TRUE(listing->Read(entry, 0, 0, &bytesRead, &byte)) << word;
            EXPECT_EQ(bytesRead, 77u);
            listing->Close(entry);
            mLog.ExpectAll({});
        }
    }
}
} // namespace
} // namespace Keld::MORV::Reader
