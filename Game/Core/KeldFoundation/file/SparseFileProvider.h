#pragma once

#include "KeldFoundation/file/IFileProvider.h"

namespace Keld::File
{
/// The real file system: standard streams and the platform's enumeration.
class SparseFileProvider : public IFileProvider
{
public:
    /// Backslashes of the path count as slashes. Null for a directory, and for what cannot be opened; nothing is
    /// logged.
    IFile *Open(const char *path, const char *mode) override;

    /// A mode other than 0, 2, 4 or 6 counts as 0.
    int Access(const char *path, int mode) override;
    FileIterator *CreateIterator(const char *pattern, int flags) override;
};
} // namespace Keld::File
