#include "KeldMorvIO/listing/ReleaseManifestTemplate.h"

#include "KeldMorvIO/ReaderLog.h"
#include "KeldMorvIO/listing/FileLocation.h"
#include "KeldMorvIO/listing/LevelOrder.h"
#include "KeldMorvIO/listing/ListingConstruction.h"
#include "KeldMorvIO/listing/ManifestBounds.h"
#include "KeldMorvIO/listing/NameSort.h"

#include <limits>
#include <stdexcept>

namespace Keld::MORV::Reader
{
template <class EntryType>
ReleaseManifestTemplate<EntryType>::ReleaseManifestTemplate(LargeVector<char> &image)
{
    mImage.swap(image);
    if (!CheckImage())
    {
        mEnd = mImage.data();
        return;
    }
    mEnd = mImage.data() + mImage.size();
    IndexStrings();
    SortTree();
}

// \throws std::length_error for a string count that no vector of pointers can hold, once the tables are found.
template <class EntryType>
bool ReleaseManifestTemplate<EntryType>::CheckImage()
{
    constexpr uint_size largestSize = std::numeric_limits<int32>::max();
    if (mImage.size() < ReleaseManifestSmallestSize || mImage.size() > largestSize ||
        !Locate(ByteView(mImage.data(), mImage.size()), sizeof(EntryType)))
    {
        return false;
    }
    if (GetStatedStringCount() >= ReleaseManifestStringLimit)
    {
        throw std::length_error("vector::reserve");
    }
    return NamesEndInside(*this) && DirectoriesFormTrees(GetDirectories(), GetDirectoryCount(), GetFileCount());
}

template <class EntryType>
bool ReleaseManifestTemplate<EntryType>::IsValid() const
{
    return mEnd != mImage.data();
}

// Level by level, because sorting moves a directory's record, and its children are found through the moved record.
template <class EntryType>
void ReleaseManifestTemplate<EntryType>::SortTree()
{
    const NameOrder names(GetStrings());
    std::vector<uint32> order{0};
    WalkLevelOrder(GetDirectories(), order,
                   [this, &names](uint32 index)
                   {
                       SortDirectory(GetDirectory(index), names);
                   });
}

// Brings both runs of children into ascending order without regard to case; merged enumerations rely on it. The range
// of a count of 0 may begin anywhere and is not touched. The tables are views of an image that this object owns, so it
// may move the records.
template <class EntryType>
void ReleaseManifestTemplate<EntryType>::SortDirectory(const DirectoryTableEntry &directory, const NameOrder &names)
{
    if (directory.subdirectoryCount > 1)
    {
        auto *const first = const_cast<DirectoryTableEntry *>(GetDirectories()) + directory.firstSubdirectory;
        SortByName(names, first, directory.subdirectoryCount, NameSort::ReversedDescending);
    }
    if (directory.fileCount > 1)
    {
        auto *const first = reinterpret_cast<EntryType *>(const_cast<char *>(GetFileTable())) + directory.firstFile;
        SortByName(names, first, directory.fileCount, NameSort::Ascending);
    }
}

template <class EntryType>
ProjectListing *ReleaseManifestTemplate<EntryType>::CreateListing(const char *root) const
{
    if (!IsValid())
    {
        LogError("%s: Failed to create project listing because the manifest is invalid.", CreateListingSignature);
        return nullptr;
    }
    return ConstructListing(*this, root);
}

template <class EntryType>
void ReleaseManifestTemplate<EntryType>::GetFileArchiveMetadata(const char *root, const char *projectRoot,
                                                                LargeVector<FileArchiveMetadata> &metadata,
                                                                std::vector<uint32> &missing,
                                                                LargeVector<uint32> &parents,
                                                                FileHandleHeader &header) const
{
    LocateFiles(*this, root, projectRoot, metadata, missing, parents, header);
}

template class ReleaseManifestTemplate<FileTableEntry>;
template class ReleaseManifestTemplate<FileTableEntryV0>;
} // namespace Keld::MORV::Reader
