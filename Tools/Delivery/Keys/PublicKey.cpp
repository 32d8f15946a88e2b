#include "Tools/Delivery/Keys/PublicKey.h"

#include "Tools/Delivery/Keys/Base64.h"
#include "Tools/Delivery/Keys/Ed25519.h"

#include <filesystem>

namespace Keld::Delivery
{
using TreeReader::Result;

Result<PublicKey> PublicKey::Load(const std::string &fileOrText, const std::string &workingDirectory)
{
    std::error_code error;
    constexpr uint_size textSize = 56; // of 42 bytes
    const std::string file = std::filesystem::path(workingDirectory) / fileOrText;
    if (fileOrText.size() == textSize && !std::filesystem::exists(file, error))
    {
        return Parse(fileOrText, "the public key \"" + fileOrText + "\"");
    }
    const Result<std::string> text = ReadKeyFile(file);
    return text ? Parse(*text, file) : text.GetFault();
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
    const std::vector<std::string_view> lines = LinesOf(signature.substr(0, SignatureSizeLimit));
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
    const Key key = MakePublicKey(ViewOf(mPoint));
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
} // namespace Keld::Delivery
