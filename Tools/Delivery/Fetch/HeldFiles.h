#pragma once

#include "Tools/Delivery/Fetch/WantedRelease.h"
#include "Tools/Delivery/Sums/ContentProof.h"
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
    const TreeReader::Archive *damaged = nullptr; ///< the archive here that has its path, but not its bytes
};

/// A file of a release here with the content of one that is wanted.
struct SameContent
{
    std::shared_ptr<const TreeReader::Release> release;
    TreeReader::EntryIndex file = TreeReader::NoEntry;
};

/// What a tree has of a wanted release, in the eyes of the releases that it has.
///
/// A file is held where the tree would serve it and one of the newest releases here that lists it, of the same version
/// and with the same digest, vouches for it: a published file never changes. Where none does, or where the wanted
/// release itself is here already, its bytes are read.
class HeldFiles
{
public:
    HeldFiles(TreeReader::Tree &tree, const WantedRelease &wanted, CompareOptions options);

    /// The files that are not held, in the order of the manifest.
    std::vector<LackingFile> FindLacking();

    /// Throws TreeError where a release here lists one of the files with other content under the same version: it
    /// cannot come to its place without damage to that release.
    void RequireNoConflict(const std::vector<LackingFile> &lacking) const;

    /// Calls `look` with each release of the project that is here, the wanted one left out: as many as there are, one
    /// after the other, and good for that call alone. Throws TreeError where one of them cannot be read for now.
    void ForEachOther(const std::function<void(const TreeReader::Release &)> &look) const;

    /// A file here whose content, by what manifests say, is the one of a wanted file.
    std::optional<SameContent> FindContent(TreeReader::EntryIndex file);

private:
    class DataSizes;

    /// What can be told without reading, of files that are not simply held.
    struct Comparison
    {
        std::vector<LackingFile> lacking;
        std::vector<LackingFile> doubtful;    ///< whose bytes have to be read
        std::vector<ContentToProve> contents; ///< of the doubtful ones, in their order
    };

    void Compare(TreeReader::EntryIndex file, DataSizes &sizes, Comparison &comparison) const;
    const TreeReader::Archive *FindWithoutData(TreeReader::EntryIndex file) const;
    void RequireNoConflict(TreeReader::EntryIndex file, const TreeReader::Release &release) const;
    Comparison CompareAll() const;
    bool IsVouchedFor(TreeReader::EntryIndex file) const;
    void IndexContents();

    TreeReader::Tree &mTree;
    const WantedRelease &mWanted;
    const CompareOptions mOptions;
    const bool mIsHere;                                                ///< the wanted release itself
    std::vector<std::shared_ptr<const TreeReader::Release>> mReleases; ///< the newest others
    bool mIsIndexed = false;
    std::unordered_multimap<std::string, std::pair<uint32, TreeReader::EntryIndex>> mByDigest;
};
} // namespace Keld::Delivery
