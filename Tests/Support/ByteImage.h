#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace Keld::Test
{
/// Bytes of a file, written by offset, so that a test states a format in its own words and never through the records
/// that it checks. Grows with zeros as far as it is written.
class ByteImage
{
public:
    ByteImage() = default;
    explicit ByteImage(std::string bytes) : mBytes(std::move(bytes)) {}

    /// A 32-bit number, lowest byte first.
    ByteImage &Word(std::size_t offset, std::uint32_t value)
    {
        const char bytes[4] = {static_cast<char>(value & 0xFF), static_cast<char>(value >> 8 & 0xFF),
                               static_cast<char>(value >> 16 & 0xFF), static_cast<char>(value >> 24 & 0xFF)};
        return Raw(offset, std::string_view(bytes, sizeof bytes));
    }

    ByteImage &Raw(std::size_t offset, std::string_view bytes)
    {
        if (mBytes.size() < offset + bytes.size())
        {
            mBytes.resize(offset + bytes.size(), '\0');
        }
        mBytes.replace(offset, bytes.size(), bytes);
        return *this;
    }

    /// A text and its NUL.
    ByteImage &Text(std::size_t offset, std::string_view text) { return Raw(offset, std::string(text) + '\0'); }

    std::size_t Size() const { return mBytes.size(); }
    const std::string &Bytes() const { return mBytes; }

private:
    std::string mBytes;
};
} // namespace Keld::Test
