#pragma once

#include "Tools/TreeReader/ContentBatch.h"

#include <vector>

namespace Keld::TreeReader
{
/// Small contents that wait for each other, so that their digests cost less, each with what it is for: a copyable
/// `Subject`. One thread's.
template <class Subject>
class DigestQueue
{
public:
    static bool IsSmall(uint64 size) { return size <= ContentBatch::LargestFile; }

    /// Decodes one file more. A failure leaves the queue as it was; the digest is no part of it.
    Failure Add(const Release &release, EntryIndex file, const StoredFile &stored, const Subject &subject)
    {
        Failure failure = mBatch.Add(release, file, stored);
        if (!failure)
        {
            mSubjects.push_back(subject);
        }
        return failure;
    }

    /// Whether it is time to settle.
    bool IsFull() const { return mBatch.IsFull(); }

    /// Tells of each content that waits whether it has the digest of its manifest, in the order of adding. Nothing
    /// waits after that. \param settle called with the subject, the content and that answer
    template <class Settle>
    void SettleAll(const Settle &settle)
    {
        const std::vector<bool> isRight = mBatch.Check();
        for (uint_size index = 0; index < isRight.size(); ++index)
        {
            settle(mSubjects[index], mBatch.GetContent(index), isRight[index]);
        }
        mBatch.Clear();
        mSubjects.clear();
    }

    /// For files that are not small, and for those whose digest is wrong: it tells that in words.
    ContentReader &GetReader() { return mBatch.GetReader(); }

private:
    ContentBatch mBatch;
    std::vector<Subject> mSubjects;
};
} // namespace Keld::TreeReader
