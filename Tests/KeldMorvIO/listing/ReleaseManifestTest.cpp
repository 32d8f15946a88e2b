#include "KeldMorvIO/listing/ReleaseManifest.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldMorvIO/listing/ParsedManifest.h"
#include "Support/ManifestImage.h"
#include "Support/ReaderLogCapture.h"
#include "Support/TempTree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <stdexcept>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace Keld::MORV::Reader
{
namespace
{
using Keld::Test::ByteImage;
using Keld::Test::Error;
using Keld::Test::ManifestImage;
using Keld::Test::Progress;
using testing::ElementsAre;

constexpr const char *LoadedSignature =
    "static Keld::MORV::Reader::ReleaseManifest *Keld::MORV::Reader::ReleaseManifest::Load(const char *)";
constexpr const char *TruncatedText = "The release manifest is invalid.  The file may be truncated.";
constexpr const char *NoHeaderText = "Failure while reading header";

std::string FieldTextOf(int error)
{
    char text[1024];
    std_strerror(error, text, sizeof text);
    return text;
}

class ReleaseManifestTest : public testing::Test
{
protected:
    std::unique_ptr<ReleaseManifest> Load(const std::string &bytes)
    {
        mPath = mTree.Write("releasemanifest", bytes);
        return LoadPath(mPath);
    }

    std::unique_ptr<ReleaseManifest> LoadPath(const std::string &path)
    {
        mPath = path;
        return std::unique_ptr<ReleaseManifest>(ReleaseManifest::Load(path.c_str()));
    }

    /// The progress line of every load, then these lines.
    void ExpectLines(std::vector<Keld::Test::ExpectedLine> lines)
    {
        lines.insert(lines.begin(), Progress("(\"" + mPath + "\")", LoadedSignature));
        mLog.ExpectAll(lines);
    }

    void ExpectRefused(const std::string &bytes, const std::string &message)
    {
        EXPECT_EQ(Load(bytes), nullptr);
        ExpectLines({Error(message, LoadedSignature)});
    }

    Keld::Test::TempTree mTree;
    Keld::Test::ReaderLogCapture mLog;
    std::string mPath;
};

TEST_F(ReleaseManifestTest, LoadsBothVersionsOfTheFileAndLogsOnlyItsName)
{
    for (const auto record : {ManifestImage::Record::V0, ManifestImage::Record::Current})
    {
        const auto manifest = Load(ManifestImage("atlas", 0x01020304, record).File("data/a.dds").Bytes());
        ASSERT_NE(manifest, nullptr);
        EXPECT_TRUE(manifest->IsValid());
        ExpectLines({});
    }
}

TEST_F(ReleaseManifestTest, GivesTheRecordsOfTheFileAsTheyStand)
{
    const std::string digest = "0123456789abcdef";
    const auto loaded =
        Load(ManifestImage("atlas", 0x01020304).File("data/a.dds", {0x32, 77, 0x01000005, digest, "wxyz"}).Bytes());
    const auto &manifest = dynamic_cast<ReleaseManifestTemplate<FileTableEntry> &>(*loaded);
    EXPECT_STREQ(manifest.GetProjectName(), "atlas");
    EXPECT_EQ(manifest.GetReleaseVersion(), 0x01020304u);
    EXPECT_EQ(manifest.GetDirectoryCount(), 2u);
    ASSERT_EQ(manifest.GetFileCount(), 1u);
    const FileTableEntry &file = manifest.GetFile(0);
    EXPECT_STREQ(manifest.GetString(file.nameIndex), "a.dds");
    EXPECT_EQ(file.version, 0x01000005u);
    EXPECT_EQ(std::string(file.digest, file.digest + 16), digest);
    EXPECT_EQ(file.flags, 0x32u);
    EXPECT_EQ(file.size, 77u);
}

TEST_F(ReleaseManifestTest, TakesTheLongerFileRecordForTheOlderVersion)
{
    const auto loaded = Load(ManifestImage("atlas", 0x01000000, ManifestImage::Record::V0)
                                 .File("a", {0, 1, 0x01000000, "digest", "trail"})
                                 .File("b", {0, 2})
                                 .Bytes());
    const auto &manifest = dynamic_cast<ReleaseManifestTemplate<FileTableEntryV0> &>(*loaded);
    EXPECT_STREQ(manifest.GetString(manifest.GetFile(1).nameIndex), "b");
    EXPECT_EQ(manifest.GetFile(1).size, 2u);
}

TEST_F(ReleaseManifestTest, FindsNoHeaderInAFileOfFewerThanEightBytes)
{
    const std::string whole = ManifestImage().Bytes();
    for (uint_size length = 0; length < 8; ++length)
    {
        SCOPED_TRACE(length);
        ExpectRefused(whole.substr(0, length), NoHeaderText);
    }
}

TEST_F(ReleaseManifestTest, RefusesAFileThatEndsAnywhereBeforeItsStringDataDoes)
{
    for (const auto record : {ManifestImage::Record::V0, ManifestImage::Record::Current})
    {
        const std::string whole = ManifestImage("atlas", 0x01000000, record).File("data/a.dds").Bytes();
        for (uint_size length = 8; length < whole.size(); ++length)
        {
            SCOPED_TRACE(length);
            ExpectRefused(whole.substr(0, length), TruncatedText);
        }
    }
}

TEST_F(ReleaseManifestTest, FailsAtOpeningAFileThatDoesNotExist)
{
    EXPECT_EQ(LoadPath(mTree.Path("absent/releasemanifest")), nullptr);
    ExpectLines({Error("Failed to open \"" + mTree.Path("absent/releasemanifest") + "\".", LoadedSignature)});

    std::filesystem::create_symlink("nowhere", mTree.Path("dangling"));
    EXPECT_EQ(LoadPath(mTree.Path("dangling")), nullptr);
    ExpectLines({Error("Failed to open \"" + mTree.Path("dangling") + "\".", LoadedSignature)});
}

TEST_F(ReleaseManifestTest, ReportsADirectoryAsAFailedRead)
{
    EXPECT_EQ(LoadPath(mTree.MakeDirectory("releasemanifest")), nullptr);
    ExpectLines({Error(FieldTextOf(1), LoadedSignature), Error(NoHeaderText, LoadedSignature)});
}

TEST_F(ReleaseManifestTest, DoesNotWaitForTheWriterOfAFifo)
{
    const std::string path = mTree.Path("releasemanifest");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_EQ(LoadPath(path), nullptr);
    ExpectLines({Error(FieldTextOf(1), LoadedSignature), Error(NoHeaderText, LoadedSignature)});
}

TEST_F(ReleaseManifestTest, FindsNoHeaderInASocketWhichHasNoBytes)
{
    const int socketFile = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_GE(socketFile, 0);
    const std::string path = mTree.Path("s");
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    ASSERT_LT(path.size(), sizeof address.sun_path);
    path.copy(address.sun_path, path.size());
    ASSERT_EQ(bind(socketFile, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    close(socketFile);

    EXPECT_EQ(LoadPath(path), nullptr);
    ExpectLines({Error(NoHeaderText, LoadedSignature)});
}

TEST_F(ReleaseManifestTest, ReportsAShortReadWithTheTextOfTheStreamsError)
{
    // Files of the kernel's own tree state a size of one page, and end long before it.
    const std::string path = mTree.Path("releasemanifest");
    std::filesystem::create_symlink("/sys/devices/system/cpu/online", path);
    ASSERT_EQ(std_file_size(path.c_str()), 4096u);
    EXPECT_EQ(LoadPath(path), nullptr);
    ExpectLines({Progress(FieldTextOf(0), LoadedSignature), Error(NoHeaderText, LoadedSignature)});
}

TEST_F(ReleaseManifestTest, LooksAtTheMagicBeforeTheVersionAndTheSizes)
{
    const std::string good = ManifestImage().File("a").Bytes();
    for (const char *const magic : {"qVMF", "FMVQ", "QVMG", "\0\0\0\0"})
    {
        ExpectRefused(ByteImage(good).Raw(0, std::string(magic, 4)).Bytes(), "Failed to find magic value");
    }
    ExpectRefused(ByteImage().Raw(0, "FMVQ").Word(4, 7).Bytes(), "Failed to find magic value");
    ExpectRefused(ByteImage().Raw(0, "FMVQ").Word(4, 0x10002).Word(27, 0).Bytes(), "Failed to find magic value");
}

TEST_F(ReleaseManifestTest, NamesTheVersionThatItFoundAndAlwaysTheNewestAsCurrent)
{
    const std::string good = ManifestImage().File("a").Bytes();
    const std::pair<uint32, const char *> versions[] = {{0, "0x00000000"},       {1, "0x00000001"},
                                                        {0x10000, "0x00010000"}, {0x10003, "0x00010003"},
                                                        {0x20001, "0x00020001"}, {0xFFFFFFFF, "0xffffffff"}};
    for (const auto &[version, text] : versions)
    {
        ExpectRefused(ByteImage(good).Word(4, version).Bytes(),
                      std::string("Invalid version.  Current version is 0x00010002, found ") + text);
    }
    ExpectRefused(ByteImage().Raw(0, "QVMF").Word(4, 9).Bytes(),
                  "Invalid version.  Current version is 0x00010002, found 0x00000009");
}

TEST_F(ReleaseManifestTest, RefusesTheSmallestImageBecauseItHasNoRoot)
{
    const std::string smallest = ByteImage().Raw(0, "QVMF").Word(4, 0x10002).Word(28, 0).Bytes();
    ASSERT_EQ(smallest.size(), 32u);
    ExpectRefused(smallest, TruncatedText);
}

TEST_F(ReleaseManifestTest, RefusesImagesOfTwoGibibytesAndMore)
{
    for (const uint64 size : {uint64{0x80000000}, uint64{0xFFFFFFFE}, uint64{0xFFFFFFFF}})
    {
        SCOPED_TRACE(size);
        const std::string path = mTree.Write("releasemanifest", ManifestImage().File("a").Bytes());
        std::filesystem::resize_file(path, size);
        EXPECT_EQ(LoadPath(path), nullptr);
        ExpectLines({Error(TruncatedText, LoadedSignature)});
    }
}

TEST_F(ReleaseManifestTest, TakesTheLowWordOfALargerFilesSize)
{
    const std::string bytes = ManifestImage().File("a").Bytes();
    const std::string path = mTree.Write("releasemanifest", bytes);
    std::filesystem::resize_file(path, 0x100000000 + bytes.size());
    EXPECT_NE(LoadPath(path), nullptr);
    ExpectLines({});
}

TEST_F(ReleaseManifestTest, RaisesALengthErrorForAHugeStringCount)
{
    ManifestImage image;
    image.File("a");
    for (const uint32 count : {0x40000000u, 0xFFFFFFFFu})
    {
        image.Patch(image.StringCountOffset(), count);
        try
        {
            Load(image.Bytes());
            ADD_FAILURE() << "loaded with a string count of " << count;
        }
        catch (const std::length_error &error)
        {
            EXPECT_STREQ(error.what(), "vector::reserve");
        }
        ExpectLines({});
    }
}

TEST_F(ReleaseManifestTest, LooksAtTheSizesBeforeTheStringCount)
{
    ManifestImage image;
    image.File("a");
    image.Patch(image.StringCountOffset(), 0xFFFFFFFF);
    image.Patch(image.StringDataSizeOffset(), 0x7FFFFFFF);
    ExpectRefused(image.Bytes(), TruncatedText);
}

TEST_F(ReleaseManifestTest, ToleratesAnyOtherStringCount)
{
    for (const uint32 count : {0u, 1u, 100u, 0x3FFFFFFFu})
    {
        SCOPED_TRACE(count);
        ManifestImage image;
        image.File("data/a").Patch(image.StringCountOffset(), count);
        const auto manifest = Keld::Test::ParseManifest(image.Bytes());
        ASSERT_TRUE(manifest->IsValid());
        EXPECT_THAT(Keld::Test::WalkManifest(*manifest), ElementsAre("data/", "data/a"));
    }
}

TEST_F(ReleaseManifestTest, ToleratesBytesBehindTheStringData)
{
    for (const std::string &tail : {std::string("x"), std::string("more\0strings\0", 13), std::string(40, '\0')})
    {
        const auto manifest = Keld::Test::ParseManifest(ManifestImage().File("data/a").Append(tail).Bytes());
        ASSERT_TRUE(manifest->IsValid());
        EXPECT_THAT(Keld::Test::WalkManifest(*manifest), ElementsAre("data/", "data/a"));
    }
}

TEST_F(ReleaseManifestTest, TakesTheBytesThatItIsGivenWithoutACopy)
{
    const std::string bytes = ManifestImage().File("a").Bytes();
    LargeVector<char> image(bytes.begin(), bytes.end());
    const char *const begin = image.data();
    const ReleaseManifestTemplate<FileTableEntry> manifest(image);
    EXPECT_TRUE(image.empty());
    EXPECT_GE(manifest.GetString(0), begin);
    EXPECT_LT(manifest.GetString(0), begin + bytes.size());
}

TEST_F(ReleaseManifestTest, IsNotValidWithoutAnImage)
{
    EXPECT_FALSE(Keld::Test::ParseManifest("")->IsValid());
    EXPECT_FALSE(Keld::Test::ParseManifest<FileTableEntryV0>("")->IsValid());
}

TEST_F(ReleaseManifestTest, LosesALastStringWithoutItsNul)
{
    ManifestImage image;
    image.File("a").Append("lost");
    const auto whole = static_cast<uint32>(image.Size() - image.StringDataOffset());
    image.Patch(image.StringDataSizeOffset(), whole);
    EXPECT_TRUE(Keld::Test::ParseManifest(image.Bytes())->IsValid());

    image.Patch(image.FileOffset("a"), 3); // strings 0 to 2 end, "lost" would be the next
    ExpectRefused(image.Bytes(), TruncatedText);
}

TEST_F(ReleaseManifestTest, RefusesANameThatEndsBehindTheStringData)
{
    ManifestImage image;
    image.File("a").Append(std::string("tail\0next\0", 10));
    const auto data = static_cast<uint32>(image.Size() - image.StringDataOffset());
    image.Patch(image.FileOffset("a"), 3);

    image.Patch(image.StringDataSizeOffset(), data - 5); // "tail" with its NUL
    EXPECT_TRUE(Keld::Test::ParseManifest(image.Bytes())->IsValid());
    for (const uint32 cut : {6u, 9u, 10u})
    {
        image.Patch(image.StringDataSizeOffset(), data - cut);
        ExpectRefused(image.Bytes(), TruncatedText);
    }
}
} // namespace
} // namespace Keld::MORV::Reader
