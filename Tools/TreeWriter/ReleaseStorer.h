#pragma once

#include "Tools/TreeWriter/ArchiveSet.h"
#include "Tools/TreeWriter/ContentDigest.h"
#include "Tools/TreeWriter/ContentMaker.h"
#include "Tools/TreeWriter/StoredFormCheck.h"

#include <map>
#include <optional>
#include <vector>

namespace Keld::TreeWriter
{
/// A large file that is being stored piece by piece.
struct LargeFile
{
    std::optional<FileOutput> plain;
    ArchiveWriter *archive = nullptr;
    std::optional<ZlibJoiner> joiner;
    ContentDigest digest;
    bool growsTooLarge = false; ///< compression does not pay
};

/// Puts what was made of the planned files into the staging directory, in the order of the plan, and completes the
/// plan's entries. All on one thread.
class ReleaseStorer
{
public:
    ReleaseStorer(const PackRequest &request, const ReleaseStaging &staging, std::vector<PlannedFile> &plan,
                  ContentMaker &maker);

    void Take(const ContentTask &task, MadeContent &&made);

    /// Finds a place for the empty files, which wait for an archive that holds something, and ends the archives.
    void Finish();

    /// Each stored form once.
    const std::vector<FormOfFile> &GetForms() const { return mForms; }

    uint64 GetArchiveCount() const { return mArchives.GetArchiveCount() + mAloneCount; }
    uint64 GetStoredSize() const { return mStoredSize; }
    uint64 GetSharedCount() const { return mSharedCount; }
    uint64 GetSharedSize() const { return mSharedSize; }

private:
    /// The file whose stored form those with the same bytes share.
    struct Owner
    {
        std::size_t file;
        ArchiveWriter *archive;
        ArchiveRange range;
        uint32 flags;
    };

    void TakePlain(std::size_t file);
    void TakeArchived(std::size_t file, MadeContent &&made);
    void TakeAlone(std::size_t file, const MadeContent &made);
    void TakePiece(const ContentTask &task, MadeContent &&made);
    void BeginLarge(std::size_t file);
    void AddPiece(const PlannedFile &planned, const ContentTask &task, const MadeContent &made);
    void EndLarge(std::size_t file);
    void StoreAgain(std::size_t file);
    void StoreLargeAsIs(std::size_t file);
    bool TryToShare(std::size_t file, const MadeContent &made);
    void NoteArchived(std::size_t file, ArchiveWriter &archive, TreeReader::Compression compression);
    void RequireDigest(PlannedFile &planned, const TreeReader::Digest &digest) const;
    std::filesystem::path PlainPlace(const PlannedFile &planned) const;
    static TwinKey KeyOf(const PlannedFile &planned);

    const PackRequest &mRequest;
    const ReleaseStaging &mStaging;
    std::vector<PlannedFile> &mPlan;
    ContentMaker &mMaker;
    ArchiveSet mArchives;
    std::map<TwinKey, Owner> mOwners;
    std::optional<LargeFile> mLarge;
    std::vector<std::size_t> mEmptyFiles;
    std::vector<FormOfFile> mForms;
    uint64 mAloneCount = 0;
    uint64 mStoredSize = 0;
    uint64 mSharedCount = 0;
    uint64 mSharedSize = 0;
};
} // namespace Keld::TreeWriter
