// The zlib adapter, from memory and from a file. Input: 16 bits of output size, 8 bits of block size, the stream.

#include "BlockOutput.h"
#include "FuzzSupport.h"
#include "KeldMorvIO/blocks/ZlibAdapter.h"

extern "C" int LLVMFuzzerTestOneInput(const Keld::uint8 *data, std::size_t size)
{
    using namespace Keld;
    Fuzz::InputReader input(data, size);
    Fuzz::BlockOutput fromMemory(input.HalfWord(), 0xFF);
    Fuzz::BlockOutput fromFile(fromMemory.Size(), input.Byte());
    const std::string_view stream = input.Rest();
    const auto streamSize = static_cast<uint32>(stream.size());
    const bool fits = MORV::Reader::DecompressZlib(stream.data(), streamSize, fromMemory.Data(), fromMemory.Size());

    const Fuzz::MemoryFile file(reinterpret_cast<const uint8 *>(stream.data()), stream.size());
    const auto handle = static_cast<MORV::Reader::AsyncFile>(file.Descriptor());
    if (MORV::Reader::DecompressZlib(handle, 0, streamSize, fromFile.Blocks(), fromFile.Count()))
    {
        Fuzz::Require(fits, "what the strict form takes, the form from memory takes");
        Fuzz::Require(fromFile.Equals(fromMemory), "both forms give the same bytes");
    }
    return 0;
}
