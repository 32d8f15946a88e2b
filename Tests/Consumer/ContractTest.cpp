#include "Support/ArchiveImage.h"
#include "Support/CompressedStream.h"
#include "Support/ReleaseFixture.h"

// What KeldMorvIO.h tells consumers beside the plain answers of each call.
namespace Keld::Test
{
namespace
{
struct PartResult
{
    HRESULT result;
    std::string bytes;

    bool operator==(const PartResult &) const = default;
};

std::ostream &operator<<(std::ostream &stream, const PartResult &read)
{
    return stream << read.result << " \"" << read.bytes << '"';
}

PartResult ReadPart(const std::string &path, std::uint64_t offset, std::uint32_t size)
{
    OpenFileHandle *const handle = MorvOpenFile(path.c_str());
    std::string bytes(size, '?');
    std::uint32_t bytesRead = 0;
    const HRESULT result = MorvRead(handle, offset, size, &bytesRead, bytes.data());
    MorvCloseFile(handle);
    return {result, bytes.substr(0, bytesRead)};
}

class ContractTest : public ReleaseFixture
{
protected:
    static constexpr const char *Archive = "MORV/projects/atlas/filearchives/1.0.0.0/all.vka";

    // Four files of four bytes each, one of every storage; behind the stored one eight further bytes in its archive.
    void StartEveryStorage()
    {
        const std::string directory = mTree.Project("atlas", "1.0.0.0", {{"naked", "1234"}, {"managed", "1234", true}});
        const std::string packed = ZlibStream("1234");
        mTree.Disk().Write(
            Archive,
            ArchiveImage().File("stored", 0, 4).File("packed", 12, SizeOf(packed)).File("misfit", 0, 5).Bytes());
        mTree.Disk().Write(Archive + std::string(".dat"), "1234next____" + packed);
        ManifestImage manifest("atlas", 0x01000000);
        manifest.File("naked", {.flags = 0, .size = 4}).File("managed", {.flags = 0x01, .size = 4});
        manifest.File("stored", {.flags = 0x02, .size = 4}).File("misfit", {.flags = 0x02, .size = 4});
        manifest.File("packed", {.flags = 0x02 | 0x10 | 0x04, .size = 4});
        mTree.Disk().Write("MORV/projects/atlas/releases/1.0.0.0/releasemanifest", manifest.Bytes());
        Start(directory);
        LogRecorder::Clear();
    }
};

TEST_F(ContractTest, ReadsPastTheEndByStorage)
{
    StartEveryStorage();
    for (const char *const plain : {"naked", "managed"})
    {
        EXPECT_EQ(ReadPart(plain, 2, 6), (PartResult{S_OK, "34"})) << plain;
        EXPECT_EQ(ReadPart(plain, 4, 6), (PartResult{S_OK, ""})) << plain;
        EXPECT_EQ(ReadPart(plain, 400, 6), (PartResult{S_OK, ""})) << plain;
    }
    EXPECT_EQ(ReadPart("stored", 2, 6), (PartResult{S_OK, "34next"}));
    EXPECT_EQ(ReadPart("stored", 4, 4), (PartResult{S_OK, "next"}));
    EXPECT_EQ(ReadPart("stored", 4000, 4), (PartResult{S_OK, ""}));
    EXPECT_EQ(ReadPart("packed", 2, 6), (PartResult{E_FAIL, "34"}));
    EXPECT_EQ(ReadPart("packed", 4, 6), (PartResult{E_FAIL, ""}));
    ExpectFailures({});
}

TEST_F(ContractTest, ReadsLessOfFilesThatEndEarly)
{
    StartEveryStorage();
    mTree.Disk().Write("MORV/projects/atlas/releases/1.0.0.0/deploy/naked", "1");
    mTree.Disk().Write(Archive + std::string(".dat"), "12");
    EXPECT_EQ(ReadPart("naked", 0, 4), (PartResult{S_OK, "1"}));
    EXPECT_EQ(ReadPart("stored", 0, 4), (PartResult{S_OK, "12"}));
    EXPECT_EQ(ReadPart("stored", 2, 2), (PartResult{S_OK, ""}));
    ExpectFailures({});
}

TEST_F(ContractTest, TellsASizeWithoutOpening)
{
    StartEveryStorage();
    mTree.Disk().Write(Archive + std::string(".dat"), "damaged");
    FindHandle *const find = MorvFindFirstFile("packed");
    std::uint64_t size = 0;
    EXPECT_EQ(MorvFindNextFile(find, nullptr, &size, 0, nullptr), S_OK);
    EXPECT_EQ(size, 4u);
    EXPECT_EQ(MorvFindNextFile(find, nullptr, nullptr, 0, nullptr), E_FAIL);
    MorvFindClose(find);
}

TEST_F(ContractTest, LogsNothingOfDamagedBytesNorOfAReadThatFails)
{
    StartEveryStorage();
    mTree.Disk().Write(Archive + std::string(".dat"), "1234next____damaged");
    EXPECT_EQ(MorvOpenFile("packed"), nullptr);
    EXPECT_EQ(ReadPart("naked", 0x8000000000000000, 1).result, E_FAIL);
    ExpectFailures({});
}

TEST_F(ContractTest, LogsEachOpenOfAStoredFileWhoseSizesDiffer)
{
    StartEveryStorage();
    for (int attempt = 0; attempt < 2; ++attempt)
    {
        EXPECT_EQ(MorvOpenFile("misfit"), nullptr);
        ExpectFailures({Error("Mismatch between manifest size and archive size for: misfit")});
    }
}

TEST_F(ContractTest, LogsNothingOfWhatIsNotThere)
{
    StartEveryStorage();
    for (const std::string &path :
         {std::string("absent"), std::string("absent/file"), std::string("/"), std::string(5000, 'x')})
    {
        EXPECT_EQ(MorvOpenFile(path.c_str()), nullptr);
        EXPECT_EQ(MorvFindFirstFile((path + "/none/*").c_str()), nullptr);
    }
    ExpectFailures({});
}

TEST_F(ContractTest, LogsEachFailedOpenOfAFileThatHasGone)
{
    StartEveryStorage();
    mTree.Disk().Remove("MORV/projects/atlas/releases/1.0.0.0/deploy/naked");
    for (int attempt = 0; attempt < 2; ++attempt)
    {
        EXPECT_EQ(MorvOpenFile("naked"), nullptr);
        EXPECT_FALSE(LogRecorder::Failures().empty());
        LogRecorder::Clear();
    }
}

TEST_F(ContractTest, LogsAFileThatTheStartDoesNotFindAndMissesItAfterwards)
{
    Start(mTree.Project("atlas", "1.0.0.0", {{"there", "1"}, {"gone", "1", false, true}}));
    const std::vector<LogLine> failures = LogRecorder::Failures();
    ASSERT_EQ(failures.size(), 1u);
    EXPECT_EQ(failures[0].severity, 2);
    LogRecorder::Clear();
    EXPECT_EQ(MorvFileExists("gone"), 0u);
    EXPECT_EQ(MorvOpenFile("gone"), nullptr);
    ExpectFailures({});
}

TEST_F(ContractTest, TakesARelativeDirectoryAsText)
{
    const std::string release = mTree.Project("atlas", "1.0.0.0", {{"naked", "1234"}});
    {
        const WorkingDirectory inside(release);
        EXPECT_EQ(Initialize("."), E_FAIL);
    }
    {
        const WorkingDirectory inside(mTree.Path("projects/atlas/releases"));
        EXPECT_EQ(Initialize("1.0.0.0"), E_FAIL);
    }
    {
        const WorkingDirectory inside(mTree.Root());
        EXPECT_EQ(Initialize("projects/atlas/releases/1.0.0.0"), S_OK);
        EXPECT_EQ(MorvFileExists("naked"), 0u);
        MorvShutdown();
    }
    {
        const WorkingDirectory inside(mTree.Disk().Path(""));
        EXPECT_EQ(Initialize("MORV/projects/atlas/releases/1.0.0.0"), S_OK);
        EXPECT_EQ(Content("naked"), "1234");
    }
    EXPECT_EQ(MorvFileExists("naked"), 1u);
    EXPECT_EQ(MorvOpenFile("naked"), nullptr);
}

TEST(VersionTest, IsTheOneOfTheBuild)
{
    const std::string text = std::to_string(MORV_VERSION_MAJOR) + "." + std::to_string(MORV_VERSION_MINOR) + "." +
                             std::to_string(MORV_VERSION_PATCH);
    EXPECT_EQ(text, KELD_VERSION);
    EXPECT_EQ(MORV_VERSION, MORV_VERSION_MAJOR * 10000 + MORV_VERSION_MINOR * 100 + MORV_VERSION_PATCH);
}
} // namespace
} // namespace Keld::Test
