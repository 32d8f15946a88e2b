#pragma once

#include "Tools/TreeReader/Fault.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <vector>

// The files of the program minisign, version 0.11, as far as keys and signatures have their form in common. Signatures
// are Ed25519, over the content itself ("Ed") or over its BLAKE2b-512 ("ED"), with a comment that is signed too. What
// is made here is of the second kind.
namespace Keld::Delivery
{
inline constexpr uint64 SignatureSizeLimit = 64 << 10; // bytes; no signature file and no key file has more
inline constexpr std::string_view CommentPrefix = "untrusted comment: ";
inline constexpr std::string_view SignedCommentPrefix = "trusted comment: ";
inline constexpr std::string_view KeyKind = "Ed";       // of keys, and of signatures over the content itself
inline constexpr std::string_view PrehashedKind = "ED"; // of signatures over the BLAKE2b-512 of the content

using KeyIdentity = std::array<unsigned char, 8>; ///< chosen at random for a pair of keys

/// The digits that minisign shows for it.
std::string FormatIdentity(const KeyIdentity &identity);

/// The lines of a small text, without what ends them.
std::vector<std::string_view> LinesOf(std::string_view text);

/// The one line of a key file that is not a comment; empty where there is no such line.
std::string_view KeyLineOf(std::string_view text);

TreeReader::Result<std::string> ReadKeyFile(const std::string &path);

TreeReader::Fault RefuseKey(const std::string &where, const std::string &why);

/// Takes bytes of known sizes off the front of a text that is known to have them.
std::string_view TakeFront(std::string_view &bytes, uint_size size);

template <uint_size size>
void CopyTo(std::array<unsigned char, size> &field, std::string_view bytes)
{
    std::copy_n(bytes.begin(), size, field.begin());
}

template <uint_size size>
std::string_view ViewOf(const std::array<unsigned char, size> &field)
{
    return {reinterpret_cast<const char *>(field.data()), size};
}
} // namespace Keld::Delivery
