#include "Tools/TreeReader/HashRun.h"

#include <openssl/evp.h>

#include <stdexcept>
#include <string>

namespace Keld::TreeReader
{
void HashRun::ContextCloser::operator()(evp_md_ctx_st *context) const
{
    EVP_MD_CTX_free(context);
}

HashRun::HashRun(Function function) : mContext(EVP_MD_CTX_new()), mName(function == Function::Md5 ? "MD5" : "SHA-256")
{
    Require(mContext != nullptr ? 1 : 0);
    Require(EVP_DigestInit_ex(mContext.get(), function == Function::Md5 ? EVP_md5() : EVP_sha256(), nullptr));
}

HashRun::~HashRun() = default;

void HashRun::Update(std::string_view bytes)
{
    Require(EVP_DigestUpdate(mContext.get(), bytes.data(), bytes.size()));
}

void HashRun::Finish(unsigned char *result)
{
    Require(EVP_DigestFinal_ex(mContext.get(), result, nullptr));
}

void HashRun::Require(int result) const
{
    if (result != 1)
    {
        throw std::runtime_error(std::string(mName) + " is not available in this system's libcrypto");
    }
}
} // namespace Keld::TreeReader
