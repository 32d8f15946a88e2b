#include "Tools/TreeSnapshot.h"

#include "Support/FileBytes.h"

#include <filesystem>

#include <sys/stat.h>

namespace Keld::Test
{
namespace
{
std::string Describe(const std::filesystem::directory_entry &entry)
{
    struct stat status = {};
    lstat(entry.path().c_str(), &status);
    std::string text = std::to_string(status.st_mode) + " " + std::to_string(status.st_mtim.tv_sec) + "." +
                       std::to_string(status.st_mtim.tv_nsec) + " " + std::to_string(status.st_ino) + "\n";
    if (S_ISREG(status.st_mode))
    {
        text += BytesOf(entry.path());
    }
    return text;
}
} // namespace

TreeSnapshot TakeSnapshot(const std::string &directory)
{
    TreeSnapshot snapshot;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(directory))
    {
        snapshot[entry.path().string()] = Describe(entry);
    }
    return snapshot;
}
} // namespace Keld::Test
