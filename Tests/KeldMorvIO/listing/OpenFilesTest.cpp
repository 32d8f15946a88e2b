#include "KeldMorvIO/listing/ProjectListing.h"

#include "ListingTree.h"
#include "Support/ReaderLogCapture.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace Keld::MORV::Reader
{
namespace
{
using namespace Keld::Test;
using FileEntry = ProjectListing::FileEntry;

const char *const FileInfoPrefix = "Keld::MORV::Reader::ProjectListing::FileInfo::";

std::string Signature(const std::string &result, const std::string &call)
{
    return result + " " + FileInfoPrefix + call;
}

const ExpectedLine ReadOfNull =
    Error("A null file handle was passed to Read.", Signature("bool", "Read(uint64, uint32, uint32 *, void *) const"));
const ExpectedLine CloseOfNull = Error("A null file handle was passed to Close.", Signature("void", "Close()"));
const ExpectedLine NeverClosed = Error("The file was not closed before shutdown.", Signature("void", "Reset()"));

struct ReadResult
{
    bool success;
    uint32 bytesRead;
    std::string bytes;
};

constexpr uint32 Untouched = 0x55AA55AA;

ReadResult ReadAt(const ProjectListing &listing, const FileEntry *entry, uint64 offset, uint32 count)
{
    ReadResult result{false, Untouched, std::string(count, '#')};
    result.success = listing.Read(entry, offset, count, &result.bytesRead, result.bytes.data());
    return result;
}

/// A naked and a managed file behave alike but for their place; each test runs on both.
class OpenFilesTest : public testing::TestWithParam<bool>
{
protected:
    OpenFilesTest()
    {
        mTree.Naked("naked/file.txt", "The naked file.").Managed("managed/file.txt", "The managed file.", 0x01000007);
        Load();
    }

    void Load()
    {
        mListing = mTree.Load();
        mFile = mListing->FindEntry(IsManaged() ? "managed/file.txt" : "naked/file.txt");
        mDescriptors = CountDescriptors();
        LogRecorder::Clear();
    }

    static bool IsManaged() { return GetParam(); }

    static std::string Content() { return IsManaged() ? "The managed file." : "The naked file."; }

    static std::string PlaceOnDisk()
    {
        return IsManaged() ? ListingTree::ManagedPath("managed/file.txt", 0x01000007)
                           : ListingTree::NakedPath("naked/file.txt");
    }

    uint32 References() const { return mFile->mOpenState->GetReferenceCount(); }

    ReaderLogCapture mLog;
    ListingTree mTree;
    std::unique_ptr<ProjectListing> mListing;
    const FileEntry *mFile = nullptr;
    std::size_t mDescriptors = 0;
};

INSTANTIATE_TEST_SUITE_P(Storage, OpenFilesTest, testing::Bool(),
                         [](const auto &kind)
                         {
                             return kind.param ? "Managed" : "Naked";
                         });

TEST_P(OpenFilesTest, OpensReadsAndCloses)
{
    ASSERT_TRUE(mListing->Open(mFile));
    EXPECT_EQ(CountDescriptors(), mDescriptors + 1);
    EXPECT_EQ(ReadWhole(*mListing, mFile), Content());
    EXPECT_EQ(ReadAt(*mListing, mFile, 4, 5).bytes, Content().substr(4, 5));
    mListing->Close(mFile);
    EXPECT_EQ(CountDescriptors(), mDescriptors);
    EXPECT_EQ(mFile->mOpenState->GetFile(), AsyncFile::Null);
    mLog.ExpectAll({});
}

TEST_P(OpenFilesTest, SharesOneHandleAmongAllOpeners)
{
    ASSERT_TRUE(mListing->Open(mFile));
    const AsyncFile file = mFile->mOpenState->GetFile();
    ASSERT_TRUE(mListing->Open(mFile));
    ASSERT_TRUE(mListing->Open(mFile));
    EXPECT_EQ(mFile->mOpenState->GetFile(), file);
    EXPECT_EQ(References(), 3u);
    EXPECT_EQ(CountDescriptors(), mDescriptors + 1);

    mListing->Close(mFile);
    mListing->Close(mFile);
    EXPECT_EQ(ReadWhole(*mListing, mFile), Content());
    mListing->Close(mFile);
    EXPECT_EQ(References(), 0u);
    EXPECT_EQ(CountDescriptors(), mDescriptors);
    mLog.ExpectAll({});
}

TEST_P(OpenFilesTest, OpensAgainAfterTheLastClose)
{
    for (int round = 0; round < 3; ++round)
    {
        ASSERT_TRUE(mListing->Open(mFile));
        EXPECT_EQ(ReadWhole(*mListing, mFile), Content());
        mListing->Close(mFile);
    }
    EXPECT_EQ(CountDescriptors(), mDescriptors);
    mLog.ExpectAll({});
}

TEST_P(OpenFilesTest, DeliversLessAtTheEndOfTheFileAndSucceeds)
{
    ASSERT_TRUE(mListing->Open(mFile));
    const auto size = static_cast<uint32>(Content().size());
    const ReadResult across = ReadAt(*mListing, mFile, size - 3, 10);
    EXPECT_TRUE(across.success);
    EXPECT_EQ(across.bytesRead, 3u);
    EXPECT_EQ(across.bytes, Content().substr(size - 3) + "#######");

    const ReadResult behind = ReadAt(*mListing, mFile, size + 1000, 10);
    EXPECT_TRUE(behind.success);
    EXPECT_EQ(behind.bytesRead, 0u);
    mListing->Close(mFile);
}

TEST_P(OpenFilesTest, ReadsOnBehindTheSizeOfTheManifest)
{
    mTree.Disk().Write(PlaceOnDisk(), Content() + " It has grown.");
    ASSERT_TRUE(mListing->Open(mFile));
    const ReadResult grown = ReadAt(*mListing, mFile, Content().size(), 14);
    EXPECT_TRUE(grown.success);
    EXPECT_EQ(grown.bytes, " It has grown.");
    mListing->Close(mFile);
}

TEST_P(OpenFilesTest, ReadsWithoutAPlaceForTheByteCount)
{
    ASSERT_TRUE(mListing->Open(mFile));
    char byte = '#';
    EXPECT_TRUE(mListing->Read(mFile, 4, 1, nullptr, &byte));
    EXPECT_EQ(byte, Content()[4]);
    mListing->Close(mFile);
}

TEST_P(OpenFilesTest, ReadOfNothingSucceedsAlsoOnAClosedFile)
{
    const ReadResult nothing = ReadAt(*mListing, mFile, 3, 0);
    EXPECT_TRUE(nothing.success);
    EXPECT_EQ(nothing.bytesRead, Untouched);
    EXPECT_TRUE(mListing->Read(mFile, 0, 0, nullptr, nullptr));
    mLog.ExpectAll({});
}

TEST_P(OpenFilesTest, RefusesToReadAClosedFile)
{
    const ReadResult refused = ReadAt(*mListing, mFile, 0, 1);
    EXPECT_FALSE(refused.success);
    EXPECT_EQ(refused.bytesRead, Untouched);
    EXPECT_EQ(References(), 0u);
    mLog.ExpectAll({ReadOfNull});
}

TEST_P(OpenFilesTest, RefusesToCloseAClosedFile)
{
    mListing->Close(mFile);
    mLog.ExpectAll({CloseOfNull});

    ASSERT_TRUE(mListing->Open(mFile));
    mListing->Close(mFile);
    mListing->Close(mFile);
    mLog.ExpectAll({CloseOfNull});
    EXPECT_EQ(References(), 0u);
}

TEST_P(OpenFilesTest, TakesTheReferenceBackWhenTheFileIsGoneAndTriesAgainLater)
{
    mTree.Disk().Remove(PlaceOnDisk());
    const std::vector<ExpectedLine> lines{Error("Failed to open: " + mTree.Disk().Path(PlaceOnDisk())),
                                          Error(std::strerror(ENOENT))};
    for (int attempt = 0; attempt < 2; ++attempt)
    {
        EXPECT_FALSE(mListing->Open(mFile));
        EXPECT_EQ(References(), 0u);
        EXPECT_EQ(mFile->mOpenState->GetFile(), AsyncFile::Null);
        mLog.ExpectAll(lines);
    }
    EXPECT_EQ(CountDescriptors(), mDescriptors);

    mTree.Disk().Write(PlaceOnDisk(), Content());
    ASSERT_TRUE(mListing->Open(mFile));
    EXPECT_EQ(ReadWhole(*mListing, mFile), Content());
    mListing->Close(mFile);
    mLog.ExpectAll({});
}

TEST_P(OpenFilesTest, ReportsAReadThatFails)
{
    mTree.Disk().Remove(PlaceOnDisk());
    mTree.Disk().MakeDirectory(PlaceOnDisk());
    ASSERT_TRUE(mListing->Open(mFile)); // a directory opens, and cannot be read
    const ReadResult failed = ReadAt(*mListing, mFile, 0, 4);
    EXPECT_FALSE(failed.success);
    EXPECT_EQ(failed.bytesRead, 0xFFFFFFFFu);
    mListing->Close(mFile);
    EXPECT_EQ(CountDescriptors(), mDescriptors);
    mLog.ExpectAll({});
}

TEST_P(OpenFilesTest, RefusesAnOffsetThatNoFileCanHave)
{
    ASSERT_TRUE(mListing->Open(mFile));
    EXPECT_FALSE(ReadAt(*mListing, mFile, uint64{1} << 63, 4).success);
    EXPECT_FALSE(ReadAt(*mListing, mFile, ~uint64{0}, 4).success);
    mListing->Close(mFile);
}

TEST_P(OpenFilesTest, RefusesAPathThatDoesNotFitWithoutALine)
{
    // No such file is found when a listing is built, so an entry gets the name of an archived one, of which nothing
    // but the index speaks. Names must lie in the listing's own block.
    const std::string name(1024 - std::strlen(IsManaged() ? "managed/" : "naked/"), 'n');
    mTree.Archived("archived/" + name, "A");
    Load();
    const ProjectListing::DirectoryIterator archived(mListing->FindEntry("archived"));
    ASSERT_EQ(archived.GetName(), name);
    const_cast<FileEntry *>(mFile)->mEntry.mName = archived.GetName();
    EXPECT_FALSE(mListing->Open(mFile));
    EXPECT_EQ(References(), 0u);
    EXPECT_EQ(CountDescriptors(), mDescriptors);
    mLog.ExpectAll({});
}

TEST_P(OpenFilesTest, ClosesWhatWasNotClosedWithTheListing)
{
    ASSERT_TRUE(mListing->Open(mFile));
    ASSERT_TRUE(mListing->Open(mFile));
    mListing.reset();
    mLog.ExpectAll({NeverClosed});
    EXPECT_EQ(CountDescriptors(), mDescriptors);
}

class EntryKindTest : public testing::Test
{
protected:
    EntryKindTest()
    {
        mTree.Naked("d/n", "N").Managed("d/m", "M").Archived("d/a", "A");
        mListing = mTree.Load();
        LogRecorder::Clear();
    }

    ReaderLogCapture mLog;
    ListingTree mTree;
    std::unique_ptr<ProjectListing> mListing;
};

TEST_F(EntryKindTest, NullAndDirectoriesAreNoFilesAndCostNoLine)
{
    for (const FileEntry *const entry :
         {static_cast<const FileEntry *>(nullptr), mListing->FindEntry(""), mListing->FindEntry("d")})
    {
        EXPECT_FALSE(mListing->Open(entry));
        const ReadResult one = ReadAt(*mListing, entry, 0, 1);
        EXPECT_FALSE(one.success);
        EXPECT_EQ(one.bytesRead, Untouched);
        EXPECT_FALSE(ReadAt(*mListing, entry, 0, 0).success);
        mListing->Close(entry);
    }
    mLog.ExpectAll({});
}

TEST_F(EntryKindTest, ADestroyedListingReportsEachOpenFileOnceArchivedManagedNaked)
{
    for (const char *const path : {"d/n", "d/m", "d/a"})
    {
        ASSERT_TRUE(mListing->Open(mListing->FindEntry(path)));
        ASSERT_TRUE(mListing->Open(mListing->FindEntry(path)));
    }
    const std::size_t descriptors = CountDescriptors();
    mListing.reset();
    mLog.ExpectAll({NeverClosed, NeverClosed, NeverClosed});
    EXPECT_EQ(CountDescriptors(), descriptors - 3);
}

TEST_F(EntryKindTest, ADestroyedListingWithoutOpenersLogsNothing)
{
    ASSERT_TRUE(mListing->Open(mListing->FindEntry("d/n")));
    mListing->Close(mListing->FindEntry("d/n"));
    mListing.reset();
    mLog.ExpectAll({});
}

TEST_F(EntryKindTest, FilesOfOneNameInDifferentStoragesDoNotMix)
{
    for (const char *const path : {"d/n", "d/m", "d/a"})
    {
        ASSERT_TRUE(mListing->Open(mListing->FindEntry(path)));
    }
    EXPECT_EQ(ReadWhole(*mListing, mListing->FindEntry("d/n")), "N");
    EXPECT_EQ(ReadWhole(*mListing, mListing->FindEntry("d/m")), "M");
    EXPECT_EQ(ReadWhole(*mListing, mListing->FindEntry("d/a")), "A");
    for (const char *const path : {"d/n", "d/m", "d/a"})
    {
        mListing->Close(mListing->FindEntry(path));
    }
    mLog.ExpectAll({});
}

class FileInfoTest : public testing::Test
{
protected:
    ReaderLogCapture mLog;
    ProjectListing::FileInfo mInfo;
};

TEST_F(FileInfoTest, TellsTheFirstAndTheLastReference)
{
    EXPECT_TRUE(mInfo.AddReference());
    EXPECT_FALSE(mInfo.AddReference());
    EXPECT_FALSE(mInfo.RemoveReference());
    EXPECT_TRUE(mInfo.RemoveReference());
    mLog.ExpectAll({});
}

TEST_F(FileInfoTest, RefusesToRemoveAReferenceThatIsNotThere)
{
    EXPECT_FALSE(mInfo.RemoveReference());
    EXPECT_EQ(mInfo.GetReferenceCount(), 0u);
    mLog.ExpectAll({Error("Attempting to close a file multiple times!", Signature("bool", "RemoveReference()"))});
}

TEST_F(FileInfoTest, RefusesToCloseAHandleThatNobodyOpened)
{
    const int descriptor = open("/dev/null", O_RDONLY);
    mInfo.SetFile(static_cast<AsyncFile>(descriptor));
    mInfo.Close();
    mLog.ExpectAll({Error("Attempting to close a file multiple times!", Signature("void", "Close()"))});
    EXPECT_NE(fcntl(descriptor, F_GETFD), -1);
    EXPECT_EQ(mInfo.GetFile(), static_cast<AsyncFile>(descriptor));
    close(descriptor);
}

TEST_F(FileInfoTest, TestsTheHandleBeforeTheCountWhenItCloses)
{
    mInfo.AddReference();
    mInfo.Close();
    mLog.ExpectAll({CloseOfNull});
    EXPECT_EQ(mInfo.GetReferenceCount(), 1u);
}

TEST_F(FileInfoTest, ForgetsAllReferencesOnReset)
{
    mInfo.AddReference();
    mInfo.AddReference();
    mInfo.SetFile(static_cast<AsyncFile>(1234));
    mInfo.Reset();
    EXPECT_EQ(mInfo.GetReferenceCount(), 0u);
    EXPECT_EQ(mInfo.GetFile(), AsyncFile::Null);
    mLog.ExpectAll({NeverClosed});
    mInfo.Reset();
    mLog.ExpectAll({});
}
} // namespace
} // namespace Keld::MORV::Reader
