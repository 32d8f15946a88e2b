#include "KeldFoundation/file/FileIteratorRecursiveInternal.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/CStd/FileMode.h"
#include "KeldFoundation/path/Path.h"

namespace Keld::File
{
namespace
{
/// How often one directory is gone down into, by whatever paths. A loop of one link is ended by the platform long
/// before; two links in a directory that lead back to it double the paths at every level, and would never end.
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

/// Whether to go down into a directory: its entries' paths must have room in a path buffer, and it must not have been
/// come to all too often. What only a provider knows, and not the file system, is not counted.
bool FileIteratorRecursiveInternal::IsToBeVisited(const std::string &directory)
{
    if (directory.size() + std_strlen("/*") >= PathCapacity)
    {
        return false;
    }
    const FileStatus status = GetFileStatus(directory.c_str());
    return !status.exists || ++mVisits[{status.device, status.inode}] <= MaximumVisits;
}

/// Looks at the current entry: notes a directory for later, and tells whether the entry is one to stop on.
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

/// Goes on from the current entry, itself included, to the next match.
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
    const char *const directoryText = directory != nullptr ? directory : "";
    const char *const patternText = pattern != nullptr ? pattern : "";
    return boost::shared_ptr<FileIteratorRecursive>(
        new FileIteratorRecursiveInternal(directoryText, patternText, flags));
}
} // namespace Keld::File
