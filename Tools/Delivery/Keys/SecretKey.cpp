#include "Tools/Delivery/Keys/SecretKey.h"

#include "Tools/Delivery/Keys/Base64.h"
#include "Tools/Delivery/Keys/Ed25519.h"
#include "Tools/Delivery/Keys/Forgotten.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <stdexcept>

namespace Keld::Delivery
{
using TreeReader::Result;

namespace
{
constexpr std::string_view ProtectedKind = "Sc"; // a secret key that a password protects, by scrypt
constexpr std::string_view ChecksumKind = "B2";
constexpr uint_size SaltSize = 32;                    // bytes
constexpr uint_size ChecksumSize = 32;                // bytes; of no use beside the public half
constexpr uint64 ScryptMemoryLimit = uint64(2) << 30; // bytes

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
        EVP_PBE_scrypt(password.data(), password.size(), reinterpret_cast<const unsigned char *>(fields.salt.data()),
                       fields.salt.size(), cost.rounds, cost.blockSize, cost.lanes, ScryptMemoryLimit * 2,
                       reinterpret_cast<unsigned char *>(stream.data()), stream.size()) == 1;
    RequireCrypto(done, "scrypt");
    std::transform(secret.begin(), secret.end(), stream.begin(), secret.begin(),
                   [](char left, char right)
                   {
                       return static_cast<char>(left ^ right);
                   });
    return std::nullopt;
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
    if (PointOf(MakeSecretKey(ViewOf(key.mSeed)).get()) != TakeFront(rest, PointSize))
    {
        return RefuseKey(where, isProtected ? "wrong password" : "is damaged: its halves do not fit");
    }
    return key;
}

SecretKey::~SecretKey()
{
    OPENSSL_cleanse(mSeed.data(), mSeed.size());
}

std::string SecretKey::Sign(std::string_view content, const std::string &comment) const
{
    if (!IsPlainLine(comment))
    {
        throw std::invalid_argument("the comment of a signature is one line");
    }
    const Key key = MakeSecretKey(ViewOf(mSeed));
    const std::string signature = SignRaw(key.get(), HashOf(content));
    const std::string identity(mIdentity.begin(), mIdentity.end());
    const std::string overall = SignRaw(key.get(), signature + comment);
    return std::string(CommentPrefix) + "signature from key " + FormatIdentity(mIdentity) + "\n" +
           EncodeBase64(std::string(PrehashedKind) + identity + signature) + "\n" + std::string(SignedCommentPrefix) +
           comment + "\n" + EncodeBase64(overall) + "\n";
}
} // namespace Keld::Delivery
