#include "Oracle/ContentPool.h"

#include "Support/CompressedStream.h"
#include "Support/Dice.h"

#include <array>
#include <memory>

namespace Keld::Test::Oracle
{
namespace
{
// Where reading works in pieces, and where a zlib stream can end in a piece of its own.
constexpr std::size_t SpecialSizes[] = {0,     1,     2,     9,      65511,  65512,  65513,  65514,
                                        65535, 65536, 65537, 262143, 262144, 262145, 393216, 524289};

std::unique_ptr<PooledContent> MakeContent(std::size_t index)
{
    Dice dice(index);
    const std::size_t size = index < std::size(SpecialSizes) ? SpecialSizes[index]
                             : dice.OneIn(12)                ? dice.Below(9000)
                                                             : dice.Below(700);
    const auto seed = static_cast<std::uint32_t>(index);
    auto content = std::make_unique<PooledContent>();
    content->plain = index % 3 == 0 ? PatternedBytes(size, seed) : RandomBytes(size, seed);
    content->zlib = ZlibStream(content->plain, static_cast<int>(index % 10));
    content->lzma = LzmaFile(content->plain, static_cast<std::uint8_t>(index % 14));
    return content;
}
} // namespace

const PooledContent &ContentPool::At(std::size_t index)
{
    static std::array<std::unique_ptr<PooledContent>, Count> contents;
    std::unique_ptr<PooledContent> &content = contents[index % Count];
    if (content == nullptr)
    {
        content = MakeContent(index % Count);
    }
    return *content;
}
} // namespace Keld::Test::Oracle
