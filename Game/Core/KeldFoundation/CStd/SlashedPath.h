#pragma once

// How the layer's file calls turn backslashes into slashes on the way to the platform.
namespace Keld
{
/// Copies into a buffer of PathBufferSize bytes. False, with ENAMETOOLONG, when the path does not fit.
bool CopyWithSlashes(char *dest, const char *src);

/// The same into one buffer of the process, which `std_access` and `std_fopen_shared` share. It has no lock: the caller
/// makes sure that no two threads come here at once. Null when the path does not fit.
const char *SharedSlashedPath(const char *path);
} // namespace Keld
