#pragma once

namespace Keld::File
{
class FileIterator;

/// The platform's own iterator, over `glob`. A pattern of 1024 bytes or more matches nothing, and a match of that
/// length is passed over. Nor does a pattern match anything that has wildcards in more than two of its directories. Not
/// to be called by two threads at once. The caller owns the result.
FileIterator *CreateFileIteratorMacOSX(const char *pattern, int flags);
} // namespace Keld::File
