#include "Tools/TreeReader/ContentBatch.h"

#include "Tools/TreeReader/DigestLanes.h"

#include <algorithm>
#include <iterator>

namespace Keld::TreeReader
{
namespace
{
// With so many contents all lanes are busy nearly to the end.
constexpr uint_size ManyContents = 32;
constexpr uint_size ManyBytes = 1 << 20;
constexpr uint_size MostBytes = 8 << 20; // of contents that are too large to be many
} // namespace

Failure ContentBatch::Add(const Release &release, EntryIndex file, const StoredFile &stored)
{
    Item item{mBytes.size(), 0, {}};
    ReadOptions options;
    options.checkDigest = false;
    const auto failure = mReader.Read(release, file, stored, options,
                                      [this](std::string_view bytes)
                                      {
                                          mBytes.insert(mBytes.end(), bytes.begin(), bytes.end());
                                      });
    if (failure)
    {
        mBytes.resize(item.offset);
        return failure;
    }
    item.size = mBytes.size() - item.offset;
    const auto &digest = release.GetTree().GetFields(file).digest;
    std::copy(std::begin(digest), std::end(digest), item.expected.begin());
    mItems.push_back(item);
    return std::nullopt;
}

bool ContentBatch::IsFull() const
{
    return mBytes.size() >= MostBytes || (mItems.size() >= ManyContents && mBytes.size() >= ManyBytes);
}

std::vector<bool> ContentBatch::Check() const
{
    std::vector<std::string_view> contents;
    for (uint_size index = 0; index < mItems.size(); ++index)
    {
        contents.push_back(GetContent(index));
    }
    const std::vector<Digest> digests = DigestsOf(contents);
    std::vector<bool> isRight;
    for (uint_size index = 0; index < mItems.size(); ++index)
    {
        isRight.push_back(digests[index] == mItems[index].expected);
    }
    return isRight;
}

void ContentBatch::Clear()
{
    mBytes.clear();
    mItems.clear();
}
} // namespace Keld::TreeReader
