#pragma once

#include <cstddef>
#include <string>

namespace Keld::Test::Oracle
{
/// A content with its compressed forms.
struct PooledContent
{
    std::string plain;
    std::string zlib;
    std::string lzma;
};

/// Contents of all sorts and sizes, which trees share, since compressing takes longer than all the rest. They differ in
/// every byte that two of them could be mistaken by.
class ContentPool
{
public:
    static constexpr std::size_t Count = 240;

    static const PooledContent &At(std::size_t index);
};
} // namespace Keld::Test::Oracle
