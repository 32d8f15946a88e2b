#pragma once

#include "Tools/TreeReader/Fault.h"

#include "KeldFoundation/CStd/LargeVector.h"
#include "KeldMorvIO/blocks/AsyncFile.h"

#include <string>
#include <vector>

#include <sys/stat.h>

namespace Keld::TreeReader
{
/// A file opened for reading at offsets, from any number of threads at once. Whoever destroys it closes it.
class DiskFile
{
public:
    /// Opens whatever stands there, without waiting for the writer of a FIFO.
    static Result<DiskFile> Open(const std::string &path);

    DiskFile(DiskFile &&other) noexcept;
    DiskFile &operator=(DiskFile &&other) noexcept;
    ~DiskFile();

    const std::string &GetPath() const { return mPath; }
    bool IsRegular() const { return S_ISREG(mMode); }
    bool IsDirectory() const { return S_ISDIR(mMode); }

    /// Bytes, at the time of the opening.
    uint64 GetSize() const { return mSize; }

    /// Reads up to `size` bytes from byte `offset` on, fewer only at the end of the file. Gives how many.
    Result<uint_size> ReadAt(uint64 offset, void *buffer, uint_size size) const;

    /// For the library's own decoders. Borrowed; one that is null to them cannot be read by them.
    MORV::Reader::AsyncFile GetHandle() const { return MORV::Reader::AsyncFile{mDescriptor}; }

private:
    DiskFile(std::string path, int descriptor, const struct stat &status);

    std::string mPath;
    int mDescriptor = -1;
    mode_t mMode = 0;
    uint64 mSize = 0;
};

/// A whole regular file of at most `limit` bytes.
Result<LargeVector<char>> ReadFileImage(const std::string &path, uint64 limit);

/// The names in a directory, without "." and "..", in ascending order of their bytes.
Result<std::vector<std::string>> ReadNames(const std::string &directory);

/// What an error number of the system means for a path that was to be opened or looked at: names the directory that
/// cannot be entered, or the first one that is not there.
Fault ExplainSystemError(const std::string &path, int error);
} // namespace Keld::TreeReader
