#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

namespace Keld::File
{
/// An open file of a provider. Its opener owns it, and closes it by deleting it. Not shared between threads. The order
/// of the operations is part of the interface.
class IFile
{
public:
    virtual ~IFile() = default;

    virtual const char *GetName() = 0; ///< the name that the file was opened with
    virtual uint32 GetSize() = 0;      ///< bytes, as found at open
    virtual bool IsOpen() = 0;

    /// The file from its current position on, as a text that lives as long as the object: `GetSize` bytes and a NUL,
    /// with zeros for what could not be read. Null without a stream or without memory.
    virtual const char *GetContents() = 0;

    virtual long Tell() = 0;
    virtual int IsEof() = 0;
    virtual int Seek(long offset, int origin) = 0;
    virtual char *GetLine(char *buffer, int size) = 0; ///< the next line with its end, or null
    virtual uint_size Read(void *buffer, uint_size size, uint_size count) = 0;
    virtual uint_size Write(const void *buffer, uint_size size, uint_size count) = 0;

    // The same questions of a file that may be null.
    static const char *NameOf(IFile *file) { return file != nullptr ? file->GetName() : "???"; }
    static bool IsOpen(IFile *file) { return file != nullptr && file->IsOpen(); }
};
} // namespace Keld::File
