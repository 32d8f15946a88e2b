#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

// Changes of files on disk. Each is true on success.
namespace Keld
{
/// Adds the right to write for everyone.
bool std_make_writable(const char *path);

/// Makes the file writable first. What is absent counts as deleted.
bool std_force_delete(const char *path);

/// Copies a file with its mode and times, and its owner where the process may set one. Makes the directories above the
/// target; into a directory it copies under the source's name; a file that is there already is replaced once the copy
/// is whole. False when anything fails, when the source is no regular file, and when both are the same file.
bool std_copy_file(const char *source, const char *target);
} // namespace Keld
