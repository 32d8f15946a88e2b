#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

// Calls on directories and on entries of any kind. Each is true on success.
namespace Keld
{
bool std_chmod(const char *path, uint32 mode);
bool std_chdir(const char *path);
bool std_rmdir(const char *path);
bool std_rename(const char *from, const char *to);

/// False as well, with an empty text, when the result does not fit in `size` bytes.
bool std_realpath(const char *path, char *buffer, uint_size size);

/// By the mode bit 0x4000, which sockets and block devices have too.
bool std_directory_exists(const char *path);

/// An entry of any kind but a pipe and a character device.
bool std_entry_exists(const char *path);

/// Makes one directory that everyone may use (mode 0777), whatever the process's mask. One that is there already is
/// accepted, and widened where its mode lacks a bit of 0777.
bool std_mkdir(const char *path);

/// The same, with the directories that are missing above it, each made with mode 0777. Those above that are there keep
/// their mode. Asserts `path`.
bool std_mkdir_tree(const char *path);

/// Bytes that the caller may still write to the file system of `path`.
bool std_free_space(const char *path, uint64 *bytes);

/// The names in a directory, in no order, without "." and "..", each with its NUL, in one block that the caller frees
/// with `std_free`. An empty name stands behind the last. Null when the directory cannot be read.
/// \param count  out, may be null: the number of names.
char *std_list_directory(const char *path, uint_size *count);
} // namespace Keld
