#include "Tools/TreeReader/DirectoryScan.h"

#include "Tools/TreeReader/DirectoryStream.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Keld::TreeReader
{
DirectoryScan::DirectoryScan(DirectoryScan &&other) noexcept
    : mDescriptor(std::exchange(other.mDescriptor, -1)), mNames(std::move(other.mNames)),
      mEntries(std::move(other.mEntries))
{
}

DirectoryScan::~DirectoryScan()
{
    if (mDescriptor >= 0)
    {
        close(mDescriptor);
    }
}

std::optional<DirectoryScan> DirectoryScan::Read(const std::string &directory)
{
    DirectoryScan scan;
    scan.mDescriptor = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (scan.mDescriptor < 0 && (errno == ENOENT || errno == ENOTDIR))
    {
        return scan;
    }
    // A directory that may be read but not entered shows names that nobody can open.
    struct stat self = {};
    const bool usable =
        scan.mDescriptor >= 0 && fstatat(scan.mDescriptor, ".", &self, 0) == 0 && scan.ReadFrom(dup(scan.mDescriptor));
    return usable ? std::optional<DirectoryScan>(std::move(scan)) : std::nullopt;
}

/// Takes over the descriptor.
bool DirectoryScan::ReadFrom(int descriptor)
{
    DirectoryStream stream(descriptor);
    while (const dirent *entry = stream.Next())
    {
        mEntries.push_back({mNames.size(), entry->d_type});
        mNames.append(entry->d_name, std::strlen(entry->d_name) + 1);
    }
    std::sort(mEntries.begin(), mEntries.end(),
              [this](const Entry &left, const Entry &right)
              {
                  return std::strcmp(mNames.data() + left.name, mNames.data() + right.name) < 0;
              });
    return stream.GetError() == 0;
}

bool DirectoryScan::HoldsFile(const char *name) const
{
    const auto entry = std::lower_bound(mEntries.begin(), mEntries.end(), name,
                                        [this](const Entry &left, const char *wanted)
                                        {
                                            return std::strcmp(mNames.data() + left.name, wanted) < 0;
                                        });
    if (entry == mEntries.end() || std::strcmp(mNames.data() + entry->name, name) != 0)
    {
        return false;
    }
    if (entry->type != DT_LNK && entry->type != DT_UNKNOWN)
    {
        return entry->type == DT_REG;
    }
    struct stat status = {};
    return fstatat(mDescriptor, name, &status, 0) == 0 && S_ISREG(status.st_mode);
}
} // namespace Keld::TreeReader
