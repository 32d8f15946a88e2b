#pragma once

#include <memory>

#include <dirent.h>

namespace Keld::TreeReader
{
/// An open directory, whose entries are read once, in the order of the disk.
class DirectoryStream
{
public:
    /// \param directory the stream closes it, also where it cannot be read; -1 for one that could not be opened, with
    ///                  errno as the system left it
    explicit DirectoryStream(int directory);

    /// For looking at the entries by their names. Borrowed; -1 where there is nothing to read.
    int GetDescriptor() const { return mStream != nullptr ? dirfd(mStream.get()) : -1; }

    /// The next entry but for "." and "..", until the next call. Null at the end, and where reading failed.
    const dirent *Next();

    /// The error number that opening or reading failed with, or 0: without it null is the end of a directory.
    int GetError() const { return mError; }

private:
    struct Closer
    {
        void operator()(DIR *stream) const { closedir(stream); }
    };

    std::unique_ptr<DIR, Closer> mStream;
    int mError = 0;
};
} // namespace Keld::TreeReader
