#include "Tools/TreeMount/DirectoryWalk.h"

#include "KeldFoundation/CStd/CStd.h"

namespace Keld::TreeMount
{
using TreeReader::EntryRange;
using TreeReader::Hit;

DirectoryWalk::DirectoryWalk(const MountedTree &tree, const Hit &directory, const Hit &last)
    : mTree(tree), mDirectory(directory)
{
    Begin(last && !tree.IsDirectory(last), last);
    Next();
}

/// \param last the child to begin behind, when it is of the kind that is walked.
void DirectoryWalk::Begin(bool inFiles, const Hit &last)
{
    mInFiles = inFiles;
    mCursors.clear();
    for (Hit part = mDirectory; part; part = mTree.GetNextPart(part))
    {
        const TreeReader::ManifestTree &manifest = mTree.GetManifest(part);
        const EntryRange range = inFiles ? manifest.GetFiles(part.entry) : manifest.GetSubdirectories(part.entry);
        Cursor cursor{part.layer, range.first, range.first + range.count};
        const bool isOwn = last && last.layer == part.layer && last.entry >= range.first && last.entry < cursor.end;
        if (isOwn)
        {
            cursor.next = last.entry + 1;
        }
        else if (last)
        {
            cursor.next = mTree.GetNames(part.layer).FindBound(range, mTree.GetName(last), true);
        }
        SkipUnshown(cursor);
        mCursors.push_back(cursor);
    }
}

/// What a layer does not show must not stand in for what a later layer has under its name.
void DirectoryWalk::SkipUnshown(Cursor &cursor) const
{
    while (cursor.next < cursor.end && !mTree.GetNames(cursor.layer).IsShown(cursor.next))
    {
        ++cursor.next;
    }
}

void DirectoryWalk::Next()
{
    do
    {
        mCurrent = TakeLowest();
        if (!mCurrent && !mInFiles)
        {
            Begin(true, {});
            mCurrent = TakeLowest();
        }
    } while (mCurrent && !IsShown(mCurrent));
}

const char *DirectoryWalk::NameAt(const Cursor &cursor) const
{
    return mTree.GetName({cursor.layer, cursor.next});
}

/// The child with the lowest name; of several layers' that of the first. Steps past all that have its name.
Hit DirectoryWalk::TakeLowest()
{
    const Cursor *lowest = nullptr;
    for (const Cursor &cursor : mCursors)
    {
        const bool isLower =
            cursor.next < cursor.end && (lowest == nullptr || std_stricmp(NameAt(cursor), NameAt(*lowest)) < 0);
        lowest = isLower ? &cursor : lowest;
    }
    if (lowest == nullptr)
    {
        return {};
    }
    const Hit taken{lowest->layer, lowest->next};
    for (Cursor &cursor : mCursors)
    {
        const bool isTaken = cursor.layer == taken.layer;
        const bool isAlike = !isTaken && mCursors.size() > 1 && cursor.next < cursor.end &&
                             std_stricmp(NameAt(cursor), mTree.GetName(taken)) == 0;
        if (isTaken || isAlike)
        {
            ++cursor.next;
            SkipUnshown(cursor);
        }
    }
    return taken;
}

/// Of several layers only what a search finds is shown: a file may hide a directory of a later layer, and the other way
/// round.
bool DirectoryWalk::IsShown(const Hit &child) const
{
    return mCursors.size() == 1 || IsSameNode(mTree.FindChild(mDirectory, mTree.GetName(child)), child);
}
} // namespace Keld::TreeMount
