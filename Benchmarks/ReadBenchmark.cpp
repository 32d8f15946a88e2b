// What does a read through the request pool cost beside the bare system call, and a read of a decompressed file beside
// the bare copy? The first of each pair is the limit.

#include "KeldMorvIO/Public/KeldMorvIO.h"
#include "KeldMorvIO/blocks/AsyncRequest.h"
#include "KeldMorvIO/blocks/UncompressedBlocks.h"
#include "Support/CompressedStream.h"
#include "Support/TempTree.h"
#include "Support/TestTree.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <string>

#include <unistd.h>

namespace Keld::MORV::Reader
{
namespace
{
constexpr uint32 FileSize = 4 << 20;

// A file of random bytes that stays in the page cache.
struct CachedFile
{
    CachedFile() : file(AsyncOpen(tree.Write("data", Test::RandomBytes(FileSize, 1)).c_str())) {}
    ~CachedFile() { AsyncClose(file); }
    CachedFile(const CachedFile &) = delete;
    CachedFile &operator=(const CachedFile &) = delete;

    Test::TempTree tree;
    AsyncFile file;
};

uint32 NextOffset(uint32 offset, uint32 size)
{
    return offset + 2 * size <= FileSize ? offset + size : 0;
}

void SetBytes(benchmark::State &state)
{
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void PlainRead_BarePread(benchmark::State &state)
{
    const CachedFile data;
    const auto size = static_cast<uint32>(state.range(0));
    std::string buffer(size, '\0');
    uint32 offset = 0;
    for ([[maybe_unused]] auto _ : state)
    {
        benchmark::DoNotOptimize(pread(static_cast<int>(data.file), buffer.data(), size, offset));
        offset = NextOffset(offset, size);
    }
    SetBytes(state);
}

void PlainRead_AsyncRead(benchmark::State &state)
{
    const CachedFile data;
    const auto size = static_cast<uint32>(state.range(0));
    std::string buffer(size, '\0');
    uint32 offset = 0;
    for ([[maybe_unused]] auto _ : state)
    {
        uint32 bytesRead = 0;
        benchmark::DoNotOptimize(AsyncRead(data.file, offset, size, &bytesRead, buffer.data()));
        offset = NextOffset(offset, size);
    }
    SetBytes(state);
}

void PlainRead_MorvRead(benchmark::State &state)
{
    const Test::TestTree tree;
    const auto size = static_cast<uint32>(state.range(0));
    std::string buffer(size, '\0');
    const std::string directory = tree.Project("bench", "1.0.0.0", {{"data", Test::RandomBytes(FileSize, 1)}});
    MorvInitialize(0, 0, 0, directory.c_str());
    OpenFileHandle *const handle = MorvOpenFile("data");
    uint32 offset = 0;
    for ([[maybe_unused]] auto _ : state)
    {
        uint32 bytesRead = 0;
        benchmark::DoNotOptimize(MorvRead(handle, offset, size, &bytesRead, buffer.data()));
        offset = NextOffset(offset, size);
    }
    MorvCloseFile(handle);
    MorvShutdown();
    SetBytes(state);
}

void BlockRead_BareCopy(benchmark::State &state)
{
    const std::string source = Test::RandomBytes(FileSize, 2);
    const auto size = static_cast<uint32>(state.range(0));
    std::string buffer(size, '\0');
    uint32 offset = 0;
    for ([[maybe_unused]] auto _ : state)
    {
        std::memcpy(buffer.data(), source.data() + offset, size);
        benchmark::ClobberMemory();
        offset = NextOffset(offset, size);
    }
    SetBytes(state);
}

void BlockRead_UncompressedBlocks(benchmark::State &state)
{
    const CachedFile data;
    UncompressedBlocks blocks(0x40000);
    if (!blocks.FromFile(data.file, 0, FileSize))
    {
        state.SkipWithError("cannot fill the blocks");
    }
    const auto size = static_cast<uint32>(state.range(0));
    std::string buffer(size, '\0');
    uint32 offset = 0;
    for ([[maybe_unused]] auto _ : state)
    {
        benchmark::DoNotOptimize(blocks.Read(buffer.data(), offset, size));
        benchmark::ClobberMemory();
        offset = NextOffset(offset, size);
    }
    SetBytes(state);
}

void PlainSizes(benchmark::internal::Benchmark *benchmark)
{
    benchmark->Arg(64)->Arg(4 << 10)->Arg(64 << 10)->Arg(1 << 20)->MeasureProcessCPUTime()->UseRealTime();
}

BENCHMARK(PlainRead_BarePread)->Apply(PlainSizes);
BENCHMARK(PlainRead_AsyncRead)->Apply(PlainSizes);
BENCHMARK(PlainRead_MorvRead)->Apply(PlainSizes);
BENCHMARK(BlockRead_BareCopy)->Arg(64)->Arg(4 << 10)->Arg(512 << 10);
BENCHMARK(BlockRead_UncompressedBlocks)->Arg(64)->Arg(4 << 10)->Arg(512 << 10);
} // namespace
} // namespace Keld::MORV::Reader
