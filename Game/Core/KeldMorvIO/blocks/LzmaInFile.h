#pragma once

#include "KeldMorvIO/blocks/AsyncFile.h"
#include "KeldMorvIO/blocks/CompressedFormat.h"
#include "KeldMorvIO/blocks/ILzmaIn.h"

namespace Keld::MORV::Reader
{
/// Compressed bytes in a range of a file, read in chunks of 64 KiB into the object itself, which is meant to stand on
/// the stack. The destructor closes the file in every case, also one whose handle was given to it. Of a given handle
/// the number stays taken: whoever gave it still holds it, and has it freed by `AsyncClose`.
class LzmaInFile final : public ILzmaIn
{
public:
    LzmaInFile() = default;
    ~LzmaInFile();

    LzmaInFile(const LzmaInFile &) = delete;
    LzmaInFile &operator=(const LzmaInFile &) = delete;

    /// Opens `path`; false and a report when that fails.
    bool Initialize(const char *path, uint64 offset, uint32 size);

    /// Takes an open handle, whose file is closed in the end.
    void Initialize(AsyncFile file, uint64 offset, uint32 size);

    bool Read(const void *&data, uint32 &size) override;
    uint32 GetSize() override { return mSize; }
    uint32 GetRemaining() override { return mSize - mConsumed; }

private:
    AsyncFile mFile = AsyncFile::Null;
    uint32 mSize = 0;
    uint32 mConsumed = 0;     ///< bytes
    uint64 mStart = 0;        ///< bytes from the start of the file; all 64 bits count
    bool mOpenedHere = false; ///< by path, so that nobody else holds the handle
    uint8 mBuffer[InputChunkSize];
};
} // namespace Keld::MORV::Reader
