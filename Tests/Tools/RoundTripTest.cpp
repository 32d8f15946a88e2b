#include "Tools/RandomTree.h"
#include "Tools/ReleaseReader.h"

#include "Support/LogRecorder.h"
#include "Support/ReaderLogCapture.h"
#include "Support/TempTree.h"

#include "Tools/TreeReader/TreePlaces.h"
#include "Tools/TreeWriter/ReleasePacker.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace Keld::Test
{
namespace
{
using TreeReader::Compression;
using TreeReader::Storage;
using TreeWriter::PackRequest;
using TreeWriter::StorageChoice;

constexpr MorvVersion FirstVersion = 0x01000000;
constexpr uint32 ReleaseCount = 4;

constexpr uint32 EdgeSizes[] = {0,     1,     65510,  65511,  65512,  65513,  65514,  65515,  65535,
                                65536, 65537, 131071, 131072, 262143, 262144, 262145, 524288, 2'000'000};

StorageChoice RandomChoice(RandomTree &random)
{
    constexpr StorageChoice choices[] = {{Storage::Naked, Compression::None},
                                         {Storage::Managed, Compression::None},
                                         {Storage::Archive, Compression::None},
                                         {Storage::Archive, Compression::Zlib},
                                         {Storage::Archive, Compression::Lzma}};
    return choices[random.Below(std::size(choices))];
}

/// Random folders, packed with random storage as a release and several deltas on it, and read back by a consumer.
class RoundTripTest : public testing::TestWithParam<uint32>
{
protected:
    void WriteSource(const FileContents &files)
    {
        mTree.Remove("source");
        for (const auto &[path, content] : files)
        {
            mTree.Write("source/" + path, content);
        }
    }

    void Pack(uint32 number, RandomTree &random)
    {
        PackRequest request;
        request.source = mTree.Path("source");
        request.root = mTree.Path("MORV");
        request.project = "content";
        request.release = FirstVersion + number;
        request.choice = RandomChoice(random);
        for (const char *glob : {"*.dds", "*.txt", "data/*", "*a*", "b/*", "*_*"})
        {
            request.rules.push_back({glob, RandomChoice(random)});
        }
        request.archiveSize = random.Below(2) == 0 ? 300'000 : TreeWriter::DefaultArchiveSize;
        request.compressAlways = random.Below(2) == 0;
        request.longRecords = random.Below(2) == 0;
        if (number > 0)
        {
            request.base = request.release - 1;
        }
        TreeWriter::PackRelease(request);
    }

    void ExpectServed(uint32 number, const FileContents &files, RandomTree &random)
    {
        const TreeReader::TreePlaces tree(mTree.Path("MORV"));
        const ReleaseReader reader(tree.Release("content", FirstVersion + number).string());
        ASSERT_TRUE(reader.IsStarted());
        std::map<std::string, uint64> sizes;
        for (const auto &[path, content] : files)
        {
            SCOPED_TRACE(path + ", " + std::to_string(content.size()) + " bytes");
            sizes.emplace(path, content.size());
            EXPECT_TRUE(reader.Exists(path));
            EXPECT_TRUE(reader.Read(path, 1 + random.Below(300'000)) == content);
        }
        EXPECT_EQ(reader.FindAll(), sizes);
    }

    TempTree mTree;
    ReaderLogCapture mLog;
};

TEST_P(RoundTripTest, EveryByteOfEveryReleaseComesBackThroughTheExportedCalls)
{
    RandomTree random(GetParam());
    std::vector<FileContents> releases{random.Make(20)};
    while (releases.size() < ReleaseCount)
    {
        releases.push_back(random.Change(releases.back()));
    }
    for (uint32 number = 0; number < ReleaseCount; ++number)
    {
        WriteSource(releases[number]);
        Pack(number, random);
    }
    for (uint32 number = 0; number < ReleaseCount; ++number)
    {
        SCOPED_TRACE("release " + std::to_string(number));
        ExpectServed(number, releases[number], random);
    }
    mLog.ExpectFailures({});
}

INSTANTIATE_TEST_SUITE_P(Seeds, RoundTripTest, testing::Range(1u, 7u));

/// Every size on an edge, in every storage and compression.
class SizeEdgeTest : public testing::TestWithParam<StorageChoice>
{
};

TEST_P(SizeEdgeTest, IncompressibleAndCompressibleFilesOfEverySizeComeBack)
{
    const TempTree tree;
    ReaderLogCapture log;
    FileContents files;
    std::mt19937 random(7);
    for (const uint32 size : EdgeSizes)
    {
        std::string noise(size, '\0');
        for (char &character : noise)
        {
            character = static_cast<char>(random());
        }
        files["noise/" + std::to_string(size)] = noise;
        files["plain/" + std::to_string(size)] = std::string(size, 'k');
    }
    for (const auto &[path, content] : files)
    {
        tree.Write("source/" + path, content);
    }
    PackRequest request;
    request.source = tree.Path("source");
    request.root = tree.Path("MORV");
    request.project = "edges";
    request.release = FirstVersion;
    request.choice = GetParam();
    request.compressAlways = true;
    TreeWriter::PackRelease(request);

    const ReleaseReader reader(tree.Path("MORV/projects/edges/releases/1.0.0.0"));
    for (const auto &[path, content] : files)
    {
        EXPECT_TRUE(reader.Read(path) == content) << path;
    }
    log.ExpectFailures({});
}

INSTANTIATE_TEST_SUITE_P(EveryStorage, SizeEdgeTest,
                         testing::Values(StorageChoice{Storage::Naked, Compression::None},
                                         StorageChoice{Storage::Managed, Compression::None},
                                         StorageChoice{Storage::Archive, Compression::None},
                                         StorageChoice{Storage::Archive, Compression::Zlib},
                                         StorageChoice{Storage::Archive, Compression::Lzma}));
} // namespace
} // namespace Keld::Test
