#include "KeldFoundation/file/FileIteratorRecursiveInternal.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/CStd/FileStatus.h"
#include "KeldFoundation/CStd/PathLimit.h"
#include "KeldFoundation/path/Path.h"

namespace Keld::File
{
namespace
{
// How often one directory is entered, by whatever paths. The platform ends a loop of one link long before; two links in
// a directory that lead back to it double the paths at every level, and would never end.
constexpr uint32 MaximumVisits = 1024;
} // namespace

FileIteratorRecursiveInternal::FileIteratorRecursiveInternal(const char *directory, const char *pattern, int flags)
    : mDirectory(directory), mPattern(pattern), mFlags(static_cast<uint32>(flags))
{
    NormalizeSeparators(mDirectory);
    NormalizeSeparators(mPattern);
    OpenCurrentDirectory();
    Advance();
}

void FileIteratorRecursiveInternal::Next()
{
    mCurrent->Next();
    Advance();
}

std::string FileIteratorRecursiveInternal::MakePath(const std::string &name) const
{
    if (mDirectory.empty())
    {
        return name;
    }
    return mDirectory.back() == '/' ? mDirectory + name : mDirectory + "/" + name;
}

void FileIteratorRecursiveInternal::OpenCurrentDirectory()
{
    mCurrent = CreateFileIterator(MakePath("*").c_str(), static_cast<int>(mFlags));
}

void FileIteratorRecursiveInternal::OpenNextDirectory()
{
    mDirectory = mPending.front();
    mPending.pop_front();
    OpenCurrentDirectory();
}

// Whether to enter a directory: its entries' paths must fit in a path buffer, and it must not have been met too often
// already. A directory that only a provider knows, and not the file system, is not counted.
bool FileIteratorRecursiveInternal::IsToBeVisited(const std::string &directory)
{
    if (directory.size() + std_strlen("/*") >= PathBufferSize)
    {
        return false;
    }
    const FileStatus status = GetFileStatus(directory.c_str());
    return !status.exists || ++mVisits[{status.device, status.inode}] <= MaximumVisits;
}

// Looks at the current entry: queues a directory for later, and tells whether to stop on this entry.
bool FileIteratorRecursiveInternal::Visit()
{
    const char *const name = mCurrent->GetName();
    if (mCurrent->IsDirectory())
    {
        mCurrentPath = MakePath(name);
        if (IsToBeVisited(mCurrentPath))
        {
            mPending.push_back(mCurrentPath);
        }
    }
    if (!std_wildcard_match(name, mPattern.c_str()))
    {
        return false;
    }
    mCurrentPath = MakePath(name);
    return true;
}

// Goes on from the current entry, itself included, to the next match.
void FileIteratorRecursiveInternal::Advance()
{
    while (mCurrent->IsValid() || !mPending.empty())
    {
        if (mCurrent->IsValid())
        {
            if (Visit())
            {
                return;
            }
            mCurrent->Next();
        }
        while (!mCurrent->IsValid() && !mPending.empty())
        {
            OpenNextDirectory();
        }
    }
}

boost::shared_ptr<FileIteratorRecursive> CreateRecursiveFileIterator(const char *directory, const char *pattern,
                                                                     int flags)
{
    return boost::shared_ptr<FileIteratorRecursive>(
        new FileIteratorRecursiveInternal(TextOrEmpty(directory), TextOrEmpty(pattern), flags));
}
} // namespace Keld::File
