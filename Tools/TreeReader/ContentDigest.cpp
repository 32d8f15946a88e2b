#include "Tools/TreeReader/ContentDigest.h"

#include <openssl/evp.h>

#include <stdexcept>

namespace Keld::TreeReader
{
namespace
{
void Require(int result)
{
    if (result != 1)
    {
        throw std::runtime_error("MD5 is not available in this system's libcrypto");
    }
}
} // namespace

void ContentDigest::ContextCloser::operator()(evp_md_ctx_st *context) const
{
    EVP_MD_CTX_free(context);
}

ContentDigest::ContentDigest() : mContext(EVP_MD_CTX_new())
{
    Require(mContext != nullptr ? 1 : 0);
    Require(EVP_DigestInit_ex(mContext.get(), EVP_md5(), nullptr));
}

ContentDigest::~ContentDigest() = default;

void ContentDigest::Update(std::string_view bytes)
{
    Require(EVP_DigestUpdate(mContext.get(), bytes.data(), bytes.size()));
}

Digest ContentDigest::Finish()
{
    Digest digest;
    Require(EVP_DigestFinal_ex(mContext.get(), digest.data(), nullptr));
    return digest;
}

Digest DigestOf(std::string_view content)
{
    ContentDigest digest;
    digest.Update(content);
    return digest.Finish();
}
} // namespace Keld::TreeReader
