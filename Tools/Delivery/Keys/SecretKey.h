#pragma once

#include "Tools/Delivery/Keys/SignatureText.h"

#include <functional>

namespace Keld::Delivery
{
/// Cleared from memory at its end.
class SecretKey
{
public:
    using AskPassword = std::function<std::string()>;

    /// Reads a key file. A protected one needs its password, and then up to 2 GiB of memory for as long as that takes.
    /// \param askPassword called for a protected key alone; may throw
    static TreeReader::Result<SecretKey> Load(const std::string &path, const AskPassword &askPassword);

    /// \param where what to call the text in a fault
    static TreeReader::Result<SecretKey> Parse(std::string_view text, const std::string &where,
                                               const AskPassword &askPassword);

    SecretKey(SecretKey &&other) noexcept = default;
    SecretKey &operator=(SecretKey &&other) noexcept = default;
    ~SecretKey();

    const KeyIdentity &GetIdentity() const { return mIdentity; }

    /// The text of a signature file.
    /// \param comment one line, which is signed along
    std::string Sign(std::string_view content, const std::string &comment) const;

private:
    SecretKey() = default;

    KeyIdentity mIdentity = {};
    std::array<unsigned char, 32> mSeed = {};
};
} // namespace Keld::Delivery
