#pragma once

#include "Tools/Delivery/Fetch/HeldFiles.h"
#include "Tools/Delivery/Fetch/ReleaseProof.h"
#include "Tools/Delivery/Fetch/SourceArchives.h"
#include "Tools/Delivery/Fetch/SourceProof.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace Keld::Delivery
{
/// What one run fetched, in numbers. Files are those of manifests; downloads are files on disk.
struct FetchNumbers
{
    uint64 files = 0;           ///< that the manifests list
    uint64 heldFiles = 0;       ///< that were here
    uint64 copiedFiles = 0;     ///< whose content another release here has
    uint64 copiedBytes = 0;     ///< of them
    uint64 downloads = 0;       ///< files that came from the source; indexes and manifests are not counted
    uint64 downloadedBytes = 0; ///< that came in this run, with indexes
    uint64 foundBytes = 0;      ///< that an earlier run had brought
    uint64 partialArchives = 0; ///< that were made of parts of the source's archives
};

/// How a source is taken.
struct FetchTrust
{
    bool checkSums = true;     ///< hold what comes against the sums of the shiplist, where there is one
    bool allowPartial = false; ///< make new archives of parts of large ones
};

/// One project release on its way into a tree: what it lacks, where that comes from, and the proof of what came.
class ReleaseFetch
{
public:
    ReleaseFetch(TreeReader::Tree &tree, const WantedRelease &wanted, const DownloadPlace &place,
                 const SourceProof &proof, const FetchTrust &trust, CompareOptions options);

    /// What stood in the place of the manifest, when this was made.
    ManifestState GetManifestState() const { return mManifestState; }

    /// Holds the tree against the manifest. Gives whether anything lacks.
    bool FindLacking();

    /// Whether the release is in the tree, with its manifest, and lacks nothing.
    bool IsWhole() const { return mLacking.empty() && mManifestState == ManifestState::Same; }

    /// Takes what other releases here have, and finds out what the source has to give. Throws TreeError for what cannot
    /// come to its place.
    void Plan(Source &source, const DownloadCalls &calls);

    /// What is to come as whole files.
    void AddDownloads(std::vector<Download> &downloads) const;

    /// Brings parts of archives. Where the source gives whole files alone, these are added.
    void BringParts(Source &source, const DownloadCalls &calls, std::vector<Download> &downloads);

    /// Brings those among files that failed once more whose parts came at different times.
    /// \returns whether there was any
    bool BringPartsAgain(Source &source, const DownloadCalls &calls, const std::vector<std::string> &failed);

    /// Tells what is to be proved of what AddDownloads added, so that it may be while it comes.
    void Foretell(EarlyProof &early) const;

    /// Reads all that came and was not proved meanwhile, and holds it against its digests. What fails is taken away.
    /// \returns the paths of what failed
    std::vector<std::string> Check(EarlyProof &early, std::string &reason) const;

    /// Takes away the indexes that no list tells the sums of, so that another run asks the source for them anew.
    void ForgetIndexes() const;

    /// Bytes that are to be proved of what came.
    uint64 GetCheckedBytes() const;

    /// Accepts all that came, the manifest included, and adds its paths.
    void Accept(std::vector<std::string> &paths) const;

    void AddNumbers(FetchNumbers &numbers) const;

private:
    void PlanPlain();
    Download DownloadOf(const SourceArchive &archive) const;
    bool Copy(const PlainFile &plain, const SameContent &content) const;

    TreeReader::Tree &mTree;
    const WantedRelease &mWanted;
    const DownloadPlace &mPlace;
    const SourceProof &mProof;
    const FetchTrust mTrust;
    const CompareOptions mOptions;
    HeldFiles mHeld;
    const ManifestState mManifestState;
    std::vector<LackingFile> mLacking;
    std::vector<PlainFile> mPlain;
    std::vector<SourceArchive> mArchives;
    std::vector<SourceArchive> mForParts;       ///< of which parts alone are to come
    std::map<std::string, SourceArchive> mMade; ///< those of which parts came, by the data file that was made of them
};
} // namespace Keld::Delivery
