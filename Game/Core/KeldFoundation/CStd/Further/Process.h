#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

// Where the running program lies. Each is true on success; false, with an empty text, when the result does not fit in
// `size` bytes or in PathBufferSize.
namespace Keld
{
bool std_executable_path(char *buffer, uint_size size);

/// Without symbolic links.
bool std_executable_real_path(char *buffer, uint_size size);

/// With its extension.
bool std_executable_name(char *buffer, uint_size size);

/// With a final '/'.
bool std_executable_directory(char *buffer, uint_size size);

/// The application bundle that the program lies in; false outside of any.
bool std_bundle_directory(char *buffer, uint_size size);

/// The bundle of any path: the path itself if it ends in ".app", else all up to the last ".app/", without the slash.
bool std_bundle_directory_of(const char *path, char *buffer, uint_size size);
} // namespace Keld
