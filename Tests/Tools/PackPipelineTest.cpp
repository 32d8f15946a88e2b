#include "Tools/PackFixture.h"

#include "Tools/TreeWriter/ContentDigest.h"

#include <fstream>
#include <random>

#include <locale.h>
#include <sys/stat.h>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;
using TreeReader::Compression;
using TreeReader::Storage;
using TreeWriter::PackReport;
using TreeWriter::PackRequest;

constexpr std::size_t LargeSize = 9'000'000; // streamed in pieces

std::string Noise(std::size_t size, uint32 seed)
{
    std::mt19937 random(seed);
    std::string noise(size, '\0');
    for (std::size_t at = 0; at + 4 <= size; at += 4)
    {
        const uint32 word = static_cast<uint32>(random());
        noise.replace(at, 4, reinterpret_cast<const char *>(&word), 4);
    }
    return noise;
}

std::string Text(std::size_t size, uint32 seed)
{
    std::mt19937 random(seed);
    std::string text;
    while (text.size() < size)
    {
        text += "word" + std::to_string(random() % 1000) + (random() % 10 == 0 ? "\n" : " ");
    }
    text.resize(size);
    return text;
}

class PackPipelineTest : public PackFixture
{
protected:
    /// Files of every size and kind, some of them twice.
    void WriteMixedSource()
    {
        for (uint32 number = 0; number < 60; ++number)
        {
            const std::size_t size = std::size_t{50} * number * number;
            const std::string name = "source/d" + std::to_string(number % 7) + "/f" + std::to_string(number);
            mTree.Write(name, number % 3 == 0 ? Noise(size, number) : Text(size, number));
            mTree.Write(name + ".again", number % 3 == 0 ? Noise(size, number) : Text(size, number));
        }
        mTree.Write("source/large.txt", Text(LargeSize, 1));
        mTree.Write("source/large.bin", Noise(LargeSize, 1));
        mTree.Write("source/twin.txt", Text(LargeSize, 1));
        mTree.Write("source/small.lzma", Text(50'000, 2));
        mTree.Write("source/large.lzma", Text(LargeSize, 3));
        mTree.Write("source/noise.lzma", Noise(LargeSize, 4));
        mTree.Write("source/large.naked", Noise(LargeSize, 5));
        mTree.Write("source/large.managed", Noise(LargeSize, 6));
    }

    PackRequest MixedRequest(unsigned threads) const
    {
        PackRequest request = Request(Storage::Archive, Compression::Zlib);
        request.rules = {{"*.lzma", {Storage::Archive, Compression::Lzma}},
                         {"*.naked", {Storage::Naked}},
                         {"*.managed", {Storage::Managed}},
                         {"d6/*", {Storage::Archive}},
                         {"d5/*", {Storage::Managed}}};
        request.archiveSize = 1'000'000;
        request.level = 1;
        request.threadCount = threads;
        return request;
    }

    void ExpectServesSource(MorvVersion release = First) const
    {
        const ReleaseReader reader(mTree.Path("MORV/projects/game/releases/" + FormatVersion(release)));
        const fs::path source = mTree.Path("source");
        for (const auto &entry : fs::recursive_directory_iterator(source))
        {
            if (entry.is_regular_file())
            {
                const std::string path = entry.path().lexically_relative(source).string();
                EXPECT_TRUE(reader.Read(path) == TreeReader::ReadWholeFile(entry.path())) << path;
            }
        }
    }

    uint64 DataSize() const
    {
        uint64 size = 0;
        for (const auto &entry : fs::directory_iterator(mTree.Path("MORV/projects/game/filearchives/1.0.0.0")))
        {
            size += entry.path().extension() == ".dat" ? entry.file_size() : 0;
        }
        return size;
    }
};

TEST_F(PackPipelineTest, TheReleaseIsTheSameToTheByteForAnyNumberOfThreads)
{
    WriteMixedSource();
    std::map<std::string, std::string> first;
    for (const unsigned threads : {1U, 3U, 8U})
    {
        const PackReport report = TreeWriter::PackRelease(MixedRequest(threads));
        EXPECT_GT(report.shared, 30u);
        EXPECT_EQ(report.lzma, 2u);
        if (threads == 1)
        {
            ExpectServesSource();
            first = ProjectFiles();
        }
        EXPECT_TRUE(ProjectFiles() == first) << threads;
        mTree.Remove("MORV");
    }
}

TEST_F(PackPipelineTest, NeitherLocaleNorMaskNorZoneNorTheOrderOnDiskChangesARelease)
{
    const std::string names[] = {"\u00e4", "Z", "a", "\u00c4b", "_", "B"};
    const auto write = [&](auto begin, auto end)
    {
        mTree.Remove("source");
        for (; begin != end; ++begin)
        {
            mTree.Write("source/" + *begin, Text(5000, static_cast<uint32>(begin->size())));
        }
    };
    write(std::begin(names), std::end(names));
    TreeWriter::PackRelease(Request(Storage::Archive, Compression::Zlib));
    const std::map<std::string, std::string> first = ProjectFiles();
    mTree.Remove("MORV");

    write(std::rbegin(names), std::rend(names));
    const mode_t mask = umask(077);
    setenv("TZ", "Asia/Kathmandu", 1);
    setlocale(LC_ALL, "C.UTF-8");
    TreeWriter::PackRelease(Request(Storage::Archive, Compression::Zlib));
    setlocale(LC_ALL, "C");
    unsetenv("TZ");
    umask(mask);
    EXPECT_TRUE(ProjectFiles() == first);
}

TEST_F(PackPipelineTest, FilesOfOneContentAreStoredOnceAndEachIsServed)
{
    for (const char *name : {"source/a", "source/b", "source/d/c", "source/large1", "source/large2"})
    {
        const bool large = std::string(name).find("large") != std::string::npos;
        mTree.Write(name, large ? Text(LargeSize, 1) : Text(100'000, 1));
    }
    const PackReport report = TreeWriter::PackRelease(Request(Storage::Archive, Compression::Zlib));
    EXPECT_EQ(report.shared, 3u);
    EXPECT_EQ(report.sharedSize, LargeSize + 200'000);
    EXPECT_EQ(report.storedSize, DataSize());
    EXPECT_EQ(File("a").flags, File("b").flags);
    ExpectServesSource();
    const ReleaseReader reader(mTree.Path("MORV/projects/game/releases/1.0.0.0"));
    EXPECT_EQ(reader.Read("a", 1000), reader.Read("d/c", 77)); // both open at once or one after the other
}

TEST_F(PackPipelineTest, FilesOfOneContentShareItWithoutCompressionToo)
{
    mTree.Write("source/a", Noise(1000, 1));
    mTree.Write("source/b", Noise(1000, 1));
    mTree.Write("source/c", Noise(1000, 2));
    EXPECT_EQ(TreeWriter::PackRelease(Request(Storage::Archive)).shared, 1u);
    EXPECT_EQ(DataSize(), 2000u);
    ExpectServesSource();
}

TEST_F(PackPipelineTest, NothingSharesAnLzmaFileSinceItsFirstOpenClosesTheArchive)
{
    mTree.Write("source/a", Text(10'000, 1));
    mTree.Write("source/b", Text(10'000, 1));
    const PackReport report = TreeWriter::PackRelease(Request(Storage::Archive, Compression::Lzma));
    EXPECT_EQ(report.shared, 0u);
    EXPECT_EQ(report.archives, 2u);
    ExpectServesSource();
}

TEST_F(PackPipelineTest, AnEqualDigestAloneMakesNoTwins)
{
    // Two contents of one MD5, published by Wang and others in 2004; they differ in six bits.
    const std::string begin = "d131dd02c5e6eec4693d9a0698aff95c2fcab5";
    const std::string words[] = {"8712467eab4004583eb8fb7f8955ad340609f4b30283e4888325",
                                 "0712467eab4004583eb8fb7f8955ad340609f4b30283e4888325"};
    const std::string middles[] = {"71415a085125e8f7cdc99fd91dbdf280373c5bd8823e3156348f5bae6dacd436c919c6dd53e2b4"
                                   "87da03fd02396306d248cda0e99f33420f577ee8ce54b67080a80d1ec69821bcb6a8839396f965"
                                   "2b6ff72a70",
                                   "f1415a085125e8f7cdc99fd91dbd7280373c5bd8823e3156348f5bae6dacd436c919c6dd53e234"
                                   "87da03fd02396306d248cda0e99f33420f577ee8ce54b67080280d1ec69821bcb6a8839396f965"
                                   "ab6ff72a70"};
    std::string contents[2];
    for (int index = 0; index < 2; ++index)
    {
        const std::string digits = begin + words[index] + middles[index];
        for (std::size_t at = 0; at < digits.size(); at += 2)
        {
            contents[index] += static_cast<char>(std::stoi(digits.substr(at, 2), nullptr, 16));
        }
    }
    ASSERT_NE(contents[0], contents[1]);
    ASSERT_EQ(TreeWriter::DigestOf(contents[0]), TreeWriter::DigestOf(contents[1]));
    mTree.Write("source/a", contents[0]);
    mTree.Write("source/b", contents[1]);
    mTree.Write("source/c", contents[0]);
    mTree.Write("source/d", contents[1]);
    for (const unsigned threads : {1U, 4U})
    {
        PackRequest request = Request(Storage::Archive);
        request.threadCount = threads;
        EXPECT_EQ(TreeWriter::PackRelease(request).shared, 1u);
        ExpectServesSource();
        mTree.Remove("MORV");
    }
}

TEST_F(PackPipelineTest, ALargeFileThatCompressionDoesNotMakeSmallerIsStoredAsItIs)
{
    mTree.Write("source/a.txt", Text(LargeSize, 1));
    mTree.Write("source/b.bin", Noise(LargeSize, 2));
    mTree.Write("source/c.txt", Text(LargeSize, 3));
    const PackReport report = TreeWriter::PackRelease(Request(Storage::Archive, Compression::Zlib));
    EXPECT_EQ(report.zlib, 2u);
    EXPECT_EQ(File("b.bin").flags, 0x02u);
    EXPECT_EQ(report.storedSize, DataSize());
    ExpectServesSource();
}

TEST_F(PackPipelineTest, ALargeFileThatIsToBeCompressedAlwaysIs)
{
    mTree.Write("source/b.bin", Noise(LargeSize, 2));
    PackRequest request = Request(Storage::Archive, Compression::Zlib);
    request.compressAlways = true;
    TreeWriter::PackRelease(request);
    EXPECT_EQ(File("b.bin").flags, 0x16u);
    ExpectServesSource();
}

TEST_F(PackPipelineTest, AnUnchangedLargeFileOfADeltaIsKept)
{
    mTree.Write("source/same", Text(LargeSize, 1));
    mTree.Write("source/changed", Text(LargeSize, 2));
    TreeWriter::PackRelease(Request(Storage::Archive, Compression::Zlib));
    mTree.Write("source/changed", Text(LargeSize, 3));
    PackRequest delta = Request(Storage::Archive, Compression::Zlib, Second);
    delta.base = First;
    delta.threadCount = 2;
    const PackReport report = TreeWriter::PackRelease(delta);
    EXPECT_EQ(report.kept, 1u);
    EXPECT_EQ(report.changed, 1u);
    EXPECT_EQ(File("same", Second).version, First);
    ExpectServesSource(Second);
}

TEST_F(PackPipelineTest, ALevelThatWorksHarderGivesASmallerRelease)
{
    mTree.Write("source/a", Text(300'000, 1));
    mTree.Write("source/large", Text(LargeSize, 1));
    uint64 sizes[2];
    for (const int level : {1, 9})
    {
        PackRequest request = Request(Storage::Archive, Compression::Zlib);
        request.level = level;
        sizes[level == 1 ? 0 : 1] = TreeWriter::PackRelease(request).storedSize;
        ExpectServesSource();
        mTree.Remove("MORV");
    }
    EXPECT_LT(sizes[1], sizes[0]);
}

TEST_F(PackPipelineTest, ADryRunTellsWhatWouldBeDoneAndMakesNothing)
{
    mTree.Write("source/same", Text(1000, 1));
    mTree.Write("source/changed", Text(1000, 2));
    mTree.Write("source/gone", Text(1000, 3));
    TreeWriter::PackRelease(Request(Storage::Archive, Compression::Zlib));
    const std::map<std::string, std::string> before = ProjectFiles();
    mTree.Write("source/changed", Text(1000, 4));
    mTree.Remove("source/gone");
    mTree.Write("source/moved", Text(1000, 3));
    PackRequest delta = Request(Storage::Managed, Compression::None, Second);
    delta.base = First;
    delta.dryRun = true;
    const PackReport report = TreeWriter::PackRelease(delta);
    EXPECT_EQ(report.kept, 1u);
    EXPECT_EQ(report.changed, 1u);
    EXPECT_EQ(report.removed, 1u);
    EXPECT_EQ(report.added, 1u);
    EXPECT_EQ(report.managed, 2u);
    EXPECT_TRUE(ProjectFiles() == before);
    delta.root = mTree.Path("other/MORV");
    delta.base.reset();
    TreeWriter::PackRelease(delta);
    EXPECT_FALSE(mTree.Exists("other"));
}

TEST_F(PackPipelineTest, ABaseThatIsLaterIsRefused)
{
    mTree.Write("source/a", "x");
    TreeWriter::PackRelease(Request(Storage::Archive, Compression::None, Second));
    PackRequest request = Request(Storage::Archive);
    request.base = Second;
    ExpectRefusal(request, "release 1.0.0.1 is later than 1.0.0.0");
}

TEST_F(PackPipelineTest, MovedFilesAreCountedAndStoredAgain)
{
    mTree.Write("source/old/a", Text(1000, 1));
    mTree.Write("source/b", Text(1000, 2));
    TreeWriter::PackRelease(Request(Storage::Archive));
    fs::create_directory(mTree.Path("source/new"));
    fs::rename(mTree.Path("source/old/a"), mTree.Path("source/new/a"));
    PackRequest delta = Request(Storage::Archive, Compression::None, Second);
    delta.base = First;
    std::string notes;
    delta.note = [&notes](const std::string &note)
    {
        notes += note;
    };
    const PackReport report = TreeWriter::PackRelease(delta);
    EXPECT_EQ(report.moved, 1u);
    EXPECT_EQ(report.storedSize, 1000u);
    EXPECT_NE(notes.find("1 file only moved but is stored again: a file is found under the path that it was stored "
                         "with"),
              std::string::npos)
        << notes;
    ExpectServesSource(Second);
}

TEST_F(PackPipelineTest, WhatReadsBackAsAnotherContentIsNotPublished)
{
    for (const Compression compression : {Compression::None, Compression::Zlib, Compression::Lzma})
    {
        mTree.Write("source/a", Text(100'000, 1));
        PackRequest request = Request(Storage::Archive, compression);
        request.begin = [this](TreeWriter::PackPhase phase, uint64)
        {
            if (phase != TreeWriter::PackPhase::Checking)
            {
                return;
            }
            for (const auto &entry : fs::recursive_directory_iterator(mTree.Path("MORV")))
            {
                if (entry.path().extension() == ".dat")
                {
                    std::fstream data(entry.path(), std::ios::in | std::ios::out | std::ios::binary);
                    data.seekp(static_cast<std::streamoff>(entry.file_size() / 2));
                    data.put('\xA5');
                }
            }
        };
        ExpectRefusal(request, "what was written there");
        EXPECT_FALSE(mTree.Exists("MORV"));
    }
}

TEST_F(PackPipelineTest, EveryThreadEndsWhenOneFileCannotBeRead)
{
    for (int number = 0; number < 50; ++number)
    {
        mTree.Write("source/f" + std::to_string(number), Text(10'000, static_cast<uint32>(number)));
    }
    PackRequest request = Request(Storage::Archive, Compression::Zlib);
    request.threadCount = 4;
    request.begin = [this](TreeWriter::PackPhase, uint64)
    {
        mTree.Write("source/f30", "shorter");
    };
    ExpectRefusal(request, "f30: changed while it was packed");
    EXPECT_FALSE(mTree.Exists("MORV"));
}
} // namespace
} // namespace Keld::Test
