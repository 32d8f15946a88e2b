#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <cstdarg>
#include <initializer_list>
#include <string>

namespace Keld
{
/// Turns backslashes into slashes and collapses runs of separators, but for a leading pair. Settles separators and
/// nothing else: "." and "..", case and drive prefixes stay. `dest` may be `source`, and needs room for all of it.
/// \returns the length of the result; 0, with nothing written, when either pointer is null.
uint32 CanonicalizePath(const char *source, char *dest, uint8 dropTrailingSeparator);

/// The same into `size` bytes. False, with an empty text in `dest`, when the result would not fit; a source that is
/// longer than the buffer passes as long as what it collapses to is not.
bool CanonicalizePathBounded(const char *source, char *dest, uint32 size, uint8 dropTrailingSeparator);

/// The same rule in place. A trailing separator stays.
void NormalizeSeparators(std::string &path);

/// Joins `count` texts (each a `const char *`; null and empty ones are skipped) with single separators. A piece that
/// begins with '/' discards the pieces before it. False when the result does not fit in `size` bytes with its NUL;
/// the buffer then holds a terminated text of no meaning.
bool JoinPath(char *buffer, uint32 size, std::initializer_list<const char *> pieces);
bool JoinPath(char *buffer, uint32 size, uint32 count, ...);
bool JoinPathV(char *buffer, uint32 size, uint32 count, va_list pieces);
} // namespace Keld
