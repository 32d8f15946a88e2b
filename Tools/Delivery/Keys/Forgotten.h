#pragma once

#include <openssl/crypto.h>

namespace Keld::Delivery
{
/// Forgets bytes that nobody else may see, on every way out.
template <class Bytes>
class Forgotten
{
public:
    /// \param bytes must outlive this
    explicit Forgotten(Bytes &bytes) : mBytes(bytes) {}
    ~Forgotten() { OPENSSL_cleanse(mBytes.data(), mBytes.size()); }

    Forgotten(const Forgotten &) = delete;
    Forgotten &operator=(const Forgotten &) = delete;

private:
    Bytes &mBytes;
};
} // namespace Keld::Delivery
