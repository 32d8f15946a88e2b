#include "Tools/TreeWriter/ArchiveInput.h"

#include <cerrno>
#include <cstring>

#include <archive.h>
#include <poll.h>
#include <unistd.h>

namespace Keld::TreeWriter
{
namespace
{
constexpr std::size_t InputSize = std::size_t{1} << 18; // bytes
constexpr int PatienceMs = 100;                         // between two looks at the checkpoint
} // namespace

ArchiveInput::ArchiveInput(int descriptor, std::function<void()> checkpoint)
    : mDescriptor(descriptor), mCheckpoint(std::move(checkpoint)), mPiece(InputSize)
{
}

int ArchiveInput::Open(archive *stream)
{
    return archive_read_open(stream, this, nullptr, Read, nullptr);
}

void ArchiveInput::ThrowFailure() const
{
    if (mFailure != nullptr)
    {
        std::rethrow_exception(mFailure);
    }
}

ssize_t ArchiveInput::Read(archive *stream, void *input, const void **bytes)
{
    auto &self = *static_cast<ArchiveInput *>(input);
    try
    {
        self.WaitForBytes();
    }
    catch (...)
    {
        self.mFailure = std::current_exception();
        archive_set_error(stream, EINTR, "interrupted");
        return ARCHIVE_FATAL;
    }
    const ssize_t size = self.ReadNext();
    if (size < 0)
    {
        archive_set_error(stream, errno, "it cannot be read: %s", std::strerror(errno));
        return ARCHIVE_FATAL;
    }
    *bytes = self.mPiece.data();
    return size;
}

ssize_t ArchiveInput::ReadNext()
{
    ssize_t size = 0;
    do
    {
        size = read(mDescriptor, mPiece.data(), mPiece.size());
    } while (size < 0 && errno == EINTR);
    return size;
}

/// Until there are bytes, an end or an error, all of which the read tells.
void ArchiveInput::WaitForBytes() const
{
    pollfd waiting = {mDescriptor, POLLIN, 0};
    int ready = 0;
    do
    {
        mCheckpoint();
        ready = poll(&waiting, 1, PatienceMs);
    } while (ready == 0 || (ready < 0 && errno == EINTR));
}
} // namespace Keld::TreeWriter
