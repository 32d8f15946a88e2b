#include "KeldFoundation/CStd/FileWatch.h"

namespace Keld
{
bool FileWatch::HasChanged()
{
    const FileStatus before = mSeen;
    mSeen = GetFileStatus(mPath);
    const bool same = mSeen.exists == before.exists && mSeen.device == before.device && mSeen.inode == before.inode &&
                      mSeen.size == before.size && mSeen.modified == before.modified;
    return !same;
}
} // namespace Keld
