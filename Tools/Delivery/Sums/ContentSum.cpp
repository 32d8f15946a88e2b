#include "Tools/Delivery/Sums/ContentSum.h"

#include <openssl/evp.h>

#include <stdexcept>

namespace Keld::Delivery
{
namespace
{
constexpr std::string_view SumDigits = "0123456789abcdef";

void RequireSum(int result)
{
    if (result != 1)
    {
        throw std::runtime_error("SHA-256 is not available in this system's libcrypto");
    }
}
} // namespace

void ContentSummer::ContextCloser::operator()(evp_md_ctx_st *context) const
{
    EVP_MD_CTX_free(context);
}

ContentSummer::ContentSummer() : mContext(EVP_MD_CTX_new())
{
    RequireSum(mContext != nullptr ? 1 : 0);
    RequireSum(EVP_DigestInit_ex(mContext.get(), EVP_sha256(), nullptr));
}

ContentSummer::~ContentSummer() = default;

void ContentSummer::Update(std::string_view bytes)
{
    RequireSum(EVP_DigestUpdate(mContext.get(), bytes.data(), bytes.size()));
}

ContentSum ContentSummer::Finish()
{
    ContentSum sum;
    RequireSum(EVP_DigestFinal_ex(mContext.get(), sum.data(), nullptr));
    return sum;
}

ContentSum SumOf(std::string_view bytes)
{
    ContentSummer summer;
    summer.Update(bytes);
    return summer.Finish();
}

std::string FormatSum(const ContentSum &sum)
{
    std::string text;
    for (const unsigned char byte : sum)
    {
        text += {SumDigits[byte >> 4], SumDigits[byte & 15]};
    }
    return text;
}

bool ReadSum(std::string_view text, ContentSum &sum)
{
    if (text.size() != sum.size() * 2)
    {
        return false;
    }
    for (uint_size index = 0; index < sum.size(); ++index)
    {
        const uint_size high = SumDigits.find(text[index * 2]);
        const uint_size low = SumDigits.find(text[index * 2 + 1]);
        if (high == std::string_view::npos || low == std::string_view::npos)
        {
            return false;
        }
        sum[index] = static_cast<unsigned char>(high * 16 + low);
    }
    return true;
}
} // namespace Keld::Delivery
