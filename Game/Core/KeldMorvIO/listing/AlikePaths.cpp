#include "KeldMorvIO/listing/AlikePaths.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/CStd/Hash.h"
#include "KeldFoundation/CStd/PathLimit.h"

namespace Keld::MORV::Reader
{
namespace
{
/// Far more than the pairs of one hash among ten million paths.
constexpr uint32 ComparedLimit = 0x10000;
} // namespace

AlikePaths::Backwards::Backwards(const AlikePaths &paths, uint32 entry)
    : mPaths(paths), mEntry(entry), mName(paths.GetName(entry)), mLength(std_strnlen(mName, PathBufferSize + 1))
{
}

// No path ends in a NUL, and the root's name is part of none.
char AlikePaths::Backwards::Next()
{
    if (mLength != 0)
    {
        --mLength;
        return FoldCase(mName[mLength]);
    }
    mEntry = mPaths.mParents[mEntry];
    if (mEntry == 0)
    {
        return '\0';
    }
    mName = mPaths.GetName(mEntry);
    mLength = std_strnlen(mName, PathBufferSize + 1);
    return '/';
}

bool AlikePaths::Backwards::IsTooLong() const
{
    return mLength > PathBufferSize;
}

bool AlikePaths::MayBeAlike(uint32 left, uint32 right)
{
    ++mComparedCount;
    if (mComparedCount > ComparedLimit)
    {
        return true;
    }
    MakeParents();
    Backwards leftPath(*this, left);
    Backwards rightPath(*this, right);
    for (uint32 count = 0; count < PathBufferSize && !leftPath.IsTooLong() && !rightPath.IsTooLong(); ++count)
    {
        const char character = leftPath.Next();
        if (character != rightPath.Next())
        {
            return false;
        }
        if (character == '\0')
        {
            break;
        }
    }
    return true;
}

const char *AlikePaths::GetName(uint32 entry) const
{
    const uint32 directoryCount = mManifest.GetDirectoryCount();
    const uint32 nameIndex = entry < directoryCount ? mManifest.GetDirectory(entry).nameIndex
                                                    : mManifest.GetFile(entry - directoryCount).nameIndex;
    return mManifest.GetString(nameIndex);
}

void AlikePaths::MakeParents()
{
    if (!mParents.empty())
    {
        return;
    }
    const uint32 directoryCount = mManifest.GetDirectoryCount();
    mParents.resize(uint_size{directoryCount} + mManifest.GetFileCount());
    for (uint32 index = 0; index < directoryCount; ++index)
    {
        const DirectoryTableEntry &directory = mManifest.GetDirectory(index);
        for (uint32 position = 0; position < directory.subdirectoryCount; ++position)
        {
            mParents[directory.firstSubdirectory + position] = index;
        }
        for (uint32 position = 0; position < directory.fileCount; ++position)
        {
            mParents[uint_size{directoryCount} + directory.firstFile + position] = index;
        }
    }
}
} // namespace Keld::MORV::Reader
