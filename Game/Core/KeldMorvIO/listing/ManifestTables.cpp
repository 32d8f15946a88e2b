#include "KeldMorvIO/listing/ManifestTables.h"

#include "KeldFoundation/CStd/CStd.h"

#include <algorithm>

namespace Keld::MORV::Reader
{
bool ManifestTables::Locate(const ByteView &image, uint_size fileRecordSize)
{
    const auto *const header = image.At<ReleaseManifestHeader>(0);
    if (header == nullptr)
    {
        return false;
    }
    mIdentity = &header->identity;
    mDirectoryCount = &header->directoryCount;
    uint_size offset = sizeof(ReleaseManifestHeader);
    mDirectories = image.Records<DirectoryTableEntry>(offset, *mDirectoryCount);
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
    const uint_size fileTableSize = *mFileCount * fileRecordSize; // 32 bits by a record's size: no product wraps
    mFileRecordSize = fileRecordSize;
    mFiles = image.Records<char>(offset, fileTableSize);
    if (mFiles == nullptr)
    {
        return false;
    }
    offset += fileTableSize;
    mStringTable = image.At<StringTableHeader>(offset);
    return mStringTable != nullptr &&
           image.Records<char>(offset + sizeof(StringTableHeader), mStringTable->dataSize) != nullptr;
}

uint32 ManifestTables::GetHighestNameIndex() const
{
    uint32 highest = mIdentity->projectNameIndex;
    for (uint32 index = 0; index < GetDirectoryCount(); ++index)
    {
        highest = std::max<uint32>(highest, mDirectories[index].nameIndex);
    }
    for (uint32 index = 0; index < GetFileCount(); ++index)
    {
        highest = std::max<uint32>(highest, GetFile(index).nameIndex);
    }
    return highest;
}

// The strings found define the indices; the number that the file states does not count.
void ManifestTables::IndexStrings()
{
    const uint_size count = uint_size{GetHighestNameIndex()} + 1;
    mStrings.clear();
    mStrings.reserve(count);
    for (const char *string = GetStringData(); mStrings.size() < count; string += std_strlen(string) + 1)
    {
        mStrings.push_back(string);
    }
}
} // namespace Keld::MORV::Reader
