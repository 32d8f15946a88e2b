#include "Tools/TreeWriter/DirectoryProtection.h"

#include <system_error>

namespace Keld::TreeWriter
{
namespace fs = std::filesystem;

namespace
{
constexpr fs::perms Write = fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write;
}

bool IsProtected(const fs::path &directory)
{
    std::error_code error;
    const fs::file_status status = fs::symlink_status(directory, error);
    return fs::is_directory(status) && (status.permissions() & Write) == fs::perms::none;
}

void Protect(const fs::path &directory)
{
    fs::permissions(directory, Write, fs::perm_options::remove);
}

void RemoveTree(const fs::path &directory)
{
    std::error_code error;
    const auto lift = [&error](const fs::path &path)
    {
        if (IsProtected(path))
        {
            fs::permissions(path, fs::perms::owner_write, fs::perm_options::add, error);
        }
    };
    lift(directory);
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(directory, error))
    {
        lift(entry.path());
    }
    fs::remove_all(directory);
}

ProtectionLifted::ProtectionLifted(const fs::path &directory)
    : mDirectory(directory), mWasProtected(IsProtected(directory))
{
    if (mWasProtected)
    {
        std::error_code error; // what then cannot be done tells its own cause
        fs::permissions(mDirectory, fs::perms::owner_write, fs::perm_options::add, error);
    }
}

ProtectionLifted::~ProtectionLifted()
{
    std::error_code error;
    if (mWasProtected && fs::is_directory(fs::symlink_status(mDirectory, error)))
    {
        fs::permissions(mDirectory, Write, fs::perm_options::remove, error);
    }
}
} // namespace Keld::TreeWriter
