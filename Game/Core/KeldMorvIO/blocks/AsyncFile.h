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

/// Gives `AsyncFile::Null` when the file cannot be opened; `errno` then tells why.
AsyncFile AsyncOpen(const char *path);

/// Does nothing for the null handle.
void AsyncClose(AsyncFile file);

/// Reads `size` bytes from byte `offset` on and waits for them. At most four reads are in flight in the process;
/// further callers sleep. Any thread may call it.
/// \param bytesRead out, may be null: bytes delivered, fewer at the end of the file; 0xFFFFFFFF after an error.
/// \returns true when the read ended without an error, however many bytes came.
bool AsyncRead(AsyncFile file, uint64 offset, uint32 size, uint32 *bytesRead, void *buffer);
} // namespace Keld::MORV::Reader
