#pragma once

#include "Tools/Delivery/Fetch/HeldFiles.h"
#include "Tools/Delivery/Fetch/SourceProof.h"
#include "Tools/Delivery/Fetch/WantedRelease.h"
#include "Tools/Delivery/Sources/Source.h"

#include "KeldMorvIO/archive/ArchiveFile.h"

#include <atomic>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Keld::Delivery
{
/// An archived file that is wanted, by its record in an archive of the source.
struct WantedRecord
{
    TreeReader::EntryIndex file = TreeReader::NoEntry;
    uint32 record = 0;
};

/// An archive of the source that holds files which are wanted.
struct SourceArchive
{
    std::string indexPath; ///< below the root
    std::string dataPath;
    std::unique_ptr<const MORV::Reader::ArchiveFile> index;
    std::vector<WantedRecord> wanted;
    uint64 extent = 0;   ///< bytes that its data file must have, for its records to lie in it
    bool isHere = false; ///< the tree has the same index in its place

    /// Of an archive that is made of parts: some of them came in an earlier run, and need not be of the same file.
    bool isResumed = false;
};

/// Takes away what came of a file, where no shiplist tells its sum: another run would take it for what the source has.
void ForgetUnlisted(const std::string &path, const SourceProof &proof, const DownloadPlace &place);

/// Finds out which archives of a source have what is wanted of a release. A manifest tells the version alone, so the
/// indexes of that version come first: by the names that the shiplist or the source tells, else by those that the
/// writer of trees gives.
class SourceArchives
{
public:
    SourceArchives(Source &source, const SourceProof &proof, const DownloadPlace &place, const WantedRelease &wanted,
                   const DownloadCalls &calls, unsigned threadCount);

    /// Brings the indexes and finds the archives of all archived files among those that lack. Throws SourceError where
    /// no archive of the source has one, and TreeError where an archive here is in the way.
    void Find(const std::vector<LackingFile> &lacking, const std::string &root);

    std::vector<SourceArchive> &GetArchives() { return mArchives; }

private:
    std::vector<SourceArchive> BringIndexes(const std::string &directory, const std::vector<LackingFile> &lacking,
                                            std::vector<bool> &isFound);
    std::vector<SourceArchive> TryUsualNames(const std::string &directory, const std::vector<LackingFile> &lacking,
                                             std::vector<bool> &isFound);
    void FindRecords(std::vector<SourceArchive> &archives, const std::vector<LackingFile> &lacking,
                     std::vector<bool> &isFound) const;
    void RequireFound(const std::vector<bool> &isFound, const std::vector<LackingFile> &lacking,
                      const std::string &directory) const;
    void RequireReplaced(const std::vector<SourceArchive> &archives, const std::vector<LackingFile> &lacking,
                         const std::string &root) const;
    void TellPlace(SourceArchive &archive, const std::string &root) const;
    std::string PathOf(const LackingFile &file) const;
    std::vector<std::string> BringNamed(const std::string &directory, const std::vector<std::string> &names,
                                        bool mayLack);
    std::vector<SourceArchive> OpenIndexes(const std::vector<std::string> &paths);
    void FindInVersion(MorvVersion version, const std::vector<LackingFile> &lacking, const std::string &root);

    Source &mSource;
    const SourceProof &mProof;
    const DownloadPlace &mPlace;
    const WantedRelease &mWanted;
    const DownloadCalls &mCalls;
    const unsigned mThreadCount;
    std::vector<SourceArchive> mArchives;
    std::atomic<uint64> mIndexBytes{0}; ///< that came of the version that is looked through
};
} // namespace Keld::Delivery
