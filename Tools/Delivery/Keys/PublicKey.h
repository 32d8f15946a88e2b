#pragma once

#include "Tools/Delivery/Keys/SignatureText.h"

namespace Keld::Delivery
{
/// The half of a pair of keys that signatures are held against.
class PublicKey
{
public:
    /// Reads a key file, or takes the text of a key itself, as it stands in the second line of such a file.
    /// \param workingDirectory that a relative path starts from
    static TreeReader::Result<PublicKey> Load(const std::string &fileOrText, const std::string &workingDirectory);

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
} // namespace Keld::Delivery
