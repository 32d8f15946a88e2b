#include "Tools/Delivery/Signature.h"

#include "Tools/Delivery/Base64.h"
#include "Tools/TreeReader/DiskFile.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <vector>

namespace Keld::Delivery
{
using TreeReader::Fault;
using TreeReader::FaultKind;
using TreeReader::Result;

namespace
{
constexpr std::string_view CommentPrefix = "untrusted comment: ";
constexpr std::string_view SignedCommentPrefix = "trusted comment: ";
constexpr std::string_view KeyKind = "Ed";       // of keys, and of signatures over the content itself
constexpr std::string_view PrehashedKind = "ED"; // of signatures over the BLAKE2b-512 of the content
constexpr std::string_view ProtectedKind = "Sc"; // a secret key that a password protects, by scrypt
constexpr std::string_view ChecksumKind = "B2";
constexpr uint64 KeyFileLimit = 64 << 10;             // bytes
constexpr uint_size SignatureSize = 64;               // bytes, of Ed25519
constexpr uint_size PointSize = 32;                   // bytes, of a public key
constexpr uint_size SaltSize = 32;                    // bytes
constexpr uint_size ChecksumSize = 32;                // bytes; of no use beside the public half
constexpr uint64 ScryptMemoryLimit = uint64(2) << 30; // bytes

struct KeyCloser
{
    void operator()(EVP_PKEY *key) const { EVP_PKEY_free(key); }
};
using Key = std::unique_ptr<EVP_PKEY, KeyCloser>;

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

void RequireCrypto(bool done, const char *what)
{
    if (!done)
    {
        throw std::runtime_error(std::string(what) + " failed in this system's libcrypto");
    }
}

std::string HashOf(std::string_view content)
{
    std::string hash(SignatureSize, '\0');
    const bool done =
        EVP_Digest(content.data(), content.size(), BytesOf(hash), nullptr, EVP_blake2b512(), nullptr) == 1;
    RequireCrypto(done, "BLAKE2b-512");
    return hash;
}

std::string SignRaw(EVP_PKEY *key, std::string_view message)
{
    const Context context(EVP_MD_CTX_new());
    std::string signature(SignatureSize, '\0');
    uint_size size = signature.size();
    const bool done = EVP_DigestSignInit(context.get(), nullptr, nullptr, nullptr, key) == 1 &&
                      EVP_DigestSign(context.get(), BytesOf(signature), &size, BytesOf(message), message.size()) == 1;
    RequireCrypto(done && size == signature.size(), "Ed25519");
    return signature;
}

bool CheckRaw(EVP_PKEY *key, std::string_view message, std::string_view signature)
{
    const Context context(EVP_MD_CTX_new());
    return EVP_DigestVerifyInit(context.get(), nullptr, nullptr, nullptr, key) == 1 &&
           EVP_DigestVerify(context.get(), BytesOf(signature), signature.size(), BytesOf(message), message.size()) == 1;
}

Fault RefuseKey(const std::string &where, const std::string &why)
{
    return {FaultKind::BadManifest, where, why};
}

/// The lines of a small text, without what ends them.
std::vector<std::string_view> LinesOf(std::string_view text)
{
    std::vector<std::string_view> lines;
    while (!text.empty())
    {
        const uint_size end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        if (line.ends_with('\r'))
        {
            line.remove_suffix(1);
        }
        lines.push_back(line);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

/// Takes bytes of known sizes off the front of a text that is known to have them.
std::string_view TakeFront(std::string_view &bytes, uint_size size)
{
    const std::string_view front = bytes.substr(0, size);
    bytes.remove_prefix(size);
    return front;
}

template <uint_size size>
void CopyTo(std::array<unsigned char, size> &field, std::string_view bytes)
{
    std::copy_n(bytes.begin(), size, field.begin());
}

uint64 ReadLittle64(std::string_view bytes)
{
    uint64 value = 0;
    for (uint_size index = bytes.size(); index-- > 0;)
    {
        value = value << 8 | static_cast<unsigned char>(bytes[index]);
    }
    return value;
}

struct ScryptCost
{
    uint64 rounds = 0; ///< a power of two
    uint64 blockSize = 8;
    uint64 lanes = 1;
};

/// The cost that the limits in a key file stand for.
ScryptCost CostOf(uint64 operations, uint64 memory)
{
    operations = std::max<uint64>(operations, 32768);
    ScryptCost cost;
    const bool isMemoryPlenty = operations < memory / 32;
    const uint64 most = isMemoryPlenty ? operations / (cost.blockSize * 4) : memory / (cost.blockSize * 128);
    cost.rounds = 2;
    while (cost.rounds <= most / 2)
    {
        cost.rounds *= 2;
    }
    if (!isMemoryPlenty)
    {
        cost.lanes = std::min<uint64>(operations / 4 / cost.rounds, 0x3FFFFFFF) / cost.blockSize;
    }
    return cost;
}

/// Forgets a text that nobody else may see, on every way out.
struct Forgotten
{
    explicit Forgotten(std::string &forgotten) : text(forgotten) {}
    ~Forgotten() { OPENSSL_cleanse(text.data(), text.size()); }

    Forgotten(const Forgotten &) = delete;
    Forgotten &operator=(const Forgotten &) = delete;

    std::string &text;
};

struct SecretFields
{
    std::string_view kind;
    std::string_view protection;
    std::string_view checksum;
    std::string_view salt;
    uint64 operations = 0;
    uint64 memory = 0;
};

/// Takes off the secret half of a key file what a password put on it.
TreeReader::Failure Unprotect(const SecretFields &fields, std::string &secret, const std::string &where,
                              const SecretKey::AskPassword &askPassword)
{
    const ScryptCost cost = CostOf(fields.operations, fields.memory);
    if (fields.memory > ScryptMemoryLimit || cost.lanes == 0 ||
        cost.rounds * cost.blockSize * 128 > ScryptMemoryLimit || cost.lanes > 64)
    {
        return RefuseKey(where, "asks for more work than any key needs: is it damaged?");
    }
    std::string password = askPassword();
    const Forgotten forgottenPassword(password);
    std::string stream(secret.size(), '\0');
    const Forgotten forgottenStream(stream);
    const bool done =
        EVP_PBE_scrypt(password.data(), password.size(), BytesOf(fields.salt), fields.salt.size(), cost.rounds,
                       cost.blockSize, cost.lanes, ScryptMemoryLimit * 2, BytesOf(stream), stream.size()) == 1;
    RequireCrypto(done, "scrypt");
    std::transform(secret.begin(), secret.end(), stream.begin(), secret.begin(),
                   [](char left, char right)
                   {
                       return static_cast<char>(left ^ right);
                   });
    return std::nullopt;
}

/// The one line of a key file that is not a comment.
std::string_view KeyLineOf(std::string_view text)
{
    const std::vector<std::string_view> lines = LinesOf(text);
    const bool hasComment = lines.size() == 2 && lines[0].starts_with(CommentPrefix);
    return hasComment ? lines[1] : lines.size() == 1 ? lines[0] : std::string_view();
}

Result<std::string> ReadKeyFile(const std::string &path)
{
    const Result<LargeVector<char>> image = TreeReader::ReadFileImage(path, KeyFileLimit);
    if (!image)
    {
        return image.GetFault();
    }
    return std::string(image->begin(), image->end());
}

bool IsPlainLine(std::string_view text)
{
    return std::none_of(text.begin(), text.end(),
                        [](char byte)
                        {
                            const auto value = static_cast<unsigned char>(byte);
                            return (value < 0x20 && byte != '\t') || value == 0x7F;
                        });
}
} // namespace

std::string FormatIdentity(const KeyIdentity &identity)
{
    uint64 number = 0;
    for (auto byte = identity.rbegin(); byte != identity.rend(); ++byte)
    {
        number = number << 8 | *byte;
    }
    char digits[17];
    std::snprintf(digits, sizeof digits, "%" PRIX64, number); // without zeros in front
    return digits;
}

Result<PublicKey> PublicKey::Load(const std::string &fileOrText)
{
    std::error_code error;
    constexpr uint_size textSize = 56; // of 42 bytes
    if (fileOrText.size() == textSize && !std::filesystem::exists(fileOrText, error))
    {
        return Parse(fileOrText, "the public key \"" + fileOrText + "\"");
    }
    const Result<std::string> text = ReadKeyFile(fileOrText);
    return text ? Parse(*text, fileOrText) : text.GetFault();
}

Result<PublicKey> PublicKey::Parse(std::string_view text, const std::string &where)
{
    std::string bytes;
    PublicKey key;
    const uint_size size = KeyKind.size() + key.mIdentity.size() + key.mPoint.size();
    if (!DecodeBase64(KeyLineOf(text), bytes) || bytes.size() != size || !bytes.starts_with(KeyKind))
    {
        return RefuseKey(where, "is no public key of minisign");
    }
    std::string_view rest = bytes;
    TakeFront(rest, KeyKind.size());
    CopyTo(key.mIdentity, TakeFront(rest, key.mIdentity.size()));
    CopyTo(key.mPoint, rest);
    return key;
}

Result<std::string> PublicKey::Check(std::string_view content, std::string_view signature,
                                     const std::string &where) const
{
    const std::vector<std::string_view> lines = LinesOf(signature.substr(0, KeyFileLimit));
    std::string bytes;
    std::string overall;
    const bool isRead = lines.size() == 4 && lines[0].starts_with(CommentPrefix) && DecodeBase64(lines[1], bytes) &&
                        lines[2].starts_with(SignedCommentPrefix) && DecodeBase64(lines[3], overall) &&
                        bytes.size() == KeyKind.size() + mIdentity.size() + SignatureSize &&
                        overall.size() == SignatureSize;
    std::string_view rest = bytes;
    const std::string_view kind = isRead ? TakeFront(rest, KeyKind.size()) : std::string_view();
    if (kind != KeyKind && kind != PrehashedKind)
    {
        return RefuseKey(where, "is no signature of minisign");
    }
    KeyIdentity identity;
    CopyTo(identity, TakeFront(rest, identity.size()));
    if (identity != mIdentity)
    {
        return RefuseKey(where,
                         "was made with key " + FormatIdentity(identity) + ", not with " + FormatIdentity(mIdentity));
    }
    const Key key(EVP_PKEY_new_raw_public_key(EVP_PKEY_ED25519, nullptr, mPoint.data(), mPoint.size()));
    const std::string message = kind == PrehashedKind ? HashOf(content) : std::string();
    if (key == nullptr || !CheckRaw(key.get(), kind == PrehashedKind ? std::string_view(message) : content, rest))
    {
        return RefuseKey(where, "does not fit what it is said to be over: one of both was changed");
    }
    std::string comment(lines[2].substr(SignedCommentPrefix.size()));
    if (!CheckRaw(key.get(), std::string(rest) + comment, overall))
    {
        return RefuseKey(where, "has a comment that was not signed");
    }
    return comment;
}

Result<SecretKey> SecretKey::Load(const std::string &path, const AskPassword &askPassword)
{
    Result<std::string> text = ReadKeyFile(path);
    if (!text)
    {
        return text.GetFault();
    }
    const Forgotten forgotten(*text);
    return Parse(*text, path, askPassword);
}

Result<SecretKey> SecretKey::Parse(std::string_view text, const std::string &where, const AskPassword &askPassword)
{
    SecretKey key;
    const uint_size secretSize = key.mIdentity.size() + key.mSeed.size() + PointSize + ChecksumSize;
    std::string bytes;
    const Forgotten forgottenBytes(bytes);
    const uint_size size = 3 * KeyKind.size() + SaltSize + 2 * sizeof(uint64) + secretSize;
    if (!DecodeBase64(KeyLineOf(text), bytes) || bytes.size() != size)
    {
        return RefuseKey(where, "is no secret key of minisign");
    }
    std::string_view rest = bytes;
    SecretFields fields;
    fields.kind = TakeFront(rest, KeyKind.size());
    fields.protection = TakeFront(rest, KeyKind.size());
    fields.checksum = TakeFront(rest, KeyKind.size());
    fields.salt = TakeFront(rest, SaltSize);
    fields.operations = ReadLittle64(TakeFront(rest, sizeof(uint64)));
    fields.memory = ReadLittle64(TakeFront(rest, sizeof(uint64)));
    const bool isProtected = fields.protection == ProtectedKind;
    if (fields.kind != KeyKind || fields.checksum != ChecksumKind ||
        (!isProtected && fields.protection != std::string_view("\0\0", 2)))
    {
        return RefuseKey(where, "is a secret key of a kind that is not known here");
    }
    std::string secret(rest);
    const Forgotten forgottenSecret(secret);
    if (isProtected)
    {
        if (const TreeReader::Failure failure = Unprotect(fields, secret, where, askPassword))
        {
            return *failure;
        }
    }
    rest = secret;
    CopyTo(key.mIdentity, TakeFront(rest, key.mIdentity.size()));
    CopyTo(key.mSeed, TakeFront(rest, key.mSeed.size()));
    // Only the right password gives a seed that the public half behind it belongs to.
    if (!key.HasPoint(TakeFront(rest, PointSize)))
    {
        return RefuseKey(where, isProtected ? "wrong password" : "is damaged: its halves do not fit");
    }
    return key;
}

SecretKey::~SecretKey()
{
    OPENSSL_cleanse(mSeed.data(), mSeed.size());
}

bool SecretKey::HasPoint(std::string_view point) const
{
    const Key key(EVP_PKEY_new_raw_private_key(EVP_PKEY_ED25519, nullptr, mSeed.data(), mSeed.size()));
    std::string own(PointSize, '\0');
    uint_size size = own.size();
    const bool done = key != nullptr && EVP_PKEY_get_raw_public_key(key.get(), BytesOf(own), &size) == 1;
    RequireCrypto(done, "Ed25519");
    return own == point;
}

std::string SecretKey::Sign(std::string_view content, const std::string &comment) const
{
    if (!IsPlainLine(comment))
    {
        throw std::invalid_argument("the comment of a signature is one line");
    }
    const Key key(EVP_PKEY_new_raw_private_key(EVP_PKEY_ED25519, nullptr, mSeed.data(), mSeed.size()));
    RequireCrypto(key != nullptr, "Ed25519");
    const std::string signature = SignRaw(key.get(), HashOf(content));
    const std::string identity(mIdentity.begin(), mIdentity.end());
    const std::string overall = SignRaw(key.get(), signature + comment);
    return std::string(CommentPrefix) + "signature from key " + FormatIdentity(mIdentity) + "\n" +
           EncodeBase64(std::string(PrehashedKind) + identity + signature) + "\n" + std::string(SignedCommentPrefix) +
           comment + "\n" + EncodeBase64(overall) + "\n";
}
} // namespace Keld::Delivery
