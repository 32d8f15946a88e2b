#pragma once

#include "Tools/Delivery/ContentProof.h"
#include "Tools/Delivery/HeldFiles.h"
#include "Tools/Delivery/SourceArchives.h"
#include "Tools/Delivery/SourceProof.h"

#include <string>
#include <vector>

namespace Keld::Delivery
{
/// A plain file that lacks.
struct PlainFile
{
    std::string path; ///< below the root
    TreeReader::EntryIndex file = TreeReader::NoEntry;
    bool isCopied = false; ///< from what the tree here has, and proved
};

/// Holds what came of a release against all that is known of it: sizes, sums of the shiplist, and digests.
class ReleaseProof
{
public:
    /// All must outlive this.
    /// \param checkSums hold files against the shiplist, where there is one
    ReleaseProof(const WantedRelease &wanted, const DownloadPlace &place, const SourceProof &proof, bool checkSums,
                 const CompareOptions &options);

    /// Reads all that came. What fails is taken away.
    /// \param others releases here, which must not lose what is good for them
    /// \returns the files that failed, and the reason of the last
    std::vector<std::string> Check(const std::vector<PlainFile> &plain, const std::vector<SourceArchive> &archives,
                                   const std::vector<std::shared_ptr<const TreeReader::Release>> &others,
                                   std::string &reason) const;

private:
    bool IsAccepted(const SourceArchive &archive) const;
    std::string CheckWhole(const std::string &path, uint64 least) const;
    std::string CheckOthers(const SourceArchive &archive, const TreeReader::Release &other) const;
    void AddPlain(const PlainFile &plain, std::size_t owner, std::vector<ContentToProve> &contents) const;
    void AddArchive(const SourceArchive &archive, std::size_t owner, std::vector<ContentToProve> &contents) const;

    const WantedRelease &mWanted;
    const DownloadPlace &mPlace;
    const SourceProof &mProof;
    const bool mCheckSums;
    const CompareOptions &mOptions;
};
} // namespace Keld::Delivery
