// Writes the seeds of the corpora, the inputs that a fuzzer starts from: MakeSeeds Fuzz/Corpora

#include "MakeTreeSeeds.h"

#include "Support/ArchiveImage.h"
#include "Support/CompressedStream.h"
#include "Support/DeflateBits.h"
#include "Support/ManifestImage.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace
{
using namespace Keld::Test;

std::filesystem::path gCorpora;

void Write(const char *fuzzer, const char *name, const std::string &bytes)
{
    const std::filesystem::path directory = gCorpora / fuzzer;
    std::filesystem::create_directories(directory);
    std::ofstream(directory / name, std::ios::binary) << bytes;
}

// What the two decoder fuzzers expect before a stream.
std::string OutputHeader(std::size_t size, int blockSize)
{
    return {static_cast<char>(size & 0xFF), static_cast<char>(size >> 8 & 0xFF), static_cast<char>(blockSize)};
}

void WriteStreams()
{
    const std::string text = PatternedBytes(300, 1);
    const std::string noise = RandomBytes(40, 2);
    Write("ZlibFuzzer", "seed-dynamic-codes", OutputHeader(300, 1) + ZlibStream(text, 9));
    Write("ZlibFuzzer", "seed-fixed-codes", OutputHeader(8, 0xFF) + ZlibStream("aaaaaaaa"));
    Write("ZlibFuzzer", "seed-stored", OutputHeader(40, 0xFF) + StoredZlibStream(noise, 16));
    Write("ZlibFuzzer", "seed-stray-byte", OutputHeader(40, 0xFF) + StoredZlibStream(noise) + "x");
    Write("ZlibFuzzer", "seed-too-long", OutputHeader(39, 0xFF) + StoredZlibStream(noise));

    Write("LzmaFuzzer", "seed-compressed", OutputHeader(300, 1) + LzmaFile(text));
    Write("LzmaFuzzer", "seed-stored", OutputHeader(40, 0xFF) + LzmaFile(noise, 40));
    Write("LzmaFuzzer", "seed-no-end-mark", OutputHeader(40, 0xFF) + LzmaHeader(0) + StoredLzma2Chunk(noise, 1));
    Write("LzmaFuzzer", "seed-header-alone", OutputHeader(1, 0) + LzmaHeader(1));
    Write("LzmaFuzzer", "seed-wrong-property", OutputHeader(40, 0xFF) + LzmaHeader(41) + Lzma2Stream(noise));
}

// What the fuzzer of the first try expects before a stream: a form, of which 0x80 mends checksum and size and the lower
// bits choose a size of chunks, the block size and the size.
std::string FormHeader(int form, int blockSize, int size = 0)
{
    return {static_cast<char>(form), static_cast<char>(blockSize), static_cast<char>(size), '\0'};
}

void WriteInflateStream(const char *name, const DeflateBits &bits, int blockSize = 0x1F)
{
    Write("InflateFuzzer", name, FormHeader(0x80, blockSize) + bits.Zlib(""));
}

void WriteInflateStreams()
{
    const std::string noise = RandomBytes(500, 3);
    const std::string mixed = PatternedBytes(3000, 4) + noise + PatternedBytes(3000, 4);
    Write("InflateFuzzer", "seed-as-it-is", FormHeader(7, 0xFF, 8) + ZlibStream("as it is"));
    Write("InflateFuzzer", "seed-several-chunks", FormHeader(0x80, 0x1F) + ZlibStream(mixed, 9));
    Write("InflateFuzzer", "seed-fastest", FormHeader(0x81, 0x0F) + ZlibStream(mixed, 1));

    DeflateBits three;
    three.Stored(noise.substr(0, 480), false).FixedHeader(false).FixedText("fixed").FixedSymbol(285);
    three.FixedDistance(16).Bits(20, 7).FixedSymbol(256);
    std::vector<unsigned> literals(257, 9);
    std::fill_n(literals.begin(), 255, 8);
    three.DynamicHeader(true, literals, {1, 1}).Code(1, 8).Code(2, 8).Code(CanonicalCode(literals, 256), 9);
    WriteInflateStream("seed-each-kind-of-block", three);
    DeflateBits lone;
    lone.DynamicHeader(true, literals, {1}).Code(1, 8).Code(CanonicalCode(literals, 256), 9);
    WriteInflateStream("seed-lone-distance", lone);
    literals.push_back(14);
    WriteInflateStream("seed-too-many-codes", DeflateBits().DynamicHeader(true, literals, {1, 1}).Code(1, 8));
    literals[0] = 0;
    DeflateBits missing;
    missing.DynamicHeader(true, literals, {1, 1}).Code(1, 8).Code(CanonicalCode(literals, 256), 9);
    WriteInflateStream("seed-missing-codes", missing);

    DeflateBits end;
    end.Stored(noise, false).FixedHeader(false).FixedSymbol(256).Stored("", false).FixedHeader(true).FixedSymbol(256);
    WriteInflateStream("seed-end-behind-chunk", end);
    DeflateBits large;
    large.FixedHeader(true).FixedSymbol('a');
    for (int index = 0; index < 330; ++index)
    {
        large.FixedSymbol(285).FixedDistance(0);
    }
    WriteInflateStream("seed-large-output", large.FixedSymbol(256), 0xFF);
    WriteInflateStream(
        "seed-too-far-back",
        DeflateBits().FixedHeader(true).FixedText("ab").FixedSymbol(257).FixedDistance(2).FixedSymbol(256));
}

void WriteArchives()
{
    ArchiveImage archive;
    archive.File("maps/a.dds", 0, 10).File("maps/B.dds", 10, 5).File("c", 15, 0);
    Write("ArchiveIndexFuzzer", "seed-three-files", archive.Bytes());
    Write("ArchiveIndexFuzzer", "seed-no-files", ArchiveImage().Bytes());
    Write("ArchiveIndexFuzzer", "seed-path-outside", archive.Image().Word(archive.PathOffset(1), 0xFFFFFFF0).Bytes());
    Write("ArchiveIndexFuzzer", "seed-count-outside", archive.Image().Word(20, 0x10000003).Bytes());
    Write("ArchiveIndexFuzzer", "seed-no-path", archive.Image().Word(ArchiveImage::RecordOffset(1) + 12, 9).Bytes());
}

// Files that exist wherever the fuzzer runs: names with slashes, which a builder of trees would take for directories.
std::string FoundOnDisk(ManifestImage::Record record)
{
    ManifestFile managed;
    managed.flags = 1;
    ManifestImage manifest("p", 0x01000000, record);
    manifest.File("!proc!version").File("!proc!self!exe").File("!proc!stat", managed).File("d/missing");
    std::string bytes = manifest.Bytes();
    std::replace(bytes.begin(), bytes.end(), '!', '/');
    return bytes;
}

void WriteReleaseManifests()
{
    for (const auto record : {ManifestImage::Record::Current, ManifestImage::Record::V0})
    {
        const bool current = record == ManifestImage::Record::Current;
        ManifestImage manifest("p", 0x01000000, record);
        ManifestFile managed;
        managed.flags = 1;
        manifest.File("d/e/missing").File("d/managed", managed);
        manifest.Directory("empty");
        Write("ReleaseManifestFuzzer", current ? "seed-tree" : "seed-tree-v0", manifest.Bytes());
        Write("ReleaseManifestFuzzer", current ? "seed-found-on-disk" : "seed-found-on-disk-v0", FoundOnDisk(record));
        Write("ReleaseManifestFuzzer", current ? "seed-no-files" : "seed-no-files-v0",
              ManifestImage("p", 0x01000000, record).Bytes());
    }
}

void WriteTexts()
{
    const std::string solution = "MORV Solution Manifest\n1.0.0.0\ngame\n0.0.1.0\n2\nclient\n1.0.0.7\n10\n0\n"
                                 "data\n1.2.0.3\n20\n0\n1\ndefault\n0\n2\nclient\ndata\n";
    Write("SolutionManifestFuzzer", "seed-two-projects", solution);
    Write("SolutionManifestFuzzer", "seed-huge-count", solution.substr(0, 41) + "4294967295\nclient\n");
    const std::string configuration = "MORV Configuration Manifest\n1.0.0.0\ndefault\n2\nclient\ndata\n";
    Write("ConfigurationManifestFuzzer", "seed-two-projects", configuration);
    Write("ConfigurationManifestFuzzer", "seed-missing-names", configuration.substr(0, 44) + "99\nclient\n");

    Write("PathFuzzer", "seed-ordinary",
          "\x7F"
          "maps\\level//a.dds\nb\nc\n*.d?s");
    Write("PathFuzzer", "seed-leading-pair", "\x07//server//share/\n/root\n\na*b*c");
    Write("PathFuzzer", "seed-does-not-fit",
          "\x04"
          "abcd\nefgh\n\n?");
    Write("WorkingDirectoryFuzzer", "seed-project", "/srv/MORV/projects/atlas/releases/1.0.0.7/deploy");
    Write("WorkingDirectoryFuzzer", "seed-solution", "/srv/MORV/solutions/game/releases/0.0.1.0/");
    Write("WorkingDirectoryFuzzer", "seed-incomplete", "\\\\srv\\MORV\\projects//atlas");
    Write("VersionTextFuzzer", "seed-version", "1.2.3.255");
    Write("VersionTextFuzzer", "seed-wide", "65535.0.1.2 and more");
    Write("VersionTextFuzzer", "seed-overflow", "4294967297.1.2.3");
    Write("VersionTextFuzzer", "seed-format", "%(3)0.%(.2)1.%(4.2)2-%3%%%(%9");
}
} // namespace

int main(int argc, char **argv)
{
    if (argc != 2)
    {
        std::fprintf(stderr, "usage: MakeSeeds Fuzz/Corpora\n");
        return 2;
    }
    gCorpora = argv[1];
    WriteStreams();
    WriteInflateStreams();
    WriteArchives();
    WriteReleaseManifests();
    WriteTexts();
    Keld::Fuzz::MakeTreeSeeds(Write);
    return 0;
}
