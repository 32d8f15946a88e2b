// The LZMA adapter, from memory and from a file. Input: 16 bits of output size, 8 bits of block size, the header and
// the stream.

#include "BlockOutput.h"
#include "FuzzSupport.h"
#include "KeldMorvIO/blocks/LzmaAdapter.h"

extern "C" int LLVMFuzzerTestOneInput(const Keld::uint8 *data, std::size_t size)
{
    using namespace Keld;
    Fuzz::SilenceLog();
    Fuzz::InputReader input(data, size);
    Fuzz::BlockOutput fromMemory(input.HalfWord(), 0xFF);
    Fuzz::BlockOutput fromFile(fromMemory.Size(), input.Byte());
    const std::string_view stream = input.Rest();
    const auto streamSize = static_cast<uint32>(stream.size());
    const bool good = MORV::Reader::DecompressLzma(stream.data(), streamSize, fromMemory.Data(), fromMemory.Size());

    const Fuzz::MemoryFile file(reinterpret_cast<const uint8 *>(stream.data()), stream.size());
    const bool same =
        good == MORV::Reader::DecompressLzma(file.Path().c_str(), 0, streamSize, fromFile.Blocks(), fromFile.Count());
    Fuzz::Require(same, "both forms take the same streams");
    Fuzz::Require(!good || fromFile.Equals(fromMemory), "both forms give the same bytes");
    return 0;
}
