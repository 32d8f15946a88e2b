#pragma once

#include "Tools/Common/LargeRoom.h"
#include "Tools/TreeReader/ContentReader.h"
#include "Tools/TreeReader/ReleaseContents.h"

#include <string_view>
#include <vector>

namespace Keld::TreeReader
{
/// Contents of small files that wait in memory until they are held against their digests side by side, which costs a
/// fraction of one after the other. One thread's; it keeps its memory from batch to batch.
class ContentBatch
{
public:
    /// Files up to this size are for batches. With a larger one there is little to gain, and much to hold.
    static constexpr uint64 LargestFile = 2 << 20;

    /// Decodes one file more. A failure leaves the batch as it was; the digest is no part of it.
    Failure Add(const Release &release, EntryIndex file, const StoredFile &stored);

    /// Whether there is enough to do side by side, and not yet more than the processor's caches like to hold.
    bool IsFull() const;

    uint_size GetCount() const { return mItems.size(); }
    std::string_view GetContent(uint_size index) const
    {
        return std::string_view(mRoom.GetData() + mItems[index].offset, mItems[index].size);
    }

    /// Of each content, in the order of adding, whether it has the digest that its manifest tells.
    std::vector<bool> Check() const;

    void Clear();

    /// The one that reads for the batch, for files that are not for it.
    ContentReader &GetReader() { return mReader; }

private:
    struct Item
    {
        uint_size offset; ///< in mRoom
        uint_size size;
        Digest expected;
    };

    ContentReader mReader;
    Common::LargeRoom mRoom; ///< the contents, one behind another, and room behind them
    uint_size mFilled = 0;   ///< of mRoom
    std::vector<Item> mItems;
};
} // namespace Keld::TreeReader
