#include "KeldMorvIO/archive/ArchiveFile.h"

#include "KeldMorvIO/archive/ArchiveFileFixture.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace Keld::MORV::Reader
{
namespace
{
using Test::ArchiveImage;
using Test::ByteImage;
using Test::Error;
using Test::LogRecorder;

constexpr const char *RefusedReadInSignature =
    "bool Keld::MORV::Reader::ArchiveFile::Read(const std::string &, bool *)";
constexpr const char *RefusedUnreadableText = "Failed to read our archive directory";

class ArchiveFileRefusalTest : public Test::ArchiveFileFixture
{
protected:
    std::string InvalidText() const
    {
        return "Incorrect magic value or version, invalid archive " + mTree.Path("maps.vka");
    }

    void ExpectRefused(const std::string &bytes)
    {
        mTree.Write("maps.vka", bytes);
        ArchiveFile archive("maps.vka", mTree.Root(), 0);
        bool invalid = false;
        EXPECT_FALSE(archive.Read(&invalid));
        EXPECT_TRUE(invalid);
        mLog.ExpectFailures({Error(InvalidText(), RefusedReadInSignature)});
        ExpectFindsNothing(archive);
    }

    static void ExpectFindsNothing(const ArchiveFile &archive)
    {
        uint32 offset = 7;
        uint32 size = 8;
        std::vector<std::string> paths;
        EXPECT_FALSE(archive.Find("data/file.bin"));
        EXPECT_FALSE(archive.Search("data/file.bin", offset, size));
        EXPECT_EQ(7u, offset);
        EXPECT_EQ(8u, size);
        archive.GetContents(paths);
        EXPECT_TRUE(paths.empty());
        EXPECT_EQ(0u, archive.GetEntryCount());
        EXPECT_EQ(-1, archive.FindEntryIndex(0, "data/file.bin"));
    }
};

TEST_F(ArchiveFileRefusalTest, AnArchiveWithoutRecordsIsRead)
{
    const ArchiveFile &archive = Load(ArchiveImage().Bytes());
    EXPECT_EQ(0u, archive.GetTotalSize());
    ExpectFindsNothing(archive);
}

TEST_F(ArchiveFileRefusalTest, RefusesAnIndexThatEndsInsideItsHeader)
{
    const std::string bytes = ArchiveImage().Bytes();
    for (uint_size length = 0; length < 20; ++length)
    {
        SCOPED_TRACE(length);
        ExpectRefused(bytes.substr(0, length));
    }
}

TEST_F(ArchiveFileRefusalTest, RefusesEveryShorterFormOfAValidIndex)
{
    const std::string bytes = mSample.Bytes();
    for (uint_size length = 20; length < bytes.size(); ++length)
    {
        SCOPED_TRACE(length);
        ExpectRefused(bytes.substr(0, length));
    }
}

TEST_F(ArchiveFileRefusalTest, RefusesAnotherMagicOrVersion)
{
    for (const std::size_t offset : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u})
    {
        SCOPED_TRACE(offset);
        ByteImage image = mSample.Image();
        image.Raw(offset, std::string(1, static_cast<char>(image.Bytes()[offset] ^ 0x40)));
        ExpectRefused(image.Bytes());
    }
}

TEST_F(ArchiveFileRefusalTest, RefusesListsThatReachOutside)
{
    const auto length = static_cast<uint32>(mSample.Bytes().size());
    for (const uint32 value : {length - 3, length, length + 1, 0x7FFFFFFFu, 0xFFFFFFFCu, 0xFFFFFFFFu})
    {
        SCOPED_TRACE(value);
        ExpectRefused(mSample.Image().Word(12, value).Bytes());
        ExpectRefused(mSample.Image().Word(16, value).Bytes());
    }
}

TEST_F(ArchiveFileRefusalTest, RefusesCountsThatReachOutside)
{
    const auto length = static_cast<uint32>(mSample.Bytes().size());
    for (const uint32 value : {length / 8, 0x0FFFFFFFu, 0x10000000u, 0x20000000u, 0xFFFFFFFFu})
    {
        SCOPED_TRACE(value);
        ExpectRefused(mSample.Image().Word(ArchiveImage::FileListOffset, value).Bytes());
        ExpectRefused(mSample.Image().Word(mSample.PathListOffset() + 4, value).Bytes());
    }
}

TEST_F(ArchiveFileRefusalTest, RefusesTextsThatBeginOrEndOutside)
{
    const auto fromList = static_cast<uint32>(mSample.Bytes().size() - mSample.PathListOffset());
    for (const uint32 value : {fromList, fromList + 1, 0x80000000u, 0xFFFFFFFFu})
    {
        SCOPED_TRACE(value);
        ExpectRefused(mSample.Image().Word(mSample.PathOffset(1), value).Bytes());
    }
    ByteImage open = mSample.Image();
    open.Raw(open.Size() - 1, "x");
    ExpectRefused(open.Bytes());
}

TEST_F(ArchiveFileRefusalTest, ATextMayBeTheLastNulOfTheFile)
{
    const auto fromList = static_cast<uint32>(mSample.Bytes().size() - mSample.PathListOffset());
    const ArchiveFile &archive = Load(mSample.Image().Word(mSample.PathOffset(2), fromList - 1).Bytes());
    EXPECT_FALSE(archive.Find("a/B/c"));
    ExpectFound(archive, "data/file.bin", 100, 11);
}

TEST_F(ArchiveFileRefusalTest, AFileThatCannotBeReadIsNotCalledInvalid)
{
    ArchiveFile archive("missing.vka", mTree.Root(), 0);
    bool invalid = false;
    EXPECT_FALSE(archive.Read(&invalid));
    EXPECT_FALSE(invalid);
    mLog.ExpectFailures({Error("Failed to get size of \"" + mTree.Path("missing.vka") + "\"."),
                         Error(RefusedUnreadableText, RefusedReadInSignature)});
    ExpectFindsNothing(archive);

    invalid = true; // left as the caller set it
    EXPECT_FALSE(archive.Read(&invalid));
    EXPECT_TRUE(invalid);
}

TEST_F(ArchiveFileRefusalTest, ARefusalNeedsNoOutput)
{
    mTree.Write("maps.vka", "no archive at all, but long enough");
    ArchiveFile archive("maps.vka", mTree.Root(), 0);
    EXPECT_FALSE(archive.Read(nullptr));
    mLog.ExpectFailures({Error(InvalidText(), RefusedReadInSignature)});
}

TEST_F(ArchiveFileRefusalTest, AFailedSecondReadFindsNothing)
{
    ArchiveFile &archive = Load(mSample.Bytes());
    mTree.Remove("maps.vka");
    EXPECT_FALSE(archive.Read(nullptr));
    ExpectFindsNothing(archive);

    LogRecorder::Clear();
    ArchiveFile &other = Load(mSample.Bytes());
    mTree.Write("maps.vka", std::string(4096, 'x'));
    EXPECT_FALSE(other.Read(nullptr));
    ExpectFindsNothing(other);
}
} // namespace
} // namespace Keld::MORV::Reader
