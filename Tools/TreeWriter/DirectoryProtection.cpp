#include "Tools/TreeWriter/DirectoryProtection.h"

#include "Tools/TreeReader/DirectoryVisit.h"

#include <cerrno>
#include <cstdio>
#include <string>
#include <system_error>
#include <vector>

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
    std::vector<std::string> paths = {directory.string()};
    if (fs::is_directory(fs::symlink_status(directory, error))) // what a link leads to is not ours to empty
    {
        lift(directory);
        RequireNoDoubt(TreeReader::VisitTree(directory.string(),
                                             [&](const std::string &path, const struct stat &status)
                                             {
                                                 if (S_ISDIR(status.st_mode))
                                                 {
                                                     lift(path);
                                                 }
                                                 paths.push_back(path);
                                                 return true;
                                             }));
    }
    for (; !paths.empty(); paths.pop_back())
    {
        if (std::remove(paths.back().c_str()) != 0 && errno != ENOENT)
        {
            throw fs::filesystem_error("cannot remove", paths.back(), std::error_code(errno, std::system_category()));
        }
    }
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
