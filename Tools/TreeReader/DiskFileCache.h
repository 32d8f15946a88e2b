#pragma once

#include "Tools/TreeReader/DiskFile.h"

#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

namespace Keld::TreeReader
{
/// Keeps the files that were read last open, so that those who read many pieces of one file open it once. Holds a
/// bounded number of descriptors, besides those of files that somebody is reading. Any thread may ask.
class DiskFileCache
{
public:
    /// \param capacity of files that are kept open.
    explicit DiskFileCache(uint_size capacity) : mCapacity(capacity) {}

    /// Where no descriptors are left, those that nobody reads are given up and the file is tried once more.
    Result<std::shared_ptr<const DiskFile>> Open(const std::string &path);

private:
    using Files = std::list<std::shared_ptr<const DiskFile>>;

    std::shared_ptr<const DiskFile> FindKept(const std::string &path);
    void Keep(const std::shared_ptr<const DiskFile> &file);
    void GiveUpAll();

    const uint_size mCapacity;
    std::mutex mMutex; ///< guards what follows
    Files mFiles;      ///< the one that was asked for last in front
    std::unordered_map<std::string, Files::iterator> mByPath;
};
} // namespace Keld::TreeReader
