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
/// tells why. A directory opens as well, and every read of it fails. What is neither a file nor a directory, as a FIFO
/// or a device, is refused with EINVAL, without waiting.
AsyncFile AsyncOpen(const char *path);

/// Does nothing for the null handle.
void AsyncClose(AsyncFile file);

/// Closes the file, but leaves its number taken until `AsyncClose`, so that no other file of the process can get it
/// meanwhile. Every `AsyncRead` through the handle fails with EBADF from then on. For handles that others hold, too.
/// Where no more files can be opened, the file stays open until `AsyncClose`, and is only not read any more. Does
/// nothing for the null handle.
void AsyncCloseKeepingNumber(AsyncFile file);

/// The descriptor to read from, or -1 where the file is open but counts as closed. Leaves `errno` alone.
int AsyncGetReadable(AsyncFile file);

/// Whether reads take their bytes from where they are told to; a pipe gives what comes next. Leaves `errno` alone.
bool AsyncHasPositions(AsyncFile file);
} // namespace Keld::MORV::Reader
