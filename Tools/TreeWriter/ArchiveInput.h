#pragma once

#include <exception>
#include <functional>
#include <vector>

#include <sys/types.h>

struct archive;

namespace Keld::TreeWriter
{
/// Feeds libarchive from a descriptor. Whoever feeds the other end may let us wait for long, so that meanwhile the
/// checkpoint is called several times a second, which may throw to end the work.
class ArchiveInput
{
public:
    /// \param descriptor borrowed
    ArchiveInput(int descriptor, std::function<void()> checkpoint);

    ArchiveInput(const ArchiveInput &) = delete;
    ArchiveInput &operator=(const ArchiveInput &) = delete;

    /// Opens a stream, which borrows this until it is freed. Gives libarchive's own result.
    int Open(archive *stream);

    /// Throws what the checkpoint threw within libarchive, which is C and must not be passed. To be called where a call
    /// of libarchive failed.
    void ThrowFailure() const;

private:
    static ssize_t Read(archive *stream, void *input, const void **bytes);
    ssize_t ReadNext();
    void WaitForBytes() const;

    const int mDescriptor;
    const std::function<void()> mCheckpoint;
    std::vector<char> mPiece;
    std::exception_ptr mFailure;
};
} // namespace Keld::TreeWriter
