#pragma once

#include <filesystem>

namespace Keld::TreeWriter
{
/// The library deletes an archive index that it cannot read, if only for want of descriptors, and can do so where it
/// may write the directory. A protected directory is one that nobody may write, not even its owner; root may all the
/// same.

bool IsProtected(const std::filesystem::path &directory);

/// Takes the permission to write a directory from everybody. Throws std::system_error.
void Protect(const std::filesystem::path &directory);

/// Removes a directory with all below it, protected ones too; nothing where it is not there. Of a symbolic link, also
/// of one below, the link alone goes. Throws std::system_error, and TreeError where a directory cannot be read.
void RemoveTree(const std::filesystem::path &directory);

/// Lets the owner write a protected directory for a while. What is no protected directory is left alone.
class ProtectionLifted
{
public:
    explicit ProtectionLifted(const std::filesystem::path &directory);

    /// Protects the directory again, where it still stands.
    ~ProtectionLifted();

    ProtectionLifted(const ProtectionLifted &) = delete;
    ProtectionLifted &operator=(const ProtectionLifted &) = delete;

    /// Tells where the directory is now.
    void MoveTo(const std::filesystem::path &directory) { mDirectory = directory; }

private:
    std::filesystem::path mDirectory;
    const bool mWasProtected;
};
} // namespace Keld::TreeWriter
