#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"
#include "KeldFoundation/file/FileIteratorRecursive.h"

#include <deque>
#include <map>
#include <string>
#include <utility>

namespace Keld::File
{
/// The one recursive iterator.
class FileIteratorRecursiveInternal : public FileIteratorRecursive
{
public:
    FileIteratorRecursiveInternal(const char *directory, const char *pattern, int flags);

    bool IsValid() override { return mCurrent->IsValid(); }
    void Next() override;
    const char *GetName() override { return mCurrent->GetName(); }
    bool IsDirectory() override { return mCurrent->IsDirectory(); }
    bool IsOwnerReadable() override { return mCurrent->IsOwnerReadable(); }

    const char *GetDirectory() override { return mDirectory.c_str(); }
    const char *GetFullPath() override { return mCurrentPath.c_str(); }

private:
    std::string MakePath(const std::string &name) const;
    void OpenCurrentDirectory();
    void OpenNextDirectory();
    bool IsToBeVisited(const std::string &directory);
    bool Visit();
    void Advance();

    boost::shared_ptr<FileIterator> mCurrent; ///< of the directory in work
    std::string mDirectory;                   ///< in work
    std::deque<std::string> mPending;         ///< directories to visit
    std::string mPattern;
    std::string mCurrentPath;
    uint32 mFlags;
    std::map<std::pair<uint64, uint64>, uint32> mVisits; ///< times each directory was queued, by device and inode
};
} // namespace Keld::File
