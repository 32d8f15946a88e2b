#pragma once

#include "Tools/Delivery/Fetch/HeldFiles.h"
#include "Tools/Delivery/Fetch/SourceArchives.h"
#include "Tools/Delivery/Fetch/SourceProof.h"
#include "Tools/Delivery/Sums/EarlyProof.h"

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

    /// Tells somebody who proves what comes while it comes what that is to be.
    void Foretell(const std::vector<PlainFile> &plain, const std::vector<SourceArchive> &archives,
                  EarlyProof &early) const;

    /// Reads all that came and was not proved meanwhile. What fails is taken away.
    /// \param early  has finished
    /// \param held   tells the releases here, which must not lose what is good for them
    /// \returns the files that failed, and the reason of the last
    std::vector<std::string> Check(const std::vector<PlainFile> &plain, const std::vector<SourceArchive> &archives,
                                   const HeldFiles &held, EarlyProof &early, std::string &reason) const;

private:
    /// A file on disk that is to be proved: one of both.
    struct NewFile
    {
        const PlainFile *plain = nullptr;
        const SourceArchive *archive = nullptr;

        const std::string &GetPath() const { return plain != nullptr ? plain->path : archive->dataPath; }
    };

    std::vector<NewFile> FindNew(const std::vector<PlainFile> &plain, const std::vector<SourceArchive> &archives) const;
    std::vector<ContentToProve> ContentsOf(const NewFile &file) const;
    std::string CheckWhole(const NewFile &file, const EarlyProof &early) const;
    void CheckOthers(const std::vector<NewFile> &files, const HeldFiles &held, std::vector<std::string> &reasons) const;
    std::string CheckOther(const SourceArchive &archive, const TreeReader::Release &other) const;

    const WantedRelease &mWanted;
    const DownloadPlace &mPlace;
    const SourceProof &mProof;
    const bool mCheckSums;
    const CompareOptions &mOptions;
};
} // namespace Keld::Delivery
