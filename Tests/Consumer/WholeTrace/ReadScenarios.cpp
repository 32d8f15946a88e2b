// Reads at every kind of offset and size, opens that share a file, and what damaged compressed content gives.

#include "Consumer/WholeTrace/Scenario.h"

#include "Support/CompressedStream.h"

#include <iterator>

namespace Keld::Test::WholeTrace
{
namespace
{
constexpr std::uint32_t MiddleSize = 10'000;

void Reads(TraceTree &tree, TracedLibrary &library, Storage storage)
{
    const std::string content = PatternedBytes(MiddleSize, 3);
    library.SetLogger();
    library.Start(tree.Release({.files = {{"a", "before", storage},
                                          {"middle", content, storage},
                                          {"z", "behind", storage},
                                          {"empty", "", storage}}}));
    library.ReadThoroughly("middle", MiddleSize);
    library.Visit("empty");
    library.Visit("a");
    const int first = library.Open("middle");
    const int second = library.Open("MIDDLE");
    library.Close(first);
    library.Read(second, 9'990, 10);
    library.Read(second, 9'990, 100);
    library.Close(second);
    library.Visit("middle");
    library.Stop();
    library.ShowDescriptors();
}

void OddBuffers(TraceTree &tree, TracedLibrary &library)
{
    library.SetLogger();
    library.Start(tree.Release({.files = {{"naked", PatternedBytes(MiddleSize, 1)},
                                          {"stored", PatternedBytes(MiddleSize, 2), Storage::Stored}}}));
    for (const char *const path : {"naked", "stored"})
    {
        const int handle = library.Open(path);
        library.ReadIntoNowhere(handle, 0, 4096);
        library.ReadIntoNowhere(handle, MiddleSize, 4096);
        library.ReadIntoNowhere(handle, 1 << 20, 4096);
        for (const std::uint32_t size : {0x7FFFF000U, 0x7FFFF001U, 0xFFFFF000U})
        {
            library.Read(handle, 100, size);
        }
        library.Close(handle);
    }
}

// Larger than the blocks that content is kept in and than the chunks that it is read in.
void LargeFiles(TraceTree &tree, TracedLibrary &library)
{
    std::vector<TraceFile> files;
    for (const std::size_t size : {65535U, 65536U, 65537U, 262143U, 262144U, 262145U, 700000U})
    {
        const auto seed = static_cast<std::uint32_t>(size);
        files.push_back({"zlib/" + std::to_string(size), PatternedBytes(size, seed), Storage::Zlib});
        files.push_back({"random/" + std::to_string(size), RandomBytes(size, seed), Storage::Zlib, "1.0.0.1"});
        files.push_back({"lzma/" + std::to_string(size), PatternedBytes(size, seed), Storage::Lzma,
                         "2.0.0." + std::to_string(files.size())});
    }
    library.SetLogger();
    library.Start(tree.Release({.version = "2.0.0.0", .files = files}));
    for (const TraceFile &file : files)
    {
        const int handle = library.Open(file.path);
        for (const std::uint32_t offset : {0U, 65530U, 262140U, 262144U, 524280U})
        {
            library.Read(handle, offset, 16);
            library.Read(handle, offset, 300'000);
        }
        library.Close(handle);
    }
}

TraceFile Damaged(const std::string &path, Storage storage, std::string stored, std::uint32_t size)
{
    TraceFile file{path, "", storage};
    file.stored = std::move(stored);
    file.size = size;
    return file;
}

void VisitAllTwice(TracedLibrary &library, const std::vector<TraceFile> &files)
{
    for (const TraceFile &file : files)
    {
        library.Visit(file.path);
        library.Visit(file.path);
    }
    library.ShowDescriptors();
}

void DamagedZlib(TraceTree &tree, TracedLibrary &library)
{
    const std::string plain = PatternedBytes(5000, 9);
    const std::string good = ZlibStream(plain);
    std::vector<TraceFile> files = {
        Damaged("good", Storage::Zlib, good, 5000),
        Damaged("level 0", Storage::Zlib, ZlibStream(plain, 0), 5000),
        Damaged("too short in the manifest", Storage::Zlib, good, 4999),
        Damaged("too long in the manifest", Storage::Zlib, good, 5001),
        Damaged("nothing in the manifest", Storage::Zlib, good, 0),
        Damaged("empty stream", Storage::Zlib, ZlibStream(""), 0),
        Damaged("empty stream for one byte", Storage::Zlib, ZlibStream(""), 1),
        Damaged("a byte behind", Storage::Zlib, good + "x", 5000),
        Damaged("two streams", Storage::Zlib, good + good, 10000),
        Damaged("no zlib", Storage::Zlib, plain, 5000),
        Damaged("garbage behind the header", Storage::Zlib, "\x78\x9c" + RandomBytes(600, 4), 5000)};
    for (const std::size_t cut : {std::size_t{0}, std::size_t{1}, std::size_t{2}, good.size() / 2, good.size() - 5,
                                  good.size() - 4, good.size() - 1})
    {
        files.push_back(Damaged("cut " + std::to_string(cut), Storage::Zlib, good.substr(0, cut), 5000));
    }
    for (const std::size_t flipped : {std::size_t{0}, std::size_t{1}, std::size_t{2}, good.size() / 3, good.size() - 1})
    {
        std::string stream = good;
        stream[flipped] = static_cast<char>(stream[flipped] ^ 0x21);
        files.push_back(Damaged("flipped " + std::to_string(flipped), Storage::Zlib, stream, 5000));
    }
    library.SetLogger();
    library.Start(tree.Release({.files = files}));
    VisitAllTwice(library, files);
}

// The stream's end falls alone into a chunk of 64 KiB, or just not.
void ZlibEnds(TraceTree &tree, TracedLibrary &library)
{
    std::vector<TraceFile> files;
    for (std::uint32_t size = 65536 - 12; size <= 65536 + 2; ++size)
    {
        files.push_back(Damaged(std::to_string(size), Storage::Zlib,
                                StoredZlibStream(RandomBytes(size - 11, size), 65535), size - 11));
    }
    for (std::uint32_t size = 131072 - 3; size <= 131072 + 12; ++size)
    {
        files.push_back(Damaged(std::to_string(size), Storage::Zlib,
                                StoredZlibStream(RandomBytes(size - 6 - 5 * 3, size), 65000), size - 6 - 5 * 3));
    }
    library.SetLogger();
    library.Start(tree.Release({.files = files}));
    VisitAllTwice(library, files);
}

void DamagedLzma(TraceTree &tree, TracedLibrary &library)
{
    const std::string plain = PatternedBytes(5000, 9);
    const std::string good = LzmaFile(plain);
    std::string property = good;
    property[0] = 41;
    std::string flipped = good;
    flipped[good.size() / 2] = static_cast<char>(flipped[good.size() / 2] ^ 0x21);
    std::vector<TraceFile> files = {
        Damaged("good", Storage::Lzma, good, 5000),
        Damaged("too short in the manifest", Storage::Lzma, good, 4999),
        Damaged("too long in the manifest", Storage::Lzma, good, 5001),
        Damaged("nothing in the manifest", Storage::Lzma, good, 0),
        Damaged("empty stream", Storage::Lzma, LzmaFile(""), 0),
        Damaged("a byte behind", Storage::Lzma, good + "x", 5000),
        Damaged("no end mark", Storage::Lzma, good.substr(0, good.size() - 1), 5000),
        Damaged("half", Storage::Lzma, good.substr(0, good.size() / 2), 5000),
        Damaged("header alone", Storage::Lzma, good.substr(0, 9), 5000),
        Damaged("half a header", Storage::Lzma, good.substr(0, 5), 5000),
        Damaged("wrong property", Storage::Lzma, property, 5000),
        Damaged("flipped", Storage::Lzma, flipped, 5000),
        Damaged("stored chunks", Storage::Lzma,
                LzmaHeader(0) + StoredLzma2Chunk("first", 1) + StoredLzma2Chunk("then", 2) + std::string(1, '\0'), 9)};
    for (std::size_t index = 0; index < files.size(); ++index)
    {
        files[index].version = "4.0.0." + std::to_string(index); // an archive each: an open closes it
    }
    library.SetLogger();
    library.Start(tree.Release({.files = files}));
    VisitAllTwice(library, files);
}

// The first open of an LZMA file closes the data file for its neighbours, and what is opened next may get its number.
void LzmaNeighbours(TraceTree &tree, TracedLibrary &library)
{
    library.SetLogger();
    library.Start(tree.Release({.files = {{"lzma", PatternedBytes(2000, 1), Storage::Lzma},
                                          {"stored", PatternedBytes(2000, 2), Storage::Stored},
                                          {"zlib", PatternedBytes(2000, 3), Storage::Zlib},
                                          {"naked", std::string(30'000, 'n'), Storage::Naked},
                                          {"lzma2", PatternedBytes(2000, 4), Storage::Lzma}}}));
    const int zlibBefore = library.Open("zlib");
    const int stored = library.Open("stored");
    library.Read(stored, 0, 100);
    const int lzma = library.Open("lzma");
    library.ShowDescriptors();
    library.Read(lzma, 0, 2000);
    library.Read(stored, 0, 100);
    library.Read(zlibBefore, 0, 2000);
    library.Close(zlibBefore);
    library.Visit("zlib");
    library.Visit("lzma2");
    const int naked = library.Open("naked");
    library.Read(stored, 0, 100);
    library.Read(naked, 0, 100);
    library.Visit("zlib");
    library.Close(lzma);
    library.Visit("lzma");
    library.Read(naked, 0, 100);
    library.Close(naked);
    library.Close(stored);
    library.ShowDescriptors();
    library.Stop();
}

void SizeMismatch(TraceTree &tree, TracedLibrary &library)
{
    std::vector<TraceFile> files = {{"right", "12345", Storage::Stored},
                                    {"more in the manifest", "12345", Storage::Stored},
                                    {"dir/less in the manifest", "12345", Storage::Stored},
                                    {"more in the index", "12345", Storage::Stored},
                                    {"zlib with another stored size", PatternedBytes(900, 1), Storage::Zlib},
                                    {"naked", "12345", Storage::Naked}};
    files[1].size = 6;
    files[2].size = 4;
    files[3].storedSize = 500;
    files[3].size = 500;
    files[4].storedSize = 10;
    files[5].size = 0xFFFFFFFF;
    library.SetLogger();
    library.Start(tree.Release({.files = files}));
    for (std::size_t index = 0; index + 1 < files.size(); ++index)
    {
        library.Visit(files[index].path);
        library.Visit(files[index].path);
    }
    const int handle = library.Open("naked");
    library.Size(handle);
    library.Read(handle, 0, 100);
    library.Close(handle);
}
} // namespace

std::vector<Scenario> ReadScenarios()
{
    const auto reads = [](Storage storage)
    {
        return [storage](TraceTree &tree, TracedLibrary &library)
        {
            Reads(tree, library, storage);
        };
    };
    return {{"reads-naked", reads(Storage::Naked)},
            {"reads-managed", reads(Storage::Managed)},
            {"reads-stored", reads(Storage::Stored)},
            {"reads-zlib", reads(Storage::Zlib)},
            {"odd-buffers", OddBuffers},
            {"large-files", LargeFiles},
            {"damaged-zlib", DamagedZlib},
            {"zlib-ends", ZlibEnds},
            {"damaged-lzma", DamagedLzma},
            {"lzma-neighbours", LzmaNeighbours},
            {"size-mismatch", SizeMismatch}};
}
} // namespace Keld::Test::WholeTrace
