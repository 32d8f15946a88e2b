#pragma once

#include "Tools/TreeReader/Release.h"

namespace Keld::TreeMount
{
/// Finds the children of one release's directories by name, as the library finds them by path. Most releases have
/// nothing but names of their own that a file system can show, in ascending order; there a name is searched among its
/// siblings alone. Where a damaged manifest has anything else, the library's own search by path decides. Does not
/// change; any thread may ask. The release must outlive it.
class LayerNames
{
public:
    explicit LayerNames(const TreeReader::Release &release);

    /// Whether every entry that is there can be shown, so that a child is found if and only if it is there.
    bool ArePlain() const { return mArePlain; }

    /// The child that the library finds under the directory's path and this name, in any case.
    /// \param name without a '/' in it.
    TreeReader::EntryIndex FindChild(TreeReader::EntryIndex directory, const char *name) const;

    /// Whether a directory can show an entry: its file is there, its name can stand in a directory, and whoever asks
    /// for its path finds this very entry.
    bool IsShown(TreeReader::EntryIndex entry) const;

    /// Entries that are there and cannot be shown.
    uint64 CountUnshown() const;

    /// The first entry of a range whose name does not come before `name`, or comes behind it.
    TreeReader::EntryIndex FindBound(const TreeReader::EntryRange &range, const char *name, bool behind) const;

private:
    bool FindPlainness() const;
    bool HasPlainChildren(TreeReader::EntryIndex directory, uint64 pathSize) const;
    bool HasTwinsOfBothKinds(TreeReader::EntryIndex directory) const;
    TreeReader::EntryIndex FindInRange(const TreeReader::EntryRange &range, const char *name) const;
    TreeReader::EntryIndex FindByPath(TreeReader::EntryIndex directory, const char *name) const;

    const TreeReader::Release *mRelease;
    const TreeReader::ManifestTree *mTree;
    bool mArePlain;
};
} // namespace Keld::TreeMount
