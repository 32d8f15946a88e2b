#pragma once

#include "Tools/Delivery/Repair/RepairRequest.h"
#include "Tools/Delivery/Sums/ShipList.h"

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

    /// Releases that the source does not have.
    const std::vector<TreeReader::ReleaseName> &GetLacking() const { return mLacking; }

    /// Lists and signatures of the tree that will not be true when the files are those of the source: their paths below
    /// the root. Some may not be there.
    const std::vector<std::string> &GetWithdrawn() const { return mWithdrawn; }

    const std::vector<std::string> &GetNotes() const { return mNotes; }

private:
    void Ask(const TreeReader::ReleaseName &release);
    void TakePublished(const TreeReader::ReleaseName &release, const std::string &text);
    void TakeMade(const TreeReader::ReleaseName &release);
    void RequireSameReleases(const ShipList &list) const;
    void RequireSameRelease(const TreeReader::ReleaseName &release, const ShippedFile &theirs,
                            const TreeReader::ReleaseName &whole) const;
    void RequireNoOther(const TreeReader::ReleaseName &release, const ShippedFile &theirs) const;
    [[noreturn]] void RefuseOther(const TreeReader::ReleaseName &release, const std::string &why) const;
    void Add(const ShipList &list);

    const RepairRequest &mRequest;
    WorkCalls mQuiet; ///< for what is read before the first stage
    std::vector<ShippedFile> mFiles;
    std::map<std::string, std::string> mTexts;
    std::vector<TreeReader::ReleaseName> mUnlisted;
    std::vector<TreeReader::ReleaseName> mLacking;
    std::vector<std::string> mWithdrawn;
    std::vector<std::string> mNotes;
};
} // namespace Keld::Delivery
