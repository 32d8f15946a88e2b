#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

namespace Keld::MORV::Reader
{
/// The handle of a file opened for positional reads: a file descriptor. Null is 0, so descriptor 0 cannot be told
/// from it.
enum class AsyncFile : int32
{
    Null = 0
};

/// Opens for reading; the caller closes the handle. Gives `AsyncFile::Null` when the file cannot be opened, and `errno`
/// tells why. A directory opens as well, and every read of it fails.
AsyncFile AsyncOpen(const char *path);

/// Does nothing for the null handle.
void AsyncClose(AsyncFile file);

/// Reads `size` bytes from byte `offset` on and waits for them. At most four reads are in flight in the process;
/// further callers sleep. Any thread may call it.
/// \param bytesRead out, may be null: bytes delivered, fewer at the end of the file and where the platform's limit for
///                  one transfer (2 GiB less a page) is reached. 0xFFFFFFFF when the read failed, 0 when it could not
///                  be started, not written when no slot could be had.
/// \returns true when the read ended without an error, however many bytes came. False also when a signal ended the
///          sleep for a slot.
bool AsyncRead(AsyncFile file, uint64 offset, uint32 size, uint32 *bytesRead, void *buffer);
} // namespace Keld::MORV::Reader
