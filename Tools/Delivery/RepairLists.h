#pragma once

#include "Tools/Delivery/RepairRequest.h"
#include "Tools/Delivery/ShipList.h"

#include <map>
#include <string>
#include <vector>

namespace Keld::Delivery
{
/// What a source tells of releases that are to be repaired.
class RepairLists
{
public:
    /// Asks for all of them. Throws SourceError and TreeError for lists that cannot be taken.
    explicit RepairLists(const RepairRequest &request);

    /// Every file that the lists tell of, by path.
    const std::vector<ShippedFile> &GetFiles() const { return mFiles; }

    /// Published lists and signatures, which belong into the tree as well: path below the root, and bytes.
    const std::map<std::string, std::string> &GetTexts() const { return mTexts; }

    /// Releases that the source has, but of which it can give no list.
    const std::vector<TreeReader::ReleaseName> &GetUnlisted() const { return mUnlisted; }

    const std::vector<std::string> &GetNotes() const { return mNotes; }

private:
    void Ask(const TreeReader::ReleaseName &release);
    void TakePublished(const TreeReader::ReleaseName &release, const std::string &text);
    void TakeMade(const TreeReader::ReleaseName &release);
    void RequireSameRelease(const ShipList &list) const;
    void RequireNoOther(const TreeReader::ReleaseName &release, const ShippedFile &theirs) const;
    void Add(const ShipList &list);

    const RepairRequest &mRequest;
    std::vector<ShippedFile> mFiles;
    std::map<std::string, std::string> mTexts;
    std::vector<TreeReader::ReleaseName> mUnlisted;
    std::vector<std::string> mNotes;
};
} // namespace Keld::Delivery
