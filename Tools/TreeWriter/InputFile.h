#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <string>

#include <sys/stat.h>

namespace Keld::TreeWriter
{
/// A file that is read at any offset, from several threads. All calls throw TreeError with the path: when the file
/// cannot be read, or is not any more what it was.
class InputFile
{
public:
    /// \param size what it had when it was looked at
    InputFile(std::string path, uint64 size);
    ~InputFile();

    InputFile(const InputFile &) = delete;
    InputFile &operator=(const InputFile &) = delete;

    /// Exactly `size` bytes from `offset` on.
    void Read(uint64 offset, char *buffer, std::size_t size) const;

    /// To be called after the last read: that nobody wrote to the file since it was opened.
    void RequireUnchanged() const;

private:
    [[noreturn]] void Fail() const;
    [[noreturn]] void FailSinceChanged() const;

    std::string mPath; ///< a text: a path would be taken apart into its names for every file
    int mDescriptor;
    struct stat mStatus = {};
};
} // namespace Keld::TreeWriter
