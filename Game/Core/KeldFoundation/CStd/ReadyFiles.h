#pragma once

#include <cstdio>

// Opens for reading that never wait. A FIFO holds a plain open up until somebody writes to it, and opening a device can
// do things of its own.
namespace Keld
{
/// A descriptor for reading, closed when another program starts; the caller closes it. -1 on failure, and `errno` tells
/// why: EINVAL for what is neither a regular file nor a directory. A link is followed. A directory opens as ever, and
/// cannot be read.
int std_open_ready(const char *path);

/// The same as a stream, with every backslash of the path as a slash. Null on failure.
std::FILE *std_fopen_ready(const char *path);
} // namespace Keld
