#include "Tools/TreeReader/DirectoryStream.h"

#include <cerrno>
#include <cstring>

#include <unistd.h>

namespace Keld::TreeReader
{
DirectoryStream::DirectoryStream(int directory) : mStream(directory >= 0 ? fdopendir(directory) : nullptr)
{
    if (mStream != nullptr)
    {
        return;
    }
    mError = errno;
    if (directory >= 0)
    {
        close(directory);
    }
}

const dirent *DirectoryStream::Next()
{
    if (mStream == nullptr || mError != 0)
    {
        return nullptr;
    }
    const dirent *entry = nullptr;
    do
    {
        errno = 0; // the only way to tell a failure from the end
        entry = readdir(mStream.get());
    } while (entry != nullptr && (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0));
    if (entry == nullptr)
    {
        mError = errno;
    }
    return entry;
}
} // namespace Keld::TreeReader
