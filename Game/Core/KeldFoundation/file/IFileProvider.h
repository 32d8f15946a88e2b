#pragma once

namespace Keld::File
{
class FileIterator;
class IFile;

/// A place that files come from. The order of the operations is part of the interface.
class IFileProvider
{
public:
    /// Opens a file, or gives null. The caller owns the result.
    virtual IFile *Open(const char *path, const char *mode) = 0;

    /// 0 when the access is possible, else -1.
    virtual int Access(const char *path, int mode) = 0;

    /// A new iterator, or null. The caller owns the result.
    virtual FileIterator *CreateIterator(const char *pattern, int flags) = 0;

    virtual ~IFileProvider() = default;

    // Two places at the end that nothing calls.
    virtual int Reserved1() { return 0; }
    virtual int Reserved2() { return 0; }
};
} // namespace Keld::File
