#include "Tools/Delivery/ContentProof.h"

#include "Tools/Common/ParallelWork.h"
#include "Tools/Common/Pool.h"
#include "Tools/TreeReader/ContentBatch.h"

#include <mutex>

namespace Keld::Delivery
{
namespace
{
// What a thread takes at once.
constexpr uint64 ProofBytesAtOnce = 8 << 20;
constexpr std::size_t ProofFilesAtOnce = 256;

class ContentProof
{
public:
    ContentProof(const TreeReader::Release &release, const std::vector<ContentToProve> &contents,
                 std::size_t ownerCount, const ProofOptions &options)
        : mRelease(release), mContents(contents), mOptions(options), mReasons(ownerCount)
    {
    }

    std::vector<std::string> Run()
    {
        const std::vector<Common::Stretch> stretches =
            Common::CutIntoStretches(mContents.size(), {ProofBytesAtOnce, ProofFilesAtOnce, mOptions.threadCount},
                                     [this](std::size_t index)
                                     {
                                         return SizeOf(index);
                                     });
        Common::ForEachInParallel(mOptions.threadCount, stretches.size(),
                                  [&](std::size_t stretch)
                                  {
                                      ProveStretch(stretches[stretch]);
                                  });
        return std::move(mReasons);
    }

private:
    /// What one thread works with, kept from stretch to stretch.
    struct Bench
    {
        TreeReader::ContentBatch batch;
        std::vector<std::size_t> batched; ///< which content each of the batch is
    };

    uint64 SizeOf(std::size_t index) const { return mRelease.GetTree().GetFields(mContents[index].file).size; }

    void ProveStretch(const Common::Stretch &stretch)
    {
        std::unique_ptr<Bench> bench = mBenches.Take();
        for (std::size_t index = stretch.begin; index < stretch.end; ++index)
        {
            mOptions.checkpoint();
            if (SizeOf(index) > TreeReader::ContentBatch::LargestFile)
            {
                ReadWithDigest(*bench, index);
                mOptions.advance(SizeOf(index));
                continue;
            }
            const ContentToProve &content = mContents[index];
            if (const auto failure = bench->batch.Add(mRelease, content.file, content.stored))
            {
                Refuse(index, failure->text);
            }
            else
            {
                bench->batched.push_back(index);
            }
            mOptions.advance(SizeOf(index));
            if (bench->batch.IsFull())
            {
                ProveBatch(*bench);
            }
        }
        ProveBatch(*bench);
        mBenches.Give(std::move(bench));
    }

    /// A content with the wrong digest is read once more, by whoever tells that in words.
    void ProveBatch(Bench &bench)
    {
        const std::vector<bool> isRight = bench.batch.Check();
        for (std::size_t place = 0; place < isRight.size(); ++place)
        {
            if (!isRight[place])
            {
                ReadWithDigest(bench, bench.batched[place]);
            }
        }
        bench.batch.Clear();
        bench.batched.clear();
    }

    void ReadWithDigest(Bench &bench, std::size_t index)
    {
        const ContentToProve &content = mContents[index];
        const auto failure = bench.batch.GetReader().Read(mRelease, content.file, content.stored, {},
                                                          [this](std::string_view)
                                                          {
                                                              mOptions.checkpoint();
                                                          });
        if (failure)
        {
            Refuse(index, failure->text);
        }
    }

    void Refuse(std::size_t index, const std::string &why)
    {
        const ContentToProve &content = mContents[index];
        const std::lock_guard<std::mutex> lock(mMutex);
        std::string &reason = mReasons[content.owner];
        if (reason.empty())
        {
            reason = mRelease.GetTree().GetPath(content.file) + " " + why;
        }
    }

    const TreeReader::Release &mRelease;
    const std::vector<ContentToProve> &mContents;
    const ProofOptions &mOptions;
    Common::Pool<Bench> mBenches;
    std::mutex mMutex; ///< guards mReasons
    std::vector<std::string> mReasons;
};
} // namespace

std::vector<std::string> ProveContents(const TreeReader::Release &release, const std::vector<ContentToProve> &contents,
                                       std::size_t ownerCount, const ProofOptions &options)
{
    return ContentProof(release, contents, ownerCount, options).Run();
}
} // namespace Keld::Delivery
