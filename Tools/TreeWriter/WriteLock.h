#pragma once

#include <filesystem>
#include <functional>
#include <vector>

namespace Keld::TreeWriter
{
/// The right to write below one directory of a tree, a project or a solution: whoever writes there holds it. It is a
/// lock on the directory itself, so that it ends with the process, however that ends, and leaves nothing behind.
class WriteLock
{
public:
    /// Makes the directory where it is missing, and waits while somebody else holds the lock.
    /// \param whileWaiting called again and again while it waits; what it throws ends the waiting
    /// \throws std::system_error when the directory cannot be made or locked
    WriteLock(const std::filesystem::path &directory, const std::function<void()> &whileWaiting);

    /// Also removes the directories that were made for it and are still empty.
    ~WriteLock();

    /// At its end, removes the directory and the one above, where they are empty, also when they were there before.
    void RemoveWhenEmpty();

    WriteLock(const WriteLock &) = delete;
    WriteLock &operator=(const WriteLock &) = delete;

private:
    bool MakeDirectories(const std::filesystem::path &directory);
    void RemoveEmptyDirectories();
    bool TryLock(const std::filesystem::path &directory);

    const std::filesystem::path mDirectory;
    int mDescriptor = -1;
    int mVanishedParents = 0;
    std::vector<std::filesystem::path> mMade; ///< from the outermost to the directory itself
};
} // namespace Keld::TreeWriter
