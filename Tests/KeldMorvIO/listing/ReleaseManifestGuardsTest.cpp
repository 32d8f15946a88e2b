// Manifests whose records contradict each other. The words are patched in images that are right in all else.

#include "KeldMorvIO/listing/ManifestBounds.h"
#include "KeldMorvIO/listing/ParsedManifest.h"
#include "KeldMorvIO/listing/ReleaseManifest.h"
#include "Support/ManifestImage.h"
#include "Support/ReaderLogCapture.h"
#include "Support/TempTree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

namespace Keld::MORV::Reader
{
namespace
{
using Keld::Test::ManifestImage;
using testing::ElementsAre;

constexpr uint_size FirstSubdirectory = 4;
constexpr uint_size SubdirectoryCount = 8;
constexpr uint_size FirstFile = 12;
constexpr uint_size FileCount = 16;

/// Directories: root 0, a 1, b 2, a/c 3. Files: r 0, a/f 1, a/g 2, b/h 3. Strings 0 to 8.
ManifestImage Sample(ManifestImage::Record record = ManifestImage::Record::Current)
{
    ManifestImage image("atlas", 0x01000000, record);
    image.File("r").File("a/f").File("a/g").File("b/h").Directory("a/c");
    return image;
}

class ReleaseManifestGuardsTest : public testing::TestWithParam<ManifestImage::Record>
{
protected:
    ReleaseManifestGuardsTest() : mImage(Sample(GetParam())) {}

    /// The sample with one word changed is refused, in the words that a truncated file gets.
    void ExpectRefused(uint_size offset, uint32 word)
    {
        SCOPED_TRACE(testing::Message() << "word at " << offset << " is " << word);
        ExpectRefused(ManifestImage(mImage).Patch(offset, word));
    }

    void ExpectRefused(const ManifestImage &image)
    {
        const std::string path = mTree.Write("releasemanifest", image.Bytes());
        EXPECT_EQ(ReleaseManifest::Load(path.c_str()), nullptr);
        mLog.ExpectFailures({Keld::Test::Error("The release manifest is invalid.  The file may be truncated.")});
    }

    void ExpectValid(const ManifestImage &image)
    {
        const std::string path = mTree.Write("releasemanifest", image.Bytes());
        const std::unique_ptr<ReleaseManifest> manifest(ReleaseManifest::Load(path.c_str()));
        EXPECT_NE(manifest, nullptr);
        mLog.ExpectFailures({});
    }

    uint_size Directory(const char *path) const { return mImage.DirectoryOffset(path); }
    uint_size File(const char *path) const { return mImage.FileOffset(path); }

    ManifestImage mImage;
    Keld::Test::TempTree mTree;
    Keld::Test::ReaderLogCapture mLog;
};

INSTANTIATE_TEST_SUITE_P(BothVersions, ReleaseManifestGuardsTest,
                         testing::Values(ManifestImage::Record::V0, ManifestImage::Record::Current),
                         [](const auto &record)
                         {
                             return record.param == ManifestImage::Record::V0 ? "V0" : "Current";
                         });

TEST_P(ReleaseManifestGuardsTest, AcceptsTheSampleItself)
{
    ExpectValid(mImage);
}

TEST_P(ReleaseManifestGuardsTest, RefusesNamesThatAreNotAmongTheStrings)
{
    for (const uint32 index : {9u, 0x40000000u, 0xFFFFFFFFu})
    {
        ExpectRefused(ManifestImage::ProjectNameOffset, index);
        ExpectRefused(Directory(""), index);
        ExpectRefused(Directory("a/c"), index);
        ExpectRefused(File("r"), index);
        ExpectRefused(File("b/h"), index);
    }
}

TEST_P(ReleaseManifestGuardsTest, RefusesTablesThatReachOutsideTheImage)
{
    // The last ones wrap to small sizes in 32 bits.
    for (const uint32 count : {1000u, 0x0CCCCCCDu, 0x80000000u, 0xFFFFFFFFu})
    {
        ExpectRefused(ManifestImage::DirectoryCountOffset, count);
    }
    for (const uint32 count : {1000u, 0x071C71C8u, 0x05D1745Eu, 0x80000000u, 0xFFFFFFFFu})
    {
        ExpectRefused(mImage.FileCountOffset(), count);
    }
    const auto dataSize = static_cast<uint32>(mImage.Size() - mImage.StringDataOffset());
    for (const uint32 size : {dataSize + 1, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFF0u, 0xFFFFFFFFu})
    {
        ExpectRefused(mImage.StringDataSizeOffset(), size);
    }
}

TEST_P(ReleaseManifestGuardsTest, RefusesStringDataThatLeavesOutAName)
{
    ExpectRefused(mImage.StringDataSizeOffset(), 0);
    ExpectRefused(mImage.StringDataSizeOffset(), 5);
    const auto dataSize = static_cast<uint32>(mImage.Size() - mImage.StringDataOffset());
    ExpectRefused(mImage.StringDataSizeOffset(), dataSize - 1);
}

TEST_P(ReleaseManifestGuardsTest, RefusesATableWithoutARoot)
{
    ExpectRefused(ManifestImage::DirectoryCountOffset, 0);
    EXPECT_FALSE(DirectoriesFormTrees(nullptr, 0, 0));
}

TEST_P(ReleaseManifestGuardsTest, RefusesRangesOfSubdirectoriesOutsideTheTable)
{
    for (const uint32 first : {2u, 3u, 4u, 0x80000000u, 0xFFFFFFFEu, 0xFFFFFFFFu})
    {
        ExpectRefused(Directory("") + FirstSubdirectory, first);
    }
    for (const uint32 count : {4u, 0x7FFFFFFFu, 0xFFFFFFFFu})
    {
        ExpectRefused(Directory("") + SubdirectoryCount, count);
        ExpectRefused(Directory("b") + SubdirectoryCount, count);
    }
}

TEST_P(ReleaseManifestGuardsTest, RefusesRangesOfFilesOutsideTheTable)
{
    for (const uint32 first : {4u, 0x80000000u, 0xFFFFFFFFu})
    {
        ExpectRefused(Directory("") + FirstFile, first);
        ExpectRefused(Directory("a") + FirstFile, first);
    }
    for (const uint32 count : {2u, 5u, 0x7FFFFFFFu, 0xFFFFFFFFu})
    {
        ExpectRefused(Directory("b") + FileCount, count);
    }
}

TEST_P(ReleaseManifestGuardsTest, RefusesADirectoryOfTwoParents)
{
    ManifestImage image = mImage;
    image.Patch(Directory("b") + FirstSubdirectory, 3).Patch(Directory("b") + SubdirectoryCount, 1);
    ExpectRefused(image);                                // a/c would be b/c as well
    ExpectRefused(Directory("") + SubdirectoryCount, 3); // and here the root's own
}

TEST_P(ReleaseManifestGuardsTest, RefusesAFileOfTwoDirectories)
{
    ExpectRefused(Directory("b") + FirstFile, 2); // a/g would be b/g
    ExpectRefused(Directory("a") + FileCount, 3); // b/h would be a/h
    ExpectRefused(Directory("") + FirstFile, 1);
}

TEST_P(ReleaseManifestGuardsTest, RefusesTheRootAsAChild)
{
    ExpectRefused(Directory("") + FirstSubdirectory, 0);
    ManifestImage image = mImage;
    image.Patch(Directory("a/c") + FirstSubdirectory, 0).Patch(Directory("a/c") + SubdirectoryCount, 1);
    ExpectRefused(image);
    image.Patch(Directory("a") + SubdirectoryCount, 0); // no cycle any more, as nobody holds a/c
    ExpectRefused(image);
}

TEST_P(ReleaseManifestGuardsTest, RefusesADirectoryThatIsItsOwnChild)
{
    ManifestImage image = mImage;
    image.Patch(Directory("a") + SubdirectoryCount, 0);
    image.Patch(Directory("a/c") + FirstSubdirectory, 3).Patch(Directory("a/c") + SubdirectoryCount, 1);
    ExpectRefused(image);
}

TEST_P(ReleaseManifestGuardsTest, RefusesACycleThatTheRootDoesNotReach)
{
    ManifestImage image = mImage;
    image.Patch(Directory("") + SubdirectoryCount, 1);
    image.Patch(Directory("a") + SubdirectoryCount, 0);
    image.Patch(Directory("b") + FirstSubdirectory, 3).Patch(Directory("b") + SubdirectoryCount, 1);
    ExpectValid(image); // b is in no range, with a/c below it

    image.Patch(Directory("a/c") + FirstSubdirectory, 2).Patch(Directory("a/c") + SubdirectoryCount, 1);
    ExpectRefused(image);
}

TEST_P(ReleaseManifestGuardsTest, LetsARangeWithoutChildrenBeginAnywhere)
{
    for (const uint32 first : {0u, 3u, 1000u, 0x80000000u, 0xFFFFFFFFu})
    {
        ManifestImage image = mImage;
        image.Patch(Directory("a/c") + FirstSubdirectory, first).Patch(Directory("a/c") + FirstFile, first);
        ExpectValid(image);
    }
}

TEST_P(ReleaseManifestGuardsTest, ToleratesRecordsThatNoDirectoryHolds)
{
    ManifestImage image = mImage;
    image.Patch(Directory("") + FileCount, 0);
    image.Patch(Directory("a") + SubdirectoryCount, 0);
    ExpectValid(image);
    ExpectRefused(image.Patch(File("r"), 9)); // their names must exist all the same
}

TEST_P(ReleaseManifestGuardsTest, RefusesARangeOutsideItsTableInARecordThatNoDirectoryHolds)
{
    ManifestImage image = mImage;
    image.Patch(Directory("a") + SubdirectoryCount, 0);
    ExpectRefused(ManifestImage(image).Patch(Directory("a/c") + FileCount, 5));
    ExpectRefused(ManifestImage(image).Patch(Directory("a/c") + SubdirectoryCount, 5));
}

TEST_P(ReleaseManifestGuardsTest, WalksWhateverItAcceptsOfAnImageWithAnyWordChanged)
{
    const std::string good = mImage.Bytes();
    for (uint_size offset = 8; offset + 4 <= good.size(); offset += 4)
    {
        for (const uint32 word :
             {0u, 1u, 2u, 3u, 4u, 8u, 9u, 0x10000u, 0x3FFFFFFFu, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu})
        {
            const std::string changed = Keld::Test::ByteImage(good).Word(offset, word).Bytes();
            try
            {
                if (GetParam() == ManifestImage::Record::V0)
                {
                    const auto manifest = Keld::Test::ParseManifest<FileTableEntryV0>(changed);
                    EXPECT_TRUE(!manifest->IsValid() || Keld::Test::WalkManifest(*manifest).size() <= 7u);
                }
                else
                {
                    const auto manifest = Keld::Test::ParseManifest(changed);
                    EXPECT_TRUE(!manifest->IsValid() || Keld::Test::WalkManifest(*manifest).size() <= 7u);
                }
            }
            catch (const std::length_error &)
            {
                EXPECT_EQ(offset, mImage.StringCountOffset());
            }
        }
    }
}
} // namespace
} // namespace Keld::MORV::Reader
