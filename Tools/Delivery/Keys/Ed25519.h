#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <memory>
#include <string>
#include <string_view>

typedef struct evp_pkey_st EVP_PKEY;

// What signatures are made of, by this system's libcrypto. What fails there is thrown as std::runtime_error.
namespace Keld::Delivery
{
inline constexpr uint_size SignatureSize = 64; // bytes, of Ed25519; of BLAKE2b-512 as well
inline constexpr uint_size PointSize = 32;     // bytes, of a public key
inline constexpr uint_size SeedSize = 32;      // bytes, of a secret key

struct KeyCloser
{
    void operator()(EVP_PKEY *key) const;
};
using Key = std::unique_ptr<EVP_PKEY, KeyCloser>;

/// Null for bytes that are no point of the curve.
Key MakePublicKey(std::string_view point);
Key MakeSecretKey(std::string_view seed);

/// The public half of a secret key.
std::string PointOf(EVP_PKEY *secretKey);

std::string SignRaw(EVP_PKEY *secretKey, std::string_view message);
bool CheckRaw(EVP_PKEY *publicKey, std::string_view message, std::string_view signature);

/// BLAKE2b-512.
std::string HashOf(std::string_view content);

/// Throws where a call of libcrypto was not done.
void RequireCrypto(bool done, const char *what);
} // namespace Keld::Delivery
