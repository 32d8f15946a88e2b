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
} // namespace Keld::MORV::Reader
