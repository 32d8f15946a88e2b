#include "KeldMorvIO/listing/ReleaseManifestTemplate.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/file/ByteView.h"
#include "KeldMorvIO/listing/ManifestTreeCheck.h"
#include "KeldMorvIO/listing/NameOrder.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace Keld::MORV::Reader
{
namespace
{
/// The records of a table in the manifest's own image, which may change them.
template <class Record>
Record *GetTable(const ByteView &image, uint_size offset, uint32 count)
{
    return const_cast<Record *>(image.Records<Record>(offset, count));
}

/// The highest name index of the records, or `highest` if that is above them all.
template <class Record>
uint32 HighestNameIndex(const Record *records, uint32 count, uint32 highest)
{
    for (uint32 index = 0; index < count; ++index)
    {
        highest = std::max<uint32>(highest, records[index].nameIndex);
    }
    return highest;
}
} // namespace

template <class EntryType>
ReleaseManifestTemplate<EntryType>::ReleaseManifestTemplate(std::vector<char> &image)
{
    mImage.swap(image);
    mEnd = mImage.data() + mImage.size();
    if (!SetPointers())
    {
        mEnd = mImage.data();
        return;
    }
    if (mStringTable->stringCount >= ReleaseManifestStringLimit)
    {
        throw std::length_error("vector::reserve");
    }
    if (!CheckTree())
    {
        mEnd = mImage.data();
        return;
    }
    IndexStrings();
    SortTree();
}

template <class EntryType>
bool ReleaseManifestTemplate<EntryType>::IsValid() const
{
    return mEnd != mImage.data();
}

/// Finds the tables, each behind the one before it. Everything up to the end of the string data must lie in the image;
/// what stands behind it is tolerated.
template <class EntryType>
bool ReleaseManifestTemplate<EntryType>::SetPointers()
{
    constexpr uint_size largestSize = std::numeric_limits<int32>::max();
    if (mImage.size() < ReleaseManifestSmallestSize || mImage.size() > largestSize)
    {
        return false;
    }
    const ByteView image(mImage.data(), mImage.size());
    mHeader = image.At<ReleaseManifestHeader>(0);
    mIdentity = &mHeader->identity;
    mDirectoryCount = &mHeader->directoryCount;

    uint_size offset = sizeof(ReleaseManifestHeader);
    mDirectories = GetTable<DirectoryTableEntry>(image, offset, *mDirectoryCount);
    if (mDirectories == nullptr)
    {
        return false;
    }
    offset += *mDirectoryCount * sizeof(DirectoryTableEntry);
    mFileCount = image.At<Little32>(offset);
    if (mFileCount == nullptr)
    {
        return false;
    }
    offset += sizeof(Little32);
    mFiles = GetTable<EntryType>(image, offset, *mFileCount);
    if (mFiles == nullptr)
    {
        return false;
    }
    offset += *mFileCount * sizeof(EntryType);
    mStringTable = image.At<StringTableHeader>(offset);
    return mStringTable != nullptr &&
           image.Records<char>(offset + sizeof(StringTableHeader), mStringTable->dataSize) != nullptr;
}

/// After this the indices in all records may be trusted, also in those that no directory holds. A name counts only if
/// it ends inside the string data, because no more than that is copied out of the image.
template <class EntryType>
bool ReleaseManifestTemplate<EntryType>::CheckTree() const
{
    const char *const strings = GetStringData();
    const auto stringCount = static_cast<uint32>(std::count(strings, strings + mStringTable->dataSize, '\0'));
    return GetHighestNameIndex() < stringCount && DirectoriesFormTrees(mDirectories, *mDirectoryCount, *mFileCount);
}

template <class EntryType>
uint32 ReleaseManifestTemplate<EntryType>::GetHighestNameIndex() const
{
    const uint32 highest = HighestNameIndex(mDirectories, *mDirectoryCount, mIdentity->projectNameIndex);
    return HighestNameIndex(mFiles, *mFileCount, highest);
}

/// The strings found define the indices, whatever number the file states. Those behind the last one that is referred to
/// are left alone, as a file can hold one in each of its bytes.
template <class EntryType>
void ReleaseManifestTemplate<EntryType>::IndexStrings()
{
    const uint_size count = uint_size{GetHighestNameIndex()} + 1;
    mStrings.reserve(count);
    for (const char *string = GetStringData(); mStrings.size() < count; string += std_strlen(string) + 1)
    {
        mStrings.push_back(string);
    }
}

/// Level by level, because a directory's record must have moved to its place before its children are looked for.
template <class EntryType>
void ReleaseManifestTemplate<EntryType>::SortTree()
{
    const NameOrder names(mStrings);
    std::vector<uint32> queue{0};
    for (uint_size next = 0; next < queue.size(); ++next)
    {
        const DirectoryTableEntry &directory = mDirectories[queue[next]];
        SortDirectory(directory, names);
        for (uint32 child = 0; child < directory.subdirectoryCount; ++child)
        {
            queue.push_back(directory.firstSubdirectory + child);
        }
    }
}

/// Brings both runs of children into ascending order without regard to case, which those who merge several listings
/// rely on. A range of no children may begin anywhere and is not looked at.
template <class EntryType>
void ReleaseManifestTemplate<EntryType>::SortDirectory(const DirectoryTableEntry &directory, const NameOrder &names)
{
    if (directory.subdirectoryCount > 1)
    {
        DirectoryTableEntry *const first = mDirectories + directory.firstSubdirectory;
        DirectoryTableEntry *const end = first + directory.subdirectoryCount;
        std::sort(first, end,
                  [&names](const auto &lhs, const auto &rhs)
                  {
                      return names.ComesBefore(rhs.nameIndex, lhs.nameIndex);
                  });
        std::reverse(first, end);
    }
    if (directory.fileCount > 1)
    {
        EntryType *const first = mFiles + directory.firstFile;
        EntryType *const end = first + directory.fileCount;
        std::sort(first, end,
                  [&names](const auto &lhs, const auto &rhs)
                  {
                      return names.ComesBefore(lhs.nameIndex, rhs.nameIndex);
                  });
    }
}

template class ReleaseManifestTemplate<FileTableEntry>;
template class ReleaseManifestTemplate<FileTableEntryV0>;
} // namespace Keld::MORV::Reader
