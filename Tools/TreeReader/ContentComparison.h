#pragma once

#include "Tools/TreeReader/ContentList.h"

#include <vector>

namespace Keld::TreeReader
{
enum class ChangeKind
{
    Added,
    Removed,
    Changed, ///< other content under the same path
    Moved,   ///< a file that was added with the content of one that was removed, or whose path is spelled in other case
    VersionOnly ///< the same content, but under another version or in another storage
};

/// One difference. Directories are told where they hold nothing: others are told by their files.
struct Change
{
    ChangeKind kind;
    const ContentItem *before = nullptr; ///< null for Added
    const ContentItem *after = nullptr;  ///< null for Removed
};

struct ChangeTotal
{
    uint64 files = 0;
    uint64 bytes = 0; ///< of the later content where there are two
};

/// What two lists of content differ in. Costs one walk over both and no look at the disk. Both must outlive it.
class ContentComparison
{
public:
    ContentComparison(const ContentList &before, const ContentList &after);

    /// In the order of the paths, those of `after` where a change has both.
    const std::vector<Change> &GetChanges() const { return mChanges; }

    const ChangeTotal &GetTotal(ChangeKind kind) const { return mTotals[static_cast<uint_size>(kind)]; }
    const ChangeTotal &GetUnchanged() const { return mUnchanged; }
    uint64 GetChangedBytesBefore() const { return mChangedBytesBefore; }
    uint64 GetAddedDirectories() const { return mAddedDirectories; } ///< empty ones
    uint64 GetRemovedDirectories() const { return mRemovedDirectories; }

    /// Whether a program sees the same: how the bytes are stored is not its matter.
    bool IsEqual() const;

private:
    void Merge();
    void AddOne(ChangeKind kind, const ContentList &list, uint_size index);
    void AddPair(const ContentItem &before, const ContentItem &after);
    void PairMoved();
    void CountAll();

    const ContentList &mBefore;
    const ContentList &mAfter;
    std::vector<Change> mChanges;
    ChangeTotal mTotals[5];
    ChangeTotal mUnchanged;
    uint64 mChangedBytesBefore = 0;
    uint64 mAddedDirectories = 0;
    uint64 mRemovedDirectories = 0;
};
} // namespace Keld::TreeReader
