#include "Tools/Delivery/Keys/Base64.h"

#include "Tools/Delivery/Keys/Forgotten.h"

#include <openssl/evp.h>

#include <limits>

namespace Keld::Delivery
{
namespace
{
/// libcrypto counts in int, and asks for the place of a NUL behind the text.
constexpr std::size_t Base64Limit = std::numeric_limits<int>::max() / 2;

unsigned char *UnsignedOf(std::string &text)
{
    return reinterpret_cast<unsigned char *>(text.data());
}

const unsigned char *UnsignedOf(std::string_view text)
{
    return reinterpret_cast<const unsigned char *>(text.data());
}
} // namespace

std::string EncodeBase64(std::string_view bytes)
{
    std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');
    text.resize(
        static_cast<std::size_t>(EVP_EncodeBlock(UnsignedOf(text), UnsignedOf(bytes), static_cast<int>(bytes.size()))));
    return text;
}

bool DecodeBase64(std::string_view text, std::string &bytes)
{
    if (text.empty() || text.size() % 4 != 0 || text.size() > Base64Limit)
    {
        return false;
    }
    bytes.assign(text.size() / 4 * 3, '\0');
    if (EVP_DecodeBlock(UnsignedOf(bytes), UnsignedOf(text), static_cast<int>(text.size())) < 0)
    {
        return false;
    }
    const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with("=") ? 1 : 0;
    bytes.resize(bytes.size() - padding);
    std::string again = EncodeBase64(bytes);
    const Forgotten forgotten(again);
    return again == text;
}
} // namespace Keld::Delivery
