#pragma once

#include "Tools/TreeReader/Release.h"

namespace Keld::TreeReader
{
/// Walks the children of one directory in one layer as the library's iterator does: subdirectories first, then the
/// files that are there.
class LayerIterator
{
public:
    LayerIterator(const Release &release, uint32 layer, EntryIndex directory);

    bool IsValid() const { return mNext < mSubdirectories.count + mFiles.count; }
    bool IsDirectory() const { return mNext < mSubdirectories.count; }

    // Of the current child; only while valid.
    EntryIndex GetEntry() const;
    const char *GetName() const { return mRelease->GetTree().GetName(GetEntry()); }
    uint32 GetLayer() const { return mLayer; }
    uint32 GetSize() const; ///< bytes of content, as the manifest says; 0 for a directory

    bool Next();

private:
    void SkipMissing();

    const Release *mRelease;
    uint32 mLayer;
    EntryRange mSubdirectories;
    EntryRange mFiles;
    uint32 mNext = 0;
};
} // namespace Keld::TreeReader
