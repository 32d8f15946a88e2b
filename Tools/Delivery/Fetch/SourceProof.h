#pragma once

#include "Tools/Delivery/Fetch/WantedSet.h"
#include "Tools/Delivery/Keys/PublicKey.h"
#include "Tools/Delivery/Sources/Source.h"
#include "Tools/Delivery/Sums/ShipList.h"

#include "KeldFoundation/CStd/LargeVector.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Keld::Delivery
{
/// What a source tells of its files by the shiplist beside a manifest, where it has one: sizes and SHA-256 sums. With a
/// key, the list has to be there and signed, and what it does not tell of is refused.
class SourceProof
{
public:
    /// Reads the list, and holds the manifests of a set against it. Throws SourceError for what does not fit.
    /// \param key null where no signature is asked for; must outlive this
    SourceProof(Source &source, const WantedSet &wanted, const PublicKey *key);

    bool HasList() const { return mList.has_value(); }

    /// What the list tells of a file, or null. Throws SourceError where a signature is asked for and the file is not
    /// in the list.
    const ShippedFile *Find(const std::string &path) const;

    /// Bytes of a file, where the list tells. Throws as Find.
    std::optional<uint64> GetSize(const std::string &path) const;

    /// Whether something holds for all files that the list tells of. True without a list.
    bool HoldsForAll(const std::function<bool(const ShippedFile &)> &holds) const;

    /// The archive indexes of a directory that the list tells of.
    std::vector<std::string> FindIndexes(const std::string &directory) const;

    /// Whether a file on disk has the sum that the list tells. True where the list does not tell.
    bool CheckFile(const std::string &path, const std::string &place) const;

    /// The list itself, and the signature over it, as they came.
    const std::vector<WantedText> &GetTexts() const { return mTexts; }

private:
    void ReadList(Source &source, const TreeReader::ReleaseName &name);
    void CheckBytes(const std::string &path, const LargeVector<char> &bytes) const;

    const std::string mSourceName;
    const PublicKey *mKey;
    std::optional<ShipList> mList;
    std::vector<WantedText> mTexts;
};
} // namespace Keld::Delivery
