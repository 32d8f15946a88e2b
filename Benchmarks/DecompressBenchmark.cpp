// What does a decompression from a file into blocks cost beside the decoder alone, from memory into memory? The first
// of each pair is the limit. Bytes are those that come out.

#include "KeldMorvIO/blocks/LzmaAdapter.h"
#include "KeldMorvIO/blocks/ZlibAdapter.h"
#include "Support/CompressedStream.h"
#include "Support/TempTree.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <string>
#include <vector>

#include <lzma.h>
#include <zlib.h>

namespace Keld::MORV::Reader
{
namespace
{
constexpr uint32 PlainSize = 8 << 20;
constexpr uint32 BlockSize = 0x40000;

// Something between text and noise, as content is.
std::string Plain()
{
    std::string plain;
    for (uint32 seed = 0; plain.size() < PlainSize; ++seed)
    {
        plain += Test::PatternedBytes(48 << 10, seed) + Test::RandomBytes(16 << 10, seed);
    }
    plain.resize(PlainSize);
    return plain;
}

const std::string &ZlibPlain()
{
    static const std::string stream = Test::ZlibStream(Plain());
    return stream;
}

const std::string &LzmaPlain()
{
    static const std::string bytes = Test::LzmaFile(Plain());
    return bytes;
}

// Output as the listings have it.
struct Output
{
    Output() : memory(PlainSize, '\0')
    {
        for (uint32 offset = 0; offset < PlainSize; offset += BlockSize)
        {
            blocks.push_back({memory.data() + offset, std::min(BlockSize, PlainSize - offset)});
        }
    }

    std::string memory;
    std::vector<UncompressedBlock> blocks;
};

void SetBytes(benchmark::State &state)
{
    state.SetBytesProcessed(state.iterations() * int64{PlainSize});
}

void Zlib_BareInflate(benchmark::State &state)
{
    const std::string &stream = ZlibPlain();
    Output output;
    for ([[maybe_unused]] auto _ : state)
    {
        uLongf size = PlainSize;
        if (uncompress(reinterpret_cast<Bytef *>(output.memory.data()), &size,
                       reinterpret_cast<const Bytef *>(stream.data()), stream.size()) != Z_OK)
        {
            state.SkipWithError("zlib refuses the stream");
        }
    }
    SetBytes(state);
}

void Zlib_DecompressZlib(benchmark::State &state)
{
    const Test::TempTree tree;
    const std::string path = tree.Write("data", ZlibPlain());
    const AsyncFile file = AsyncOpen(path.c_str());
    Output output;
    for ([[maybe_unused]] auto _ : state)
    {
        if (!DecompressZlib(file, 0, static_cast<uint32>(ZlibPlain().size()), output.blocks.data(),
                            static_cast<uint32>(output.blocks.size())))
        {
            state.SkipWithError("the adapter refuses the stream");
        }
    }
    AsyncClose(file);
    SetBytes(state);
}

void Lzma_BareDecoder(benchmark::State &state)
{
    const std::string &bytes = LzmaPlain();
    Output output;
    lzma_options_lzma options{};
    options.dict_size = 1 << 20;
    const lzma_filter filters[] = {{LZMA_FILTER_LZMA2, &options}, {LZMA_VLI_UNKNOWN, nullptr}};
    for ([[maybe_unused]] auto _ : state)
    {
        size_t input = 9;
        size_t written = 0;
        if (lzma_raw_buffer_decode(filters, nullptr, reinterpret_cast<const uint8 *>(bytes.data()), &input,
                                   bytes.size(), reinterpret_cast<uint8 *>(output.memory.data()), &written,
                                   PlainSize) != LZMA_OK)
        {
            state.SkipWithError("liblzma refuses the stream");
        }
    }
    SetBytes(state);
}

void Lzma_DecompressLzma(benchmark::State &state)
{
    const Test::TempTree tree;
    const std::string path = tree.Write("data", LzmaPlain());
    Output output;
    for ([[maybe_unused]] auto _ : state)
    {
        if (!DecompressLzma(path.c_str(), 0, static_cast<uint32>(LzmaPlain().size()), output.blocks.data(),
                            static_cast<uint32>(output.blocks.size())))
        {
            state.SkipWithError("the adapter refuses the stream");
        }
    }
    SetBytes(state);
}

BENCHMARK(Zlib_BareInflate)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()->UseRealTime();
BENCHMARK(Zlib_DecompressZlib)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()->UseRealTime();
BENCHMARK(Lzma_BareDecoder)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()->UseRealTime();
BENCHMARK(Lzma_DecompressLzma)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()->UseRealTime();
} // namespace
} // namespace Keld::MORV::Reader
