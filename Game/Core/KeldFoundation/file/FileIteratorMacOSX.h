#pragma once

namespace Keld::File
{
class FileIterator;

/// The platform's own iterator, over `glob`. A pattern that does not fit in PathBufferSize matches nothing, and a match
/// that does not fit is skipped. Not to be called by two threads at once. The caller owns the result.
FileIterator *CreateFileIteratorMacOSX(const char *pattern, int flags);
} // namespace Keld::File
