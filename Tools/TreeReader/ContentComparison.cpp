#include "Tools/TreeReader/ContentComparison.h"

#include <algorithm>
#include <cstring>
#include <unordered_map>

namespace Keld::TreeReader
{
namespace
{
struct DigestHash
{
    uint_size operator()(const Digest &digest) const
    {
        uint_size hash = 0;
        std::memcpy(&hash, digest.data(), sizeof hash);
        return hash;
    }
};

/// Where a manifest has no digests, the version that stored the bytes must tell.
bool HaveSameContent(const ContentItem &left, const ContentItem &right)
{
    if (left.size != right.size)
    {
        return false;
    }
    if (left.hasDigest && right.hasDigest)
    {
        return left.digest == right.digest;
    }
    return !left.hasDigest && !right.hasDigest && left.version != 0 && left.version == right.version;
}

/// Empty files are all alike, and nobody moved one of them.
bool CanBeMoved(const Change &change)
{
    const ContentItem &item = change.before != nullptr ? *change.before : *change.after;
    return !item.isDirectory && item.hasDigest && item.size > 0;
}
} // namespace

ContentComparison::ContentComparison(const ContentList &before, const ContentList &after)
    : mBefore(before), mAfter(after)
{
    Merge();
    PairMoved();
    CountAll();
}

void ContentComparison::Merge()
{
    const std::vector<ContentItem> &before = mBefore.GetItems();
    const std::vector<ContentItem> &after = mAfter.GetItems();
    uint_size left = 0;
    uint_size right = 0;
    while (left < before.size() || right < after.size())
    {
        const int order = left == before.size() ? 1
                          : right == after.size()
                              ? -1
                              : ComparePaths(mBefore.GetPath(before[left]), mAfter.GetPath(after[right]));
        if (order < 0)
        {
            AddOne(ChangeKind::Removed, mBefore, left++);
        }
        else if (order > 0)
        {
            AddOne(ChangeKind::Added, mAfter, right++);
        }
        else if (before[left].isDirectory == after[right].isDirectory)
        {
            AddPair(before[left++], after[right++]);
        }
        else
        {
            AddOne(ChangeKind::Removed, mBefore, left++);
            AddOne(ChangeKind::Added, mAfter, right++);
        }
    }
}

void ContentComparison::AddOne(ChangeKind kind, const ContentList &list, uint_size index)
{
    const ContentItem &item = list.GetItems()[index];
    if (item.isDirectory && !list.IsEmptyDirectory(index))
    {
        return;
    }
    const bool isAdded = kind == ChangeKind::Added;
    mChanges.push_back({kind, isAdded ? nullptr : &item, isAdded ? &item : nullptr});
}

void ContentComparison::AddPair(const ContentItem &before, const ContentItem &after)
{
    if (before.isDirectory)
    {
        return;
    }
    if (!mBefore.IsSameEntry(before, mAfter, after) && !HaveSameContent(before, after))
    {
        mChanges.push_back({ChangeKind::Changed, &before, &after});
    }
    else if (mBefore.GetPath(before) != mAfter.GetPath(after))
    {
        mChanges.push_back({ChangeKind::Moved, &before, &after});
    }
    else if (before.version != 0 && after.version != 0 &&
             (before.version != after.version || before.flags != after.flags))
    {
        mChanges.push_back({ChangeKind::VersionOnly, &before, &after});
    }
    else
    {
        ++mUnchanged.files;
        mUnchanged.bytes += after.size;
    }
}

/// Each removed file goes to one added file at most, in the order of the paths.
void ContentComparison::PairMoved()
{
    std::unordered_multimap<Digest, uint_size, DigestHash> removed;
    for (uint_size index = mChanges.size(); index > 0; --index)
    {
        const Change &change = mChanges[index - 1];
        if (change.kind == ChangeKind::Removed && CanBeMoved(change))
        {
            removed.emplace(change.before->digest, index - 1);
        }
    }
    std::vector<bool> isTaken(mChanges.size());
    for (Change &change : mChanges)
    {
        if (removed.empty() || change.kind != ChangeKind::Added || !CanBeMoved(change))
        {
            continue;
        }
        const auto match = removed.find(change.after->digest);
        if (match != removed.end() && mChanges[match->second].before->size == change.after->size)
        {
            change = {ChangeKind::Moved, mChanges[match->second].before, change.after};
            isTaken[match->second] = true;
            removed.erase(match);
        }
    }
    uint_size index = 0;
    std::erase_if(mChanges,
                  [&](const Change &)
                  {
                      return isTaken[index++];
                  });
}

void ContentComparison::CountAll()
{
    for (const Change &change : mChanges)
    {
        const ContentItem &item = change.after != nullptr ? *change.after : *change.before;
        if (item.isDirectory)
        {
            ++(change.kind == ChangeKind::Added ? mAddedDirectories : mRemovedDirectories);
            continue;
        }
        ChangeTotal &total = mTotals[static_cast<uint_size>(change.kind)];
        ++total.files;
        total.bytes += item.size;
        mChangedBytesBefore += change.kind == ChangeKind::Changed ? change.before->size : 0;
    }
}

bool ContentComparison::IsEqual() const
{
    return std::all_of(mChanges.begin(), mChanges.end(),
                       [](const Change &change)
                       {
                           return change.kind == ChangeKind::VersionOnly;
                       });
}
} // namespace Keld::TreeReader
