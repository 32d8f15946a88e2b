// The order of the files found against the plain sort that stands for it.

#include "KeldMorvIO/listing/FoundOrder.h"

#include "KeldMorvIO/listing/ReleaseManifestFormat.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <tuple>
#include <vector>

namespace Keld::MORV::Reader
{
namespace
{
using Fields = std::tuple<AsyncFile, uint32, uint32, uint32, uint32>;

std::vector<Fields> FieldsOf(const LargeVector<FileArchiveMetadata> &metadata)
{
    std::vector<Fields> fields;
    for (const FileArchiveMetadata &record : metadata)
    {
        fields.emplace_back(record.file, record.fileIndex, record.flags, record.offset, record.size);
    }
    return fields;
}

bool ComesBefore(const FileArchiveMetadata &lhs, const FileArchiveMetadata &rhs)
{
    const auto key = [](const FileArchiveMetadata &record)
    {
        return std::make_tuple(record.fileIndex == MissingFileMark, !IsArchivedFile(record.flags),
                               !IsManagedFile(record.flags), static_cast<int32>(record.file), record.fileIndex);
    };
    return key(lhs) < key(rhs);
}

void SortPlainly(LargeVector<FileArchiveMetadata> &metadata, std::vector<uint32> &missing)
{
    for (const uint32 index : missing)
    {
        metadata[index].fileIndex = MissingFileMark;
        metadata[index].flags = MissingFileMark;
    }
    std::stable_sort(metadata.begin(), metadata.end(), ComesBefore);
    std::sort(missing.begin(), missing.end());
    metadata.resize(metadata.size() - missing.size());
}

class FoundOrderTest : public testing::Test
{
protected:
    uint32 Below(uint32 limit) { return static_cast<uint32>(mRandom() % limit); }

    /// One of the kinds 0 to `kindCount` - 1: naked, archived, missing, managed, archived and managed, in no directory.
    void AddFile(uint32 kindCount)
    {
        const auto index = static_cast<uint32>(mMetadata.size());
        // File 0 is always in a directory: the record of zeros of one that is not equals that of a naked one.
        const uint32 kind = Below(index == 0 ? 1 : kindCount);
        constexpr uint32 flags[] = {0, FileFlagArchived, 0, FileFlagManaged, FileFlagArchived | FileFlagManaged};
        FileArchiveMetadata record{};
        if (kind < 5)
        {
            record.fileIndex = index;
            record.flags = flags[kind] | (index == 0 ? 0 : Below(2) * FileFlagCompressed);
        }
        if (IsArchivedFile(record.flags))
        {
            record = {static_cast<AsyncFile>(3 + Below(4)), index, record.flags, Below(100), Below(100)};
        }
        if (kind == 2)
        {
            mMissing.insert(mMissing.begin() + Below(static_cast<uint32>(mMissing.size()) + 1), index);
            record.flags = Below(2) * FileFlagArchived;
        }
        mMetadata.push_back(record);
    }

    std::mt19937 mRandom{1};
    LargeVector<FileArchiveMetadata> mMetadata;
    std::vector<uint32> mMissing;
};

TEST_F(FoundOrderTest, IsThatOfAPlainSort)
{
    for (uint32 round = 0; round < 300; ++round)
    {
        SCOPED_TRACE(round);
        mMetadata.clear();
        mMissing.clear();
        const uint32 count = Below(100);
        const uint32 kindCount = 1 + Below(6);
        while (mMetadata.size() < count)
        {
            AddFile(kindCount);
        }
        LargeVector<FileArchiveMetadata> sorted = mMetadata;
        std::vector<uint32> sortedMissing = mMissing;
        SortPlainly(sorted, sortedMissing);
        OrderFound(mMetadata, mMissing);
        ASSERT_EQ(FieldsOf(sorted), FieldsOf(mMetadata));
        ASSERT_EQ(sortedMissing, mMissing);
    }
}

TEST_F(FoundOrderTest, AFileZeroInNoDirectoryStandsInFrontOfTheNakedOnes)
{
    mMetadata = {{}, {AsyncFile::Null, 1, 0, 0, 0}, {}, {static_cast<AsyncFile>(5), 3, FileFlagArchived, 7, 8}};
    OrderFound(mMetadata, mMissing);
    ASSERT_EQ(4u, mMetadata.size());
    EXPECT_EQ(3u, mMetadata[0].fileIndex);
    EXPECT_EQ(0u, mMetadata[1].fileIndex);
    EXPECT_EQ(0u, mMetadata[2].fileIndex);
    EXPECT_EQ(1u, mMetadata[3].fileIndex);
}

TEST_F(FoundOrderTest, FlagsOfAllOnesAreNotMissing)
{
    mMetadata = {{AsyncFile::Null, 0, 0, 0, 0}, {static_cast<AsyncFile>(5), 1, 0xFFFFFFFF, 1, 2}};
    mMissing = {0};
    OrderFound(mMetadata, mMissing);
    ASSERT_EQ(1u, mMetadata.size());
    EXPECT_EQ(1u, mMetadata[0].fileIndex);
}
} // namespace
} // namespace Keld::MORV::Reader
