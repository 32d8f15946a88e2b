#pragma once

#include "KeldFoundation/CStd/LargeVector.h"
#include "KeldMorvIO/ReaderTypes.h"

#include <cstdio>
#include <string>

// Whole files through standard streams, for the small files of the reader: archive indexes and text manifests. Every
// failure is the one code E_FAIL; the detail goes to the log. All state is on the stack, so any thread may call these.
namespace Keld::MORV::Reader
{
/// Opens a stream, with every backslash of the path as a slash. Gives null on failure, which is logged.
FILE *morv_fopen(const char *path, const char *mode);

/// The same, with the stream or null in `*stream`. Gives 0 or the error number.
errno_t morv_fopen_s(FILE **stream, const char *path, const char *mode);

/// The same for reading, without ever waiting: what is neither a file nor a directory is refused with EINVAL. A failure
/// is logged as that of `morv_fopen_s`, with `mode`.
errno_t morv_fopen_ready_s(FILE **stream, const char *path, const char *mode);

/// Reads `size` bytes from byte `offset` of a file on. `buffer` ends with exactly `size` bytes once the file is open,
/// and keeps what was read when the file is shorter, which is a failure.
HRESULT ReadFileBlockIntoBuffer(const std::string &path, const DWORD offset, const DWORD size,
                                LargeVector<char> &buffer);

/// Reads a whole regular file. An empty one succeeds and leaves `buffer` empty.
HRESULT ReadFileIntoBuffer(const std::string &path, LargeVector<char> &buffer);

/// The low 32 bits of a regular file's size. `size` is written on failure as well, as FileSizeUnknown.
HRESULT QueryFileSize(const std::string &path, uint32 &size);
} // namespace Keld::MORV::Reader
