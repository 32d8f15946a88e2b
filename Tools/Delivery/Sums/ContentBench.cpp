#include "Tools/Delivery/Sums/ContentBench.h"

namespace Keld::Delivery
{
void ContentBench::Take(const TreeReader::Release &release, const ContentToProve &content, std::size_t number,
                        const Calls &calls)
{
    calls.checkpoint();
    const Waiting one{&release, &content, number};
    if (!IsSmall(release.GetTree().GetFields(content.file).size))
    {
        Judge(one, calls);
        return;
    }
    if (const auto failure = mQueue.Add(release, content.file, content.stored, one))
    {
        calls.judge(number, failure);
    }
    else if (mQueue.IsFull())
    {
        Finish(calls);
    }
}

/// A content with the wrong digest is read once more, by whoever tells that in words.
void ContentBench::Finish(const Calls &calls)
{
    mQueue.SettleAll(
        [&](const Waiting &one, std::string_view, bool isRight)
        {
            if (isRight)
            {
                calls.judge(one.number, std::nullopt);
            }
            else
            {
                Judge(one, calls);
            }
        });
}

void ContentBench::Judge(const Waiting &one, const Calls &calls)
{
    calls.judge(one.number, mQueue.GetReader().Read(*one.release, one.content->file, one.content->stored, {},
                                                    [&calls](std::string_view)
                                                    {
                                                        calls.checkpoint();
                                                    }));
}
} // namespace Keld::Delivery
