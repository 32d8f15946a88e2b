#include "KeldMorvIO/listing/ArchiveFilesGuard.h"
#include "KeldMorvIO/listing/ReleaseManifestFormat.h"
#include "ListingTree.h"

#include <gtest/gtest.h>

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace Keld::MORV::Reader
{
namespace
{
using namespace Keld::Test;

TEST(CompressionOfFlagsTest, FollowsTheBitsOfTheRecord)
{
    struct Row
    {
        uint32 flags;
        uint32 tag;
    };
    const Row rows[] = {
        {0x02, CompressionNone},        {0x02 | 0x04, CompressionNone}, {0x02 | 0x20, CompressionNone},
        {0x02 | 0x24, CompressionNone}, {0x12, CompressionNone},        {0x12 | 0x04, CompressionZlib},
        {0x12 | 0x20, CompressionLzma}, {0x12 | 0x24, CompressionZlib}, {0x13 | 0x20 | 0xFFFFFF08, CompressionLzma},
    };
    for (const Row &row : rows)
    {
        EXPECT_EQ(CompressionOfFlags(row.flags), row.tag) << std::hex << row.flags;
    }
}

class ArchiveFilesGuardTest : public testing::Test
{
protected:
    ArchiveFilesGuardTest()
    {
        const int first = open("/dev/null", O_RDONLY);
        const int second = open("/dev/null", O_RDONLY);
        mFirst = static_cast<AsyncFile>(first);
        mSecond = static_cast<AsyncFile>(second);
        mMetadata = {{mFirst, 0, 2, 0, 0},
                     {mFirst, 1, 2, 0, 0},
                     {mSecond, 2, 2, 0, 0},
                     {AsyncFile::Null, 3, 1, 0, 0},
                     {AsyncFile::Null, 4, 0, 0, 0}};
    }

    static bool IsOpen(AsyncFile file) { return fcntl(static_cast<int>(file), F_GETFD) != -1; }

    AsyncFile mFirst;
    AsyncFile mSecond;
    LargeVector<FileArchiveMetadata> mMetadata;
};

TEST_F(ArchiveFilesGuardTest, ClosesEveryDataFileOfAListingThatDoesNotComeToBe)
{
    const std::size_t before = CountDescriptors();
    {
        const ArchiveFilesGuard guard(mMetadata);
    }
    EXPECT_FALSE(IsOpen(mFirst));
    EXPECT_FALSE(IsOpen(mSecond));
    EXPECT_EQ(CountDescriptors(), before - 2);
}

TEST_F(ArchiveFilesGuardTest, ClosesEachOnceInWhateverOrderTheRecordsAre)
{
    mMetadata.push_back(mMetadata[0]);
    mMetadata.push_back(mMetadata[2]);
    mMetadata.push_back(mMetadata[0]);
    const std::size_t before = CountDescriptors();
    errno = 0;
    {
        const ArchiveFilesGuard guard(mMetadata);
    }
    EXPECT_EQ(errno, 0); // as it is left by closing what is open
    EXPECT_EQ(CountDescriptors(), before - 2);
}

TEST_F(ArchiveFilesGuardTest, LeavesThemToTheListingThatTakesThemOver)
{
    {
        ArchiveFilesGuard guard(mMetadata);
        guard.Release();
    }
    EXPECT_TRUE(IsOpen(mFirst));
    EXPECT_TRUE(IsOpen(mSecond));
    close(static_cast<int>(mFirst));
    close(static_cast<int>(mSecond));
}
} // namespace
} // namespace Keld::MORV::Reader
