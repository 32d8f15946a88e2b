#include "Tools/TreeWriter/ReleaseStorer.h"

#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeWriter/SourceContent.h"

#include "KeldMorvIO/archive/ArchiveFormat.h"

namespace Keld::TreeWriter
{
namespace fs = std::filesystem;
using TreeReader::Compression;
using TreeReader::Storage;
using TreeReader::TreeError;

namespace
{
constexpr uint64 LongestEndOfStream = 64; // bytes that joining may add to the last piece: checksum and empty blocks
} // namespace

ReleaseStorer::ReleaseStorer(const PackRequest &request, const ReleaseStaging &staging, std::vector<PlannedFile> &plan,
                             ContentMaker &maker)
    : mRequest(request), mStaging(staging), mPlan(plan), mMaker(maker),
      mArchives(staging.Archives(), request.archiveSize)
{
}

void ReleaseStorer::Take(const ContentTask &task, MadeContent &&made)
{
    PlannedFile &planned = mPlan[task.file];
    switch (made.kind)
    {
    case MadeContent::Kind::Kept:
        planned.entry = *planned.inBase;
        planned.kept = true;
        break;
    case MadeContent::Kind::Plain:
        planned.entry.digest = made.digest;
        TakePlain(task.file);
        break;
    case MadeContent::Kind::Twin:
    case MadeContent::Kind::Stored:
        planned.entry.digest = made.digest;
        TakeArchived(task.file, std::move(made));
        break;
    case MadeContent::Kind::Alone:
        planned.entry.digest = made.digest;
        TakeAlone(task.file, made);
        break;
    case MadeContent::Kind::Rejected:
        planned.entry.digest = made.digest;
        StoreLargeAsIs(task.file);
        break;
    case MadeContent::Kind::Piece:
        TakePiece(task, std::move(made));
        break;
    }
}

void ReleaseStorer::Finish()
{
    for (const std::size_t file : mEmptyFiles)
    {
        PlannedFile &planned = mPlan[file];
        const bool added = mArchives.AddEmpty(planned.entry.path);
        planned.choice = {added ? Storage::Archive : Storage::Managed, Compression::None};
        planned.entry.flags = TreeReader::FlagsOf(planned.choice.storage, Compression::None);
        if (!added)
        {
            WriteFile(PlainPlace(planned), "");
            TakePlain(file);
        }
    }
    mArchives.Finish();
}

/// An unchanged naked file is stored again, since it belongs to its release, but keeps its version.
void ReleaseStorer::TakePlain(std::size_t file)
{
    PlannedFile &planned = mPlan[file];
    RequireHeldPlain(planned);
    const bool staysNaked = planned.choice.storage == Storage::Naked && planned.IsUnchanged(planned.entry.digest);
    planned.entry.version = staysNaked ? planned.inBase->version : planned.entry.version;
    mStoredSize += planned.entry.size;
    mForms.push_back(
        {file, {PlainPlace(planned).string(), 0, planned.entry.size, Compression::None, planned.entry.size}});
}

void ReleaseStorer::TakeArchived(std::size_t file, MadeContent &&made)
{
    PlannedFile &planned = mPlan[file];
    if (planned.entry.size == 0)
    {
        mEmptyFiles.push_back(file);
    }
    else if (planned.mayHaveTwin && TryToShare(file, made))
    {
        mSharedSize += planned.entry.size;
        ++mSharedCount;
    }
    else if (made.kind == MadeContent::Kind::Twin)
    {
        StoreAgain(file);
    }
    else
    {
        ArchiveWriter &archive = mArchives.ForShared(made.bytes.size());
        archive.Begin(planned.entry.path);
        archive.Append(made.bytes);
        NoteArchived(file, archive, made.compression);
    }
}

/// True when the file now shares the stored form of an earlier one.
bool ReleaseStorer::TryToShare(std::size_t file, const MadeContent &made)
{
    PlannedFile &planned = mPlan[file];
    const auto entry = mOwners.find(KeyOf(planned));
    if (entry == mOwners.end())
    {
        return false;
    }
    const Owner &owner = entry->second;
    const bool isKnownTwin = made.kind == MadeContent::Kind::Twin && made.twin == owner.file;
    if (!isKnownTwin && !HaveSameContent(mPlan[owner.file], planned, mRequest.checkpoint))
    {
        planned.mayHaveTwin = false; // its digest is that of another content: nobody may take it for that one
        return false;
    }
    if (!owner.archive->CanShare(owner.range))
    {
        mOwners.erase(entry);
        return false;
    }
    owner.archive->Share(planned.entry.path, owner.range);
    planned.entry.flags = owner.flags;
    return true;
}

/// For a file whose twin cannot serve it after all.
void ReleaseStorer::StoreAgain(std::size_t file)
{
    for (const ContentTask &task : mMaker.ListStoringTasks(file))
    {
        MadeContent made = mMaker.Make(task, false);
        if (made.kind == MadeContent::Kind::Piece)
        {
            TakePiece(task, std::move(made));
            continue;
        }
        RequireDigest(mPlan[file], made.digest);
        ArchiveWriter &archive = mArchives.ForShared(made.bytes.size());
        archive.Begin(mPlan[file].entry.path);
        archive.Append(made.bytes);
        NoteArchived(file, archive, made.compression);
    }
}

void ReleaseStorer::TakeAlone(std::size_t file, const MadeContent &made)
{
    PlannedFile &planned = mPlan[file];
    ++mAloneCount;
    mStoredSize += made.storedSize;
    planned.entry.flags = TreeReader::FlagsOf(Storage::Archive, Compression::Lzma);
    mForms.push_back({file,
                      {ArchiveWriter::DataPath(mStaging.Archives(), ContentMaker::NameOfAlone(planned)).string(), 0,
                       made.storedSize, Compression::Lzma, planned.entry.size}});
}

void ReleaseStorer::TakePiece(const ContentTask &task, MadeContent &&made)
{
    if (task.offset == 0)
    {
        BeginLarge(task.file);
    }
    mLarge->digest.Update(made.bytes);
    AddPiece(mPlan[task.file], task, made);
    if (task.isLast)
    {
        mMaker.Forget(task.file);
        EndLarge(task.file);
    }
}

void ReleaseStorer::BeginLarge(std::size_t file)
{
    const PlannedFile &planned = mPlan[file];
    mLarge.emplace();
    if (planned.choice.storage != Storage::Archive)
    {
        mLarge->plain.emplace(PlainPlace(planned));
        return;
    }
    const bool compresses = planned.choice.compression == Compression::Zlib;
    mLarge->archive = compresses ? &mArchives.ForStream(planned.entry.size) : &mArchives.ForShared(planned.entry.size);
    mLarge->archive->Begin(planned.entry.path);
    if (compresses)
    {
        mLarge->joiner.emplace(mRequest.level,
                               [archive = mLarge->archive](std::string_view bytes)
                               {
                                   archive->Append(bytes);
                               });
    }
}

void ReleaseStorer::AddPiece(const PlannedFile &planned, const ContentTask &task, const MadeContent &made)
{
    LargeFile &large = *mLarge;
    if (large.plain)
    {
        large.plain->Write(made.bytes);
        return;
    }
    if (!large.joiner)
    {
        large.archive->Append(made.bytes);
        return;
    }
    const uint64 size = large.joiner->GetSize() + made.deflated.bytes.size() + LongestEndOfStream;
    large.growsTooLarge = large.growsTooLarge || (size >= planned.entry.size && !mRequest.compressAlways);
    if (!large.growsTooLarge)
    {
        large.joiner->Add(made.deflated, task.isLast);
    }
}

void ReleaseStorer::EndLarge(std::size_t file)
{
    PlannedFile &planned = mPlan[file];
    LargeFile &large = *mLarge;
    RequireDigest(planned, large.digest.Finish());
    if (large.plain)
    {
        large.plain->Close();
        TakePlain(file);
    }
    else if (large.growsTooLarge)
    {
        large.archive->DropLast();
        StoreLargeAsIs(file);
    }
    else
    {
        NoteArchived(file, *large.archive, large.joiner ? Compression::Zlib : Compression::None);
    }
    mLarge.reset();
}

void ReleaseStorer::StoreLargeAsIs(std::size_t file)
{
    PlannedFile &planned = mPlan[file];
    ArchiveWriter &archive = mArchives.ForShared(planned.entry.size);
    archive.Begin(planned.entry.path);
    ContentDigest digest;
    ReadPieces(planned, mRequest.checkpoint,
               [&](std::string_view piece)
               {
                   digest.Update(piece);
                   archive.Append(piece);
               });
    planned.knownDigest = planned.entry.digest;
    RequireDigest(planned, digest.Finish());
    NoteArchived(file, archive, Compression::None);
}

/// Takes note of the file that the archive holds last.
void ReleaseStorer::NoteArchived(std::size_t file, ArchiveWriter &archive, Compression compression)
{
    PlannedFile &planned = mPlan[file];
    const ArchiveRange range = archive.GetLast();
    planned.entry.flags = TreeReader::FlagsOf(Storage::Archive, compression);
    mStoredSize += range.size;
    mForms.push_back(
        {file, {archive.GetDataPath().string(), range.offset, range.size, compression, planned.entry.size}});
    if (planned.mayHaveTwin)
    {
        mOwners.insert_or_assign(KeyOf(planned), Owner{file, &archive, range, planned.entry.flags});
    }
}

void ReleaseStorer::RequireDigest(PlannedFile &planned, const TreeReader::Digest &digest) const
{
    if (planned.knownDigest && *planned.knownDigest != digest)
    {
        throw TreeError(planned.source + ": changed while it was packed: pack again");
    }
    planned.entry.digest = digest;
}

fs::path ReleaseStorer::PlainPlace(const PlannedFile &planned) const
{
    const bool naked = planned.choice.storage == Storage::Naked;
    return (naked ? mStaging.NakedFiles() : mStaging.ManagedFiles()) / planned.entry.path;
}

TwinKey ReleaseStorer::KeyOf(const PlannedFile &planned)
{
    return {planned.entry.digest, planned.entry.size, planned.choice.compression};
}
} // namespace Keld::TreeWriter
