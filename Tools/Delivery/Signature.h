#pragma once

#include "Tools/TreeReader/Fault.h"

#include <array>
#include <functional>
#include <string>
#include <string_view>

// Signatures in the files of the program minisign, version 0.11: Ed25519, over the content itself ("Ed") or over its
// BLAKE2b-512 ("ED"), with a comment that is signed too. What is made here is of the second kind.
namespace Keld::Delivery
{
inline constexpr uint64 SignatureSizeLimit = 64 << 10; // bytes; no signature file has more

using KeyIdentity = std::array<unsigned char, 8>; ///< chosen at random for a pair of keys

/// The digits that minisign shows for it.
std::string FormatIdentity(const KeyIdentity &identity);

class PublicKey
{
public:
    /// Reads a key file, or takes the text of a key itself, as it stands in the second line of such a file.
    static TreeReader::Result<PublicKey> Load(const std::string &fileOrText);

    /// \param where what to call the text in a fault
    static TreeReader::Result<PublicKey> Parse(std::string_view text, const std::string &where);

    const KeyIdentity &GetIdentity() const { return mIdentity; }

    /// Holds a signature against what it is said to be over.
    /// \param signature the text of a signature file
    /// \param where     what to call it in a fault
    /// \returns the comment that was signed along
    TreeReader::Result<std::string> Check(std::string_view content, std::string_view signature,
                                          const std::string &where) const;

private:
    KeyIdentity mIdentity = {};
    std::array<unsigned char, 32> mPoint = {};
};

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
    bool HasPoint(std::string_view point) const;

    KeyIdentity mIdentity = {};
    std::array<unsigned char, 32> mSeed = {};
};
} // namespace Keld::Delivery
