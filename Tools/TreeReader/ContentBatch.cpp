#include "Tools/TreeReader/ContentBatch.h"

#include "Tools/TreeReader/DigestLanes.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace Keld::TreeReader
{
namespace
{
// With so many contents all lanes are busy nearly to the end.
constexpr uint_size ManyContents = 64;
constexpr uint_size ManyBytes = 2 << 20;
constexpr uint_size MostBytes = 16 << 20; // of contents that are too large to be many

// Between two contents, so that those of equal size, whose digests go on in step, do not all want the same places of
// the processor's caches.
constexpr uint_size GapBehind = 576;
} // namespace

Failure ContentBatch::Add(const Release &release, EntryIndex file, const StoredFile &stored)
{
    const auto &fields = release.GetTree().GetFields(file);
    Item item{mFilled, fields.size, {}};
    mRoom.Reserve(std::max<uint_size>(mFilled + item.size, MostBytes + LargestFile));
    ReadOptions options;
    options.checkDigest = false;
    options.room = mRoom.GetData() + item.offset;
    char *next = options.room;
    const auto failure = mReader.Read(release, file, stored, options,
                                      [&next](std::string_view bytes)
                                      {
                                          if (bytes.data() != next)
                                          {
                                              std::memcpy(next, bytes.data(), bytes.size());
                                          }
                                          next += bytes.size();
                                      });
    if (failure)
    {
        return failure;
    }
    std::copy(std::begin(fields.digest), std::end(fields.digest), item.expected.begin());
    mItems.push_back(item);
    mFilled += item.size + GapBehind;
    return std::nullopt;
}

bool ContentBatch::IsFull() const
{
    return mFilled >= MostBytes || (mItems.size() >= ManyContents && mFilled >= ManyBytes);
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
    mFilled = 0;
    mItems.clear();
}
} // namespace Keld::TreeReader
