// What does an extraction cost beside the bare decoder, from memory into memory, on as many threads? The first is the
// limit; the second adds the digest that a checked extraction takes besides. Bytes are those that come out. The stored
// files and the target lie in the system's cache. The target is a new directory each time.

#include "Support/CompressedStream.h"
#include "Support/TempTree.h"

#include "Tools/Common/ParallelWork.h"
#include "Tools/TreeReader/ContentDigest.h"
#include "Tools/TreeReader/ContentReader.h"
#include "Tools/TreeReader/TreeSet.h"
#include "Tools/TreeWriter/ReleasePacker.h"
#include "Tools/morv/Extraction.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

#include <zlib.h>

namespace Keld::Morv
{
namespace
{
using TreeReader::Compression;
using TreeReader::Storage;

constexpr uint32 LargeFiles = 64;
constexpr uint32 LargeSize = 1 << 20;
constexpr uint32 SmallFiles = 2000;
constexpr uint32 SmallSize = 16 << 10;

/// A file as it is stored, in memory.
struct StoredContent
{
    std::string bytes;
    uint32 size = 0; ///< of the content
};

/// One release with large and small files, all compressed with zlib.
class PackedRelease
{
public:
    PackedRelease()
    {
        for (uint32 number = 0; number < LargeFiles; ++number)
        {
            Write("large/" + std::to_string(number), LargeSize, number);
        }
        for (uint32 number = 0; number < SmallFiles; ++number)
        {
            Write("small/" + std::to_string(number % 20) + "/" + std::to_string(number), SmallSize, number);
        }
        TreeWriter::PackRequest request;
        request.source = mTree.Path("source");
        request.root = mTree.Path("MORV");
        request.project = "game";
        request.release = 0x01000000;
        request.choice = {Storage::Archive, Compression::Zlib};
        request.threadCount = Common::GetProcessorCount();
        request.sync = false;
        TreeWriter::PackRelease(request);
        mTree.Remove("source");
        mView = std::make_unique<TreeReader::View>(*mTrees.Open("game/1.0.0.0", mTree.Path("MORV")));
        ReadStored();
    }

    const TreeReader::View &GetView() const { return *mView; }
    const std::vector<StoredContent> &GetStored() const { return mStored; }
    std::string GetTarget() const { return mTree.Path("target"); }
    void RemoveTarget() const { mTree.Remove("target"); }

    static constexpr int64 Bytes = int64{LargeFiles} * LargeSize + int64{SmallFiles} * SmallSize;

private:
    // Something between text and noise, as content is.
    void Write(const std::string &path, uint32 size, uint32 seed)
    {
        mTree.Write("source/" + path,
                    Test::PatternedBytes(uint_size{size} / 4 * 3, seed) + Test::RandomBytes(size / 4, seed));
    }

    void ReadStored()
    {
        const TreeReader::Release &release = mView->GetRelease(0);
        for (uint32 number = 0; number < release.GetTree().GetFileCount(); ++number)
        {
            const TreeReader::EntryIndex file = release.GetTree().GetFileEntry(number);
            const auto stored = release.Locate(file);
            StoredContent content;
            content.size = release.GetTree().GetFields(file).size;
            content.bytes.resize(stored->storedSize);
            const auto disk = TreeReader::DiskFile::Open(stored->path);
            const auto count = disk->ReadAt(stored->offset, content.bytes.data(), content.bytes.size());
            content.bytes.resize(*count);
            mStored.push_back(std::move(content));
        }
    }

    Test::TempTree mTree;
    TreeReader::TreeSet mTrees;
    std::unique_ptr<TreeReader::View> mView;
    std::vector<StoredContent> mStored;
};

const PackedRelease &Packed()
{
    static const PackedRelease release;
    return release;
}

unsigned ThreadsOf(const benchmark::State &state)
{
    return static_cast<unsigned>(state.range(0));
}

void InflateAll(benchmark::State &state, bool digests)
{
    const std::vector<StoredContent> &stored = Packed().GetStored();
    for ([[maybe_unused]] auto _ : state)
    {
        Common::ForEachInParallel(ThreadsOf(state), stored.size(),
                                  [&](std::size_t index)
                                  {
                                      thread_local std::string content(LargeSize, '\0');
                                      uLongf size = stored[index].size;
                                      const std::string &bytes = stored[index].bytes;
                                      uncompress(reinterpret_cast<Bytef *>(content.data()), &size,
                                                 reinterpret_cast<const Bytef *>(bytes.data()), bytes.size());
                                      if (digests)
                                      {
                                          const std::string_view whole(content.data(), size);
                                          benchmark::DoNotOptimize(TreeReader::DigestOf(whole));
                                      }
                                      benchmark::DoNotOptimize(content.data());
                                  });
    }
    state.SetBytesProcessed(state.iterations() * PackedRelease::Bytes);
}

void Extract_BareInflate(benchmark::State &state)
{
    InflateAll(state, false);
}

void Extract_BareInflateAndDigest(benchmark::State &state)
{
    InflateAll(state, true);
}

void ExtractAll(benchmark::State &state, bool checkDigests)
{
    const PackedRelease &packed = Packed();
    ExtractOptions options;
    options.threadCount = ThreadsOf(state);
    options.checkDigests = checkDigests;
    for ([[maybe_unused]] auto _ : state)
    {
        const Common::OutputDirectory target(packed.GetTarget());
        const ExtractReport report =
            Extract(packed.GetView(), PlanExtraction(packed.GetView(), Common::GlobSelection({}), 0), target, options);
        if (report.written.files != LargeFiles + SmallFiles)
        {
            state.SkipWithError("not all was written");
        }
        state.PauseTiming();
        packed.RemoveTarget();
        state.ResumeTiming();
    }
    state.SetBytesProcessed(state.iterations() * PackedRelease::Bytes);
}

void Extract_Unchecked(benchmark::State &state)
{
    ExtractAll(state, false);
}

void Extract_Checked(benchmark::State &state)
{
    ExtractAll(state, true);
}

// On one thread and on all; the work is shared out by the benchmark itself, so that its real time counts.
void OnOneAndOnAll(benchmark::internal::Benchmark *benchmark)
{
    benchmark->UseRealTime()->Unit(benchmark::kMillisecond)->Arg(1);
    if (Common::GetProcessorCount() > 1)
    {
        benchmark->Arg(Common::GetProcessorCount());
    }
}

BENCHMARK(Extract_BareInflate)->Apply(OnOneAndOnAll);
BENCHMARK(Extract_BareInflateAndDigest)->Apply(OnOneAndOnAll);
BENCHMARK(Extract_Unchecked)->Apply(OnOneAndOnAll);
BENCHMARK(Extract_Checked)->Apply(OnOneAndOnAll);
} // namespace
} // namespace Keld::Morv
