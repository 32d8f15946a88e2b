#pragma once

#include "Tools/TreeReader/DigestQueue.h"

#include <functional>

namespace Keld::Delivery
{
/// A content that is to be held against its digest.
struct ContentToProve
{
    TreeReader::EntryIndex file = TreeReader::NoEntry;
    TreeReader::StoredFile stored;
    std::size_t owner = 0; ///< which file on disk it is a part of
};

/// Decodes contents and holds them against their digests, small ones side by side. One thread's; it keeps its memory.
class ContentBench
{
    struct Waiting
    {
        const TreeReader::Release *release;
        const ContentToProve *content;
        std::size_t number;
    };

public:
    struct Calls
    {
        /// Called again and again. What it throws ends the work.
        std::function<void()> checkpoint = [] {};

        /// Told of each content once, by its number, and what is wrong with it, if anything is.
        std::function<void(std::size_t number, const TreeReader::Failure &failure)> judge;
    };

    /// Whether contents of this size are proved side by side.
    static bool IsSmall(uint64 size) { return TreeReader::DigestQueue<Waiting>::IsSmall(size); }

    /// Takes a content to prove. Small ones wait for others.
    /// \param content must stay until Finish
    void Take(const TreeReader::Release &release, const ContentToProve &content, std::size_t number,
              const Calls &calls);

    /// Judges those that wait.
    void Finish(const Calls &calls);

private:
    void Judge(const Waiting &one, const Calls &calls);

    TreeReader::DigestQueue<Waiting> mQueue;
};
} // namespace Keld::Delivery
