#pragma once

#include "Tools/Delivery/ContentProof.h"
#include "Tools/Delivery/WantedRelease.h"
#include "Tools/TreeReader/Tree.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace Keld::Delivery
{
struct CompareOptions
{
    bool decode = true; ///< hold what no release here vouches for against its digest
    unsigned threadCount = 1;
    std::function<void(uint64)> advance = [](uint64) {}; ///< told of bytes that were compared; by any thread
    std::function<void()> checkpoint = [] {};            ///< by any thread; what it throws ends the work
};

/// A file of a wanted release that the tree here would not serve as it should.
struct LackingFile
{
    TreeReader::EntryIndex file = TreeReader::NoEntry;
    const TreeReader::Archive *damaged = nullptr; ///< the archive here that holds other bytes under its path
};

/// A file of a release here with the content of one that is wanted.
struct SameContent
{
    std::shared_ptr<const TreeReader::Release> release;
    TreeReader::EntryIndex file = TreeReader::NoEntry;
};

/// What a tree has of a wanted release, in the eyes of the releases that it has.
///
/// A file is held where the tree would serve it and a release here that lists it, of the same version and with the same
/// digest, vouches for it: a published file never changes. Where none does, or where the wanted release itself is here
/// already, its bytes are read.
class HeldFiles
{
public:
    HeldFiles(TreeReader::Tree &tree, const WantedRelease &wanted, CompareOptions options);

    /// The files that are not held, in the order of the manifest.
    std::vector<LackingFile> FindLacking();

    /// Throws TreeError for a file that a release here lists with other content under the same version: it cannot come
    /// to its place without damage to that release.
    void RequireNoConflict(TreeReader::EntryIndex file) const;

    /// A file here whose content, by what manifests say, is the one of a wanted file.
    std::optional<SameContent> FindContent(TreeReader::EntryIndex file);

    /// Releases of the project that are here, the wanted one left out.
    const std::vector<std::shared_ptr<const TreeReader::Release>> &GetReleases() const { return mReleases; }

private:
    /// What can be told without reading, of files that are not simply held.
    struct Comparison
    {
        std::vector<LackingFile> lacking;
        std::vector<LackingFile> doubtful;    ///< whose bytes have to be read
        std::vector<ContentToProve> contents; ///< of the doubtful ones, in their order
    };

    void Compare(TreeReader::EntryIndex file, Comparison &comparison) const;
    Comparison CompareAll() const;
    bool IsVouchedFor(TreeReader::EntryIndex file) const;
    void IndexContents();

    const WantedRelease &mWanted;
    const CompareOptions mOptions;
    const bool mIsHere; ///< the wanted release itself
    std::vector<std::shared_ptr<const TreeReader::Release>> mReleases;
    bool mIsIndexed = false;
    std::unordered_multimap<std::string, std::pair<uint32, TreeReader::EntryIndex>> mByDigest;
};
} // namespace Keld::Delivery
