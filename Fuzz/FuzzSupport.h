#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <cstddef>
#include <string>
#include <string_view>

/// What the fuzzing engine and the replay program call with one input. Every fuzzer defines it once.
extern "C" int LLVMFuzzerTestOneInput(const Keld::uint8 *data, std::size_t size);

namespace Keld::Fuzz
{
/// Ends the process with a message on standard error when something that must always hold does not.
void Require(bool condition, const char *what);

/// Sends every message of the library to nowhere, from the first call on.
void SilenceLog();

/// An input as a file without a place on the disk.
class MemoryFile
{
public:
    MemoryFile(const uint8 *data, std::size_t size);
    ~MemoryFile();

    MemoryFile(const MemoryFile &) = delete;
    MemoryFile &operator=(const MemoryFile &) = delete;

    int Descriptor() const { return mDescriptor; }

    /// A path that opens it: `Directory()`, '/', `Name()`.
    std::string Path() const { return Directory() + "/" + Name(); }
    static std::string Directory() { return "/proc/self/fd"; }
    std::string Name() const { return std::to_string(mDescriptor); }

private:
    int mDescriptor;
};

/// Takes numbers and texts off the front of an input. Behind the end there are zeros and empty texts.
class InputReader
{
public:
    InputReader(const uint8 *data, std::size_t size) : mLeft(reinterpret_cast<const char *>(data), size) {}

    uint8 Byte();
    uint32 HalfWord(); ///< 16 bits, lowest byte first

    /// Up to the next line feed, which is taken off as well.
    std::string Line();
    std::string_view Rest() const { return mLeft; }

private:
    std::string_view mLeft;
};
} // namespace Keld::Fuzz
