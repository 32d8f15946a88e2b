// What does a proof of a tree cost beside the decoders alone, from memory into memory, on as many threads? And what
// does it cost to look at 100,000 files without reading them? Bytes are those of the contents.

#include "Support/CompressedStream.h"
#include "Support/TempTree.h"

#include "Tools/Common/ParallelWork.h"
#include "Tools/TreeChecker/TreeCheck.h"
#include "Tools/TreeReader/ManifestTree.h"
#include "Tools/TreeReader/ReleaseContents.h"
#include "Tools/TreeReader/TreePlaces.h"
#include "Tools/TreeWriter/ReleasePacker.h"

#include "KeldMorvIO/archive/ArchiveFile.h"
#include "KeldMorvIO/blocks/CompressedFormat.h"

#include <benchmark/benchmark.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include <lzma.h>
#include <zlib.h>

namespace Keld::Benchmarks
{
namespace
{
using TreeReader::Compression;
using TreeReader::Storage;

constexpr MorvVersion ReleaseVersion = 0x01000000;
constexpr uint32 ManyFiles = 100'000;
constexpr uint32 ContentFiles = 1000;

/// Something between text and noise, as content is: 16 to 112 KiB.
std::string Content(uint32 number)
{
    const uint32 unit = 4096 * (1 + number % 7);
    return Test::PatternedBytes(uint_size{unit} * 3, number) + Test::RandomBytes(unit, number);
}

/// A release of one project on the real disk.
class PackedTree
{
public:
    PackedTree(uint32 fileCount, Storage storage, Compression compression)
    {
        const bool isLarge = fileCount == ManyFiles;
        for (uint32 number = 0; number < fileCount; ++number)
        {
            const std::string path = "source/" + std::to_string(number / 100) + "/" + std::to_string(number) + ".bin";
            mTree.Write(path, isLarge ? std::to_string(number) : Content(number));
        }
        TreeWriter::PackRequest request;
        request.source = mTree.Path("source");
        request.root = mTree.Path("MORV");
        request.project = "benchmark";
        request.release = ReleaseVersion;
        request.choice = {storage, compression};
        request.compressAlways = true;
        request.sync = false;
        request.threadCount = Common::GetProcessorCount();
        TreeWriter::PackRelease(request);
    }

    std::string GetRoot() const { return mTree.Path("MORV"); }

    uint64 Check(bool decode) const
    {
        TreeReader::Tree tree(GetRoot());
        TreeChecker::CheckOptions options;
        options.decode = decode;
        options.threadCount = Common::GetProcessorCount();
        const TreeChecker::CheckReport report = TreeChecker::CheckWholeTree(tree, options);
        return report.IsWhole() ? report.contentBytes : 0;
    }

private:
    Test::TempTree mTree;
};

/// The stored forms of a tree in memory, for the decoders alone.
struct StoredForms
{
    explicit StoredForms(const PackedTree &tree)
    {
        const TreeReader::TreePlaces places(tree.GetRoot());
        std::map<std::string, uint32> sizes;
        const auto manifest = TreeReader::ManifestTree::Load(places.ReleaseManifest("benchmark", ReleaseVersion));
        for (const auto &file : TreeReader::MakeContents(**manifest).files)
        {
            sizes[file.path] = file.size;
        }
        for (const auto &entry : std::filesystem::directory_iterator(places.Archives("benchmark", ReleaseVersion)))
        {
            if (entry.path().extension() != ".vka")
            {
                continue;
            }
            data.push_back(std::make_unique<std::string>(TreeReader::ReadWholeFile(entry.path().string() + ".dat")));
            const std::string bytes = TreeReader::ReadWholeFile(entry.path());
            LargeVector<char> image(bytes.begin(), bytes.end());
            MORV::Reader::ArchiveFile index;
            index.Adopt(image);
            for (uint32 number = 0; number < index.GetEntryCount(); ++number)
            {
                const auto &record = *index.GetEntry(number);
                forms.push_back({std::string_view(*data.back()).substr(record.dataOffset, record.size),
                                 sizes[index.GetEntryPath(number)]});
            }
        }
    }

    struct Form
    {
        std::string_view bytes;
        uint32 contentSize;
    };
    std::vector<std::unique_ptr<std::string>> data;
    std::vector<Form> forms;
};

bool DecodeZlib(const StoredForms::Form &form, std::vector<unsigned char> &content)
{
    uLongf size = content.size();
    return uncompress(content.data(), &size, reinterpret_cast<const Bytef *>(form.bytes.data()), form.bytes.size()) ==
           Z_OK;
}

bool DecodeLzma(const StoredForms::Form &form, std::vector<unsigned char> &content)
{
    lzma_options_lzma options{};
    options.dict_size = 1 << 20;
    const lzma_filter filters[] = {{LZMA_FILTER_LZMA2, &options}, {LZMA_VLI_UNKNOWN, nullptr}};
    size_t input = sizeof(MORV::Reader::LzmaFileHeader);
    size_t written = 0;
    return lzma_raw_buffer_decode(filters, nullptr, reinterpret_cast<const uint8_t *>(form.bytes.data()), &input,
                                  form.bytes.size(), content.data(), &written, form.contentSize) == LZMA_OK;
}

void BareDecoder(benchmark::State &state, Compression compression)
{
    const PackedTree tree(ContentFiles, Storage::Archive, compression);
    const StoredForms stored(tree);
    constexpr std::size_t filesAtOnce = 50;
    uint64 bytes = 0;
    for ([[maybe_unused]] auto _ : state)
    {
        Common::ForEachInParallel(
            Common::GetProcessorCount(), stored.forms.size() / filesAtOnce,
            [&](std::size_t stretch)
            {
                std::vector<unsigned char> content(1 << 20);
                for (std::size_t index = 0; index < filesAtOnce; ++index)
                {
                    const auto &form = stored.forms[stretch * filesAtOnce + index];
                    if (!(compression == Compression::Zlib ? DecodeZlib : DecodeLzma)(form, content))
                    {
                        throw std::runtime_error("the decoder refuses the stream");
                    }
                }
            });
        for (const auto &form : stored.forms)
        {
            bytes += form.contentSize;
        }
    }
    state.SetBytesProcessed(static_cast<int64_t>(bytes));
}

void Verify(benchmark::State &state, Compression compression)
{
    const PackedTree tree(ContentFiles, Storage::Archive, compression);
    uint64 bytes = 0;
    for ([[maybe_unused]] auto _ : state)
    {
        const uint64 checked = tree.Check(true);
        if (checked == 0)
        {
            state.SkipWithError("the tree has faults");
        }
        bytes += checked;
    }
    state.SetBytesProcessed(static_cast<int64_t>(bytes));
}

void Quick(benchmark::State &state, Storage storage)
{
    const PackedTree tree(ManyFiles, storage, Compression::None);
    for ([[maybe_unused]] auto _ : state)
    {
        if (tree.Check(false) == 0)
        {
            state.SkipWithError("the tree has faults");
        }
    }
    state.SetItemsProcessed(state.iterations() * int64_t{ManyFiles});
}

BENCHMARK_CAPTURE(BareDecoder, Zlib, Compression::Zlib)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(Verify, Zlib, Compression::Zlib)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(BareDecoder, Lzma, Compression::Lzma)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(Verify, Lzma, Compression::Lzma)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(Quick, Archived, Storage::Archive)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(Quick, Naked, Storage::Naked)->Unit(benchmark::kMillisecond)->UseRealTime();
} // namespace
} // namespace Keld::Benchmarks
