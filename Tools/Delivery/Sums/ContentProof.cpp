#include "Tools/Delivery/Sums/ContentProof.h"

#include "Tools/Common/Pool.h"

#include <mutex>

namespace Keld::Delivery
{
namespace
{
// What a thread takes at once.
constexpr uint64 ProofBytesAtOnce = 8 << 20;
constexpr std::size_t ProofFilesAtOnce = 256;
} // namespace

std::vector<std::string> ProveContents(const TreeReader::Release &release, const std::vector<ContentToProve> &contents,
                                       std::size_t ownerCount, const ProofOptions &options)
{
    std::mutex mutex; // guards what follows
    std::vector<std::string> reasons(ownerCount);

    const TreeReader::ManifestTree &tree = release.GetTree();
    const auto sizeOf = [&](std::size_t index)
    {
        return uint64{tree.GetFields(contents[index].file).size};
    };
    const auto judge = [&](std::size_t index, const TreeReader::Failure &failure)
    {
        options.advance(sizeOf(index));
        if (failure)
        {
            const std::lock_guard<std::mutex> lock(mutex);
            std::string &reason = reasons[contents[index].owner];
            reason = reason.empty() ? tree.GetPath(contents[index].file) + " " + failure->text : reason;
        }
    };
    const ContentBench::Calls calls{options.checkpoint, judge};
    const std::vector<Common::Stretch> stretches =
        Common::CutIntoStretches(contents.size(), {ProofBytesAtOnce, ProofFilesAtOnce, options.threadCount}, sizeOf);
    Common::ForEachStretchInPlaces<ContentBench>(
        options.threadCount, stretches,
        [&](ContentBench &bench, const Common::Stretch &stretch)
        {
            for (std::size_t index = stretch.begin; index < stretch.end; ++index)
            {
                bench.Take(release, contents[index], index, calls);
            }
        },
        [&](ContentBench &bench)
        {
            bench.Finish(calls);
        });
    return reasons;
}
} // namespace Keld::Delivery
