#include "Tools/Delivery/Keys/Ed25519.h"

#include <openssl/evp.h>

#include <stdexcept>

namespace Keld::Delivery
{
namespace
{
struct ContextCloser
{
    void operator()(EVP_MD_CTX *context) const { EVP_MD_CTX_free(context); }
};
using Context = std::unique_ptr<EVP_MD_CTX, ContextCloser>;

const unsigned char *BytesOf(std::string_view text)
{
    return reinterpret_cast<const unsigned char *>(text.data());
}

unsigned char *BytesOf(std::string &text)
{
    return reinterpret_cast<unsigned char *>(text.data());
}
} // namespace

void KeyCloser::operator()(EVP_PKEY *key) const
{
    EVP_PKEY_free(key);
}

Key MakePublicKey(std::string_view point)
{
    return Key(EVP_PKEY_new_raw_public_key(EVP_PKEY_ED25519, nullptr, BytesOf(point), point.size()));
}

Key MakeSecretKey(std::string_view seed)
{
    Key key(EVP_PKEY_new_raw_private_key(EVP_PKEY_ED25519, nullptr, BytesOf(seed), seed.size()));
    RequireCrypto(key != nullptr, "Ed25519");
    return key;
}

std::string PointOf(EVP_PKEY *secretKey)
{
    std::string point(PointSize, '\0');
    uint_size size = point.size();
    RequireCrypto(EVP_PKEY_get_raw_public_key(secretKey, BytesOf(point), &size) == 1, "Ed25519");
    return point;
}

std::string SignRaw(EVP_PKEY *secretKey, std::string_view message)
{
    const Context context(EVP_MD_CTX_new());
    std::string signature(SignatureSize, '\0');
    uint_size size = signature.size();
    const bool done = context != nullptr &&
                      EVP_DigestSignInit(context.get(), nullptr, nullptr, nullptr, secretKey) == 1 &&
                      EVP_DigestSign(context.get(), BytesOf(signature), &size, BytesOf(message), message.size()) == 1;
    RequireCrypto(done && size == signature.size(), "Ed25519");
    return signature;
}

bool CheckRaw(EVP_PKEY *publicKey, std::string_view message, std::string_view signature)
{
    const Context context(EVP_MD_CTX_new());
    return context != nullptr && EVP_DigestVerifyInit(context.get(), nullptr, nullptr, nullptr, publicKey) == 1 &&
           EVP_DigestVerify(context.get(), BytesOf(signature), signature.size(), BytesOf(message), message.size()) == 1;
}

std::string HashOf(std::string_view content)
{
    std::string hash(SignatureSize, '\0');
    const bool done =
        EVP_Digest(content.data(), content.size(), BytesOf(hash), nullptr, EVP_blake2b512(), nullptr) == 1;
    RequireCrypto(done, "BLAKE2b-512");
    return hash;
}

void RequireCrypto(bool done, const char *what)
{
    if (!done)
    {
        throw std::runtime_error(std::string(what) + " failed in this system's libcrypto");
    }
}
} // namespace Keld::Delivery
