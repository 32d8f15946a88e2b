#include "Tools/Delivery/ContentProof.h"

#include "Tools/Common/Pool.h"
#include "Tools/TreeReader/DigestQueue.h"

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
        Common::ForEachStretchInPlaces<Queue>(
            mOptions.threadCount, stretches,
            [this](Queue &queue, const Common::Stretch &stretch)
            {
                ProveStretch(queue, stretch);
            },
            [this](Queue &queue)
            {
                ProveWaiting(queue);
            });
        return std::move(mReasons);
    }

private:
    using Queue = TreeReader::DigestQueue<std::size_t>; ///< of indices of mContents

    uint64 SizeOf(std::size_t index) const { return mRelease.GetTree().GetFields(mContents[index].file).size; }

    void ProveStretch(Queue &queue, const Common::Stretch &stretch)
    {
        for (std::size_t index = stretch.begin; index < stretch.end; ++index)
        {
            mOptions.checkpoint();
            if (!Queue::IsSmall(SizeOf(index)))
            {
                ReadWithDigest(queue, index);
                mOptions.advance(SizeOf(index));
                continue;
            }
            const ContentToProve &content = mContents[index];
            if (const auto failure = queue.Add(mRelease, content.file, content.stored, index))
            {
                Refuse(index, failure->text);
            }
            mOptions.advance(SizeOf(index));
            if (queue.IsFull())
            {
                ProveWaiting(queue);
            }
        }
    }

    /// A content with the wrong digest is read once more, by whoever tells that in words.
    void ProveWaiting(Queue &queue)
    {
        queue.SettleAll(
            [&](std::size_t index, std::string_view, bool isRight)
            {
                if (!isRight)
                {
                    ReadWithDigest(queue, index);
                }
            });
    }

    void ReadWithDigest(Queue &queue, std::size_t index)
    {
        const ContentToProve &content = mContents[index];
        const auto failure = queue.GetReader().Read(mRelease, content.file, content.stored, {},
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
