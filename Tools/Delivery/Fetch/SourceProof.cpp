#include "Tools/Delivery/Fetch/SourceProof.h"

#include "Tools/Delivery/Sums/ContentSum.h"
#include "Tools/Delivery/Text/TreePath.h"
#include "Tools/TreeReader/DiskFile.h"

#include <algorithm>

namespace Keld::Delivery
{
namespace
{
constexpr uint_size SumPieceSize = 1 << 20;

std::string_view ViewOf(const LargeVector<char> &bytes)
{
    return {bytes.data(), bytes.size()};
}

[[noreturn]] void RefuseByProof(const std::string &text)
{
    throw SourceError(SourceTrouble::Untrue, text);
}
/// Some servers do not allow to read what is not there.
std::optional<LargeVector<char>> ReadIfAllowed(Source &source, const std::string &path, uint64 limit)
{
    try
    {
        return source.ReadWhole(path, limit);
    }
    catch (const SourceError &error)
    {
        if (error.GetTrouble() == SourceTrouble::NotAllowed)
        {
            return std::nullopt;
        }
        throw;
    }
}
} // namespace

SourceProof::SourceProof(Source &source, const WantedSet &wanted, const PublicKey *key)
    : mSourceName(source.GetName()), mKey(key)
{
    ReadList(source, wanted.name);
    for (const auto &release : wanted.releases)
    {
        CheckBytes(release->GetManifestPath(), release->GetManifest());
    }
    for (const WantedText &text : wanted.texts)
    {
        CheckBytes(text.path, text.bytes);
    }
}

void SourceProof::ReadList(Source &source, const TreeReader::ReleaseName &name)
{
    const std::string path = PathOfShipList(name);
    const std::string where = mSourceName + "/" + path;
    auto text = ReadIfAllowed(source, path, ShipList::SizeLimit);
    if (!text)
    {
        if (mKey != nullptr)
        {
            throw SourceError(SourceTrouble::NotThere, where + ": it is not there, and without it nothing is signed");
        }
        return;
    }
    const std::string signaturePath = PathOfShipListSignature(name);
    auto signature = ReadIfAllowed(source, signaturePath, SignatureSizeLimit);
    if (mKey != nullptr)
    {
        if (!signature)
        {
            throw SourceError(SourceTrouble::NotThere, where + ": it is not signed");
        }
        const auto comment = mKey->Check(ViewOf(*text), ViewOf(*signature), mSourceName + "/" + signaturePath);
        if (!comment)
        {
            RefuseByProof(comment.GetFault().GetMessage());
        }
    }
    auto list = ShipList::Parse(ViewOf(*text), where);
    if (!list)
    {
        RefuseByProof(list.GetFault().GetMessage());
    }
    if (list->GetRelease() != name)
    {
        RefuseByProof(where + ": is the shiplist of " + list->GetRelease().GetText() + ", not of " + name.GetText());
    }
    mList = std::move(*list);
    mTexts.push_back({path, std::move(*text)});
    if (signature)
    {
        mTexts.push_back({signaturePath, std::move(*signature)});
    }
}

const ShippedFile *SourceProof::Find(const std::string &path) const
{
    const ShippedFile *file = mList ? mList->Find(path) : nullptr;
    if (file == nullptr && mKey != nullptr)
    {
        RefuseByProof(mSourceName + "/" + path + ": the signed shiplist does not tell of it");
    }
    return file;
}

std::optional<uint64> SourceProof::GetSize(const std::string &path) const
{
    const ShippedFile *listed = Find(path);
    return listed != nullptr ? std::optional<uint64>(listed->size) : std::nullopt;
}

bool SourceProof::HoldsForAll(const std::function<bool(const ShippedFile &)> &holds) const
{
    return !mList || std::all_of(mList->GetFiles().begin(), mList->GetFiles().end(), holds);
}

std::vector<std::string> SourceProof::FindIndexes(const std::string &directory) const
{
    std::vector<std::string> names;
    if (mList)
    {
        for (const ShippedFile &file : mList->GetFiles())
        {
            const auto path = ReadTreePath(file.path);
            if (path && path->role == FileRole::ArchiveIndex && file.path.starts_with(directory + "/"))
            {
                names.push_back(file.path.substr(directory.size() + 1));
            }
        }
    }
    return names;
}

bool SourceProof::CheckFile(const std::string &path, const std::string &place) const
{
    const ShippedFile *listed = Find(path);
    if (listed == nullptr)
    {
        return true;
    }
    const auto file = TreeReader::DiskFile::Open(place);
    if (!file || file->GetSize() != listed->size)
    {
        return false;
    }
    ContentSummer summer;
    LargeVector<char> piece(SumPieceSize);
    for (uint64 offset = 0; offset < listed->size;)
    {
        const auto count = file->ReadAt(offset, piece.data(), piece.size());
        if (!count || *count == 0)
        {
            return false;
        }
        summer.Update({piece.data(), *count});
        offset += *count;
    }
    return summer.Finish() == listed->sum;
}

void SourceProof::CheckBytes(const std::string &path, const LargeVector<char> &bytes) const
{
    const ShippedFile *listed = Find(path);
    if (listed != nullptr && (listed->size != bytes.size() || listed->sum != SumOf(ViewOf(bytes))))
    {
        RefuseByProof(mSourceName + "/" + path +
                      ": is not the file that the shiplist tells of; a release that was packed anew is published anew "
                      "(morv publish)");
    }
}
} // namespace Keld::Delivery
