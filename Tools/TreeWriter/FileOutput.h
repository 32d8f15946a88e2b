#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"
#include "KeldFoundation/file/StreamCloser.h"

#include <cstdio>
#include <filesystem>
#include <string_view>

namespace Keld::TreeWriter
{
/// Writes a whole file, making the directories above it. Throws std::system_error with the path when it cannot.
void WriteFile(const std::filesystem::path &path, std::string_view bytes);

/// The same under a name of its own that is then renamed, so that a reader sees the old file or the new one whole.
void ReplaceFile(const std::filesystem::path &path, std::string_view bytes);

/// A new file that is written from its start to its end. All calls throw std::system_error with the path when they
/// fail.
class FileOutput
{
public:
    /// Makes the directories above it. A file or symbolic link of its name is replaced.
    explicit FileOutput(std::filesystem::path path);

    void Write(std::string_view bytes);

    const std::filesystem::path &GetPath() const { return mPath; }

    /// Throws away what lies behind the first `size` bytes, or fills up with zeros. Writing goes on behind them.
    void SetSize(uint64 size);

    /// Bytes written so far.
    uint64 GetSize() const { return mSize; }

    /// To be called at the end: a file that is only destroyed may lack its last bytes.
    void Close();

private:
    [[noreturn]] void Fail() const;

    std::filesystem::path mPath;
    Stream mStream;
    uint64 mSize = 0;
};
} // namespace Keld::TreeWriter
