#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

// Path texts in bounded buffers, beside `std_splitpath` and `std_path_to_slashes` of CStd.h.
namespace Keld
{
/// The reverse of `std_path_to_slashes`. `dest` needs room for all of `src`.
void std_path_to_backslashes(char *dest, const char *src);

/// Puts `second` behind `first` with one separator between them, and none behind an empty `first`. Room for one is
/// asked for even where none is needed. False, with an empty text, when the result would not fit in `size` bytes.
bool std_path_join(char *dest, uint_size size, const char *first, const char *second);

/// Composes a path of what `std_splitpath` gives; null parts count as empty, and the extension brings its own dot.
/// False, with an empty text, when the result would not fit in `size` bytes.
bool std_makepath(char *dest, uint_size size, const char *dir, const char *fname, const char *ext);
} // namespace Keld
