#pragma once

#include "Tools/TreeMount/MountedTree.h"

#include <vector>

namespace Keld::TreeMount
{
/// Walks what a directory shows, all layers merged: subdirectories first, then files, both ascending by name without
/// regard to case. It can begin behind any child, so nobody has to keep a walk between two calls of the kernel.
class DirectoryWalk
{
public:
    /// \param last the child to begin behind; nothing for all.
    DirectoryWalk(const MountedTree &tree, const TreeReader::Hit &directory, const TreeReader::Hit &last = {});

    bool IsValid() const { return static_cast<bool>(mCurrent); }
    const TreeReader::Hit &GetCurrent() const { return mCurrent; } ///< only while valid
    void Next();

private:
    struct Cursor
    {
        uint32 layer;
        TreeReader::EntryIndex next;
        TreeReader::EntryIndex end;
    };

    void Begin(bool inFiles, const TreeReader::Hit &last);
    void SkipUnshown(Cursor &cursor) const;
    TreeReader::Hit TakeLowest();
    bool IsShown(const TreeReader::Hit &child) const;
    const char *NameAt(const Cursor &cursor) const;

    const MountedTree &mTree;
    const TreeReader::Hit mDirectory;
    bool mInFiles = false;        ///< behind the subdirectories
    std::vector<Cursor> mCursors; ///< of the layers, in the order of the search
    TreeReader::Hit mCurrent;
};
} // namespace Keld::TreeMount
