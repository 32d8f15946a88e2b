#pragma once

#include "Tools/TreeReader/Fault.h"

#include <memory>
#include <string_view>
#include <vector>

namespace Keld::TreeMount
{
/// The content of one compressed file: in memory, or in a temporary file that no directory names and that goes with its
/// last user. It is filled by one thread, and then read by any.
class DecodedFile
{
public:
    /// Room for `size` bytes. Throws std::bad_alloc, and std::system_error when there can be no temporary file.
    static std::unique_ptr<DecodedFile> MakeInMemory(uint64 size);
    static std::unique_ptr<DecodedFile> MakeOnDisk(uint64 size);

    ~DecodedFile();
    DecodedFile(const DecodedFile &) = delete;
    DecodedFile &operator=(const DecodedFile &) = delete;

    bool IsInMemory() const { return mMemory != nullptr; }
    uint64 GetSize() const { return mSize; }

    /// The next bytes. Throws std::system_error when the disk cannot take them.
    void Append(std::string_view bytes);

    /// Bytes of the content; the range lies in it.
    /// \param buffer where they are put unless they are in memory anyway.
    TreeReader::Result<std::string_view> Read(uint64 offset, uint_size size, std::vector<char> &buffer) const;

private:
    DecodedFile(std::unique_ptr<char[]> memory, int descriptor, uint64 size);

    const std::unique_ptr<char[]> mMemory;
    const int mDescriptor; ///< of the temporary file; -1 in memory
    const uint64 mSize;
    uint64 mFilled = 0;
};
} // namespace Keld::TreeMount
