#include "Tools/Delivery/ReleaseFetch.h"

#include "Tools/Common/ParallelWork.h"
#include "Tools/Delivery/PartialArchive.h"
#include "Tools/Delivery/TreePath.h"
#include "Tools/TreeReader/ContentReader.h"
#include "Tools/TreeReader/TreeError.h"

#include "KeldFoundation/CStd/Hash.h"
#include "KeldMorvIO/listing/ReleaseManifestFormat.h"

#include <algorithm>
#include <mutex>

namespace Keld::Delivery
{
using TreeReader::EntryIndex;
using TreeReader::ManifestTree;
using TreeReader::StoredFile;
using TreeReader::TreeError;

namespace
{
/// A data file may have bytes that no record tells of; what has far more is refused.
uint64 LargestDataFile(uint64 extent)
{
    constexpr uint64 slack = 64 << 20;
    return extent + extent / 2 + slack;
}

StoredFile StoredIn(const MORV::Reader::ArchiveFile &index, uint32 record, const std::string &dataPlace, uint32 flags)
{
    uint32 offset = 0;
    uint32 size = 0;
    index.GetRange(record, offset, size);
    return {TreeReader::Storage::Archive, TreeReader::CompressionOf(flags), nullptr, record, dataPlace, offset, size};
}

void RequireSafePath(const std::string &path)
{
    if (const auto read = ReadTreePath(path); !read)
    {
        throw SourceError(SourceTrouble::Untrue, read.GetFault().GetMessage());
    }
}
} // namespace

ReleaseFetch::ReleaseFetch(TreeReader::Tree &tree, const WantedRelease &wanted, const DownloadPlace &place,
                           const SourceProof &proof, const FetchTrust &trust, CompareOptions options)
    : mTree(tree), mWanted(wanted), mPlace(place), mProof(proof), mTrust(trust), mOptions(std::move(options)),
      mHeld(tree, wanted, mOptions), mManifestState(wanted.GetManifestState())
{
    if (mManifestState == ManifestState::Other)
    {
        throw TreeError(tree.GetRoot() + "/" + wanted.GetManifestPath() + ": " + wanted.GetName().GetText() +
                        " is here with another manifest than the source has; a published release never changes");
    }
}

bool ReleaseFetch::FindLacking()
{
    mLacking = mHeld.FindLacking();
    return !mLacking.empty();
}

void ReleaseFetch::Plan(Source &source, const DownloadCalls &calls)
{
    for (const LackingFile &lacking : mLacking)
    {
        mHeld.RequireNoConflict(lacking.file);
    }
    PlanPlain();
    SourceArchives archives(source, mProof, mPlace, mWanted, calls);
    archives.Find(mLacking, mTree.GetRoot());
    for (SourceArchive &archive : archives.GetArchives())
    {
        const bool pays = mTrust.allowPartial && PartialArchive::Pays(archive, mWanted.GetRelease().GetTree());
        (pays ? mForParts : mArchives).push_back(std::move(archive));
    }
}

void ReleaseFetch::PlanPlain()
{
    const ManifestTree &tree = mWanted.GetRelease().GetTree();
    std::vector<SameContent> contents;
    for (const LackingFile &lacking : mLacking)
    {
        if (MORV::Reader::IsArchivedFile(tree.GetFields(lacking.file).flags))
        {
            continue;
        }
        mPlain.push_back({mWanted.GetPlainPath(lacking.file), lacking.file});
        RequireSafePath(mPlain.back().path);
        contents.push_back(mHeld.FindContent(lacking.file).value_or(SameContent()));
    }
    Common::ForEachInParallel(mOptions.threadCount, mPlain.size(),
                              [&](std::size_t index)
                              {
                                  mOptions.checkpoint();
                                  PlainFile &plain = mPlain[index];
                                  plain.isCopied =
                                      contents[index].release != nullptr &&
                                      (mPlace.GetArrival().IsAccepted(plain.path) || Copy(plain, contents[index]));
                              });
}

/// A copy that turns out to be none leaves nothing behind.
bool ReleaseFetch::Copy(const PlainFile &plain, const SameContent &content) const
{
    PartFile part(mPlace, plain.path);
    part.Restart("");
    TreeReader::ContentReader reader;
    const TreeReader::Failure failure = reader.Read(*content.release, content.file, {},
                                                    [&](std::string_view bytes)
                                                    {
                                                        mOptions.checkpoint();
                                                        part.Append(bytes);
                                                    });
    part.Close();
    const uint64 size = mWanted.GetRelease().GetTree().GetFields(plain.file).size;
    if (failure || part.GetSize() != size)
    {
        mPlace.Remove(plain.path);
        return false;
    }
    mPlace.GetArrival().Accept(plain.path);
    return true;
}

void ReleaseFetch::AddDownloads(std::vector<Download> &downloads) const
{
    for (const PlainFile &plain : mPlain)
    {
        if (!plain.isCopied)
        {
            mProof.GetSize(plain.path); // refuses what a signed list does not tell of
            downloads.push_back({plain.path, mWanted.GetRelease().GetTree().GetFields(plain.file).size});
        }
    }
    for (const SourceArchive &archive : mArchives)
    {
        downloads.push_back(DownloadOf(archive));
    }
}

Download ReleaseFetch::DownloadOf(const SourceArchive &archive) const
{
    return {archive.dataPath, mProof.GetSize(archive.dataPath), LargestDataFile(archive.extent), archive.extent};
}

void ReleaseFetch::BringParts(Source &source, const DownloadCalls &calls, std::vector<Download> &downloads)
{
    for (SourceArchive &archive : mForParts)
    {
        try
        {
            mArchives.push_back(PartialArchive(archive, mWanted.GetRelease().GetTree()).Bring(source, mPlace, calls));
            ++mPartialArchives;
        }
        catch (const SourceError &error)
        {
            if (error.GetTrouble() != SourceTrouble::NoRanges)
            {
                throw;
            }
            downloads.push_back(DownloadOf(archive));
            mArchives.push_back(std::move(archive));
        }
    }
    mForParts.clear();
}

uint64 ReleaseFetch::GetCheckedBytes() const
{
    uint64 bytes = 0;
    const ManifestTree &tree = mWanted.GetRelease().GetTree();
    for (const PlainFile &plain : mPlain)
    {
        bytes += plain.isCopied ? 0 : uint64{tree.GetFields(plain.file).size};
    }
    for (const SourceArchive &archive : mArchives)
    {
        for (const WantedRecord &record : archive.wanted)
        {
            bytes += tree.GetFields(record.file).size;
        }
    }
    return bytes;
}

std::vector<std::string> ReleaseFetch::Check(std::string &reason) const
{
    mWanted.CloseFiles(); // what came may have taken the place of what was read before
    std::mutex mutex;     // guards the two below
    std::vector<std::string> failed;
    Common::ForEachInParallel(mOptions.threadCount, mPlain.size() + mArchives.size(),
                              [&](std::size_t index)
                              {
                                  mOptions.checkpoint();
                                  const bool isPlain = index < mPlain.size();
                                  const std::string &path =
                                      isPlain ? mPlain[index].path : mArchives[index - mPlain.size()].dataPath;
                                  std::string why;
                                  const bool isGood = isPlain ? CheckPlain(mPlain[index], why)
                                                              : CheckArchive(mArchives[index - mPlain.size()], why);
                                  if (!isGood)
                                  {
                                      const std::lock_guard<std::mutex> lock(mutex);
                                      mPlace.Remove(path);
                                      failed.push_back(path);
                                      reason = path + ": " + why;
                                  }
                              });
    return failed;
}

bool ReleaseFetch::CheckPlain(const PlainFile &plain, std::string &reason) const
{
    if (plain.isCopied || mPlace.GetArrival().IsAccepted(plain.path))
    {
        return true;
    }
    const auto &fields = mWanted.GetRelease().GetTree().GetFields(plain.file);
    const StoredFile stored{TreeReader::StorageOf(fields.flags),
                            TreeReader::Compression::None,
                            nullptr,
                            0,
                            mPlace.GetPlace(plain.path),
                            0,
                            mPlace.GetSize(plain.path).value_or(0)};
    return CheckSum(plain.path, reason) && CheckContent(plain.file, stored, reason);
}

bool ReleaseFetch::CheckArchive(const SourceArchive &archive, std::string &reason) const
{
    Arrival &arrival = mPlace.GetArrival();
    if (arrival.IsAccepted(archive.dataPath) && (archive.isHere || arrival.IsAccepted(archive.indexPath)))
    {
        return true;
    }
    if (mPlace.GetSize(archive.dataPath).value_or(0) < archive.extent)
    {
        reason = "has fewer bytes than its index tells of";
        return false;
    }
    if (!CheckSum(archive.dataPath, reason))
    {
        return false;
    }
    const ManifestTree &tree = mWanted.GetRelease().GetTree();
    const std::string place = mPlace.GetPlace(archive.dataPath);
    const bool isGood = std::all_of(archive.wanted.begin(), archive.wanted.end(),
                                    [&](const WantedRecord &wanted)
                                    {
                                        const StoredFile stored = StoredIn(*archive.index, wanted.record, place,
                                                                           tree.GetFields(wanted.file).flags);
                                        return CheckContent(wanted.file, stored, reason);
                                    });
    return isGood && (!archive.isHere || ServesOthers(archive, reason));
}

/// Data that takes the place of damaged data must not take away from other releases what was good for them.
bool ReleaseFetch::ServesOthers(const SourceArchive &archive, std::string &reason) const
{
    const std::string place = mPlace.GetPlace(archive.dataPath);
    const std::string directory = archive.dataPath.substr(0, archive.dataPath.rfind('/'));
    TreeReader::ContentReader reader;
    const auto isGood = [&](const TreeReader::Release &release, EntryIndex file, const StoredFile &stored)
    {
        return !reader.Read(release, file, stored, {},
                            [this](std::string_view)
                            {
                                mOptions.checkpoint();
                            });
    };
    for (const auto &release : mHeld.GetReleases())
    {
        const ManifestTree &tree = release->GetTree();
        for (uint32 number = 0; mOptions.decode && number < tree.GetFileCount(); ++number)
        {
            const EntryIndex file = tree.GetFileEntry(number);
            const auto &fields = tree.GetFields(file);
            const std::string path = tree.GetPath(file);
            const int32 record =
                MORV::Reader::IsArchivedFile(fields.flags) && mWanted.GetArchivesPath(fields.version) == directory
                    ? archive.index->FindEntryIndex(HashName(path.c_str()), path.c_str())
                    : -1;
            const TreeReader::Result<StoredFile> here =
                record >= 0 ? release->Locate(file) : TreeReader::Result<StoredFile>(TreeReader::Fault{});
            if (here && isGood(*release, file, *here) &&
                !isGood(*release, file, StoredIn(*archive.index, static_cast<uint32>(record), place, fields.flags)))
            {
                reason = "lacks " + path + " of release " + FormatVersion(release->GetVersion()) + " here";
                return false;
            }
        }
    }
    return true;
}

bool ReleaseFetch::CheckSum(const std::string &path, std::string &reason) const
{
    const bool isGood = !mTrust.checkSums || mProof.CheckFile(path, mPlace.GetPlace(path));
    reason = isGood ? reason : "is not the file that the shiplist tells of";
    return isGood;
}

bool ReleaseFetch::CheckContent(EntryIndex file, const StoredFile &stored, std::string &reason) const
{
    if (!mOptions.decode)
    {
        return true;
    }
    TreeReader::ContentReader reader;
    const TreeReader::Failure failure = reader.Read(mWanted.GetRelease(), file, stored, {},
                                                    [this](std::string_view bytes)
                                                    {
                                                        mOptions.checkpoint();
                                                        mOptions.advance(bytes.size());
                                                    });
    if (failure)
    {
        reason = mWanted.GetRelease().GetTree().GetPath(file) + " " + failure->text;
    }
    return !failure;
}

void ReleaseFetch::Accept(std::vector<std::string> &paths) const
{
    Arrival &arrival = mPlace.GetArrival();
    const auto accept = [&](const std::string &path)
    {
        if (!arrival.IsAccepted(path))
        {
            arrival.Accept(path);
        }
        paths.push_back(path);
    };
    for (const PlainFile &plain : mPlain)
    {
        accept(plain.path);
    }
    for (const SourceArchive &archive : mArchives)
    {
        accept(archive.dataPath);
        if (!archive.isHere)
        {
            accept(archive.indexPath);
        }
    }
    if (mManifestState != ManifestState::Same)
    {
        accept(mWanted.GetManifestPath());
    }
}

void ReleaseFetch::AddNumbers(FetchNumbers &numbers) const
{
    const ManifestTree &tree = mWanted.GetRelease().GetTree();
    numbers.files += tree.GetFileCount();
    numbers.partialArchives += mPartialArchives;
    numbers.heldFiles += tree.GetFileCount() - mLacking.size();
    for (const PlainFile &plain : mPlain)
    {
        numbers.copiedFiles += plain.isCopied ? 1 : 0;
        numbers.copiedBytes += plain.isCopied ? uint64{tree.GetFields(plain.file).size} : 0;
    }
}
} // namespace Keld::Delivery
