#include "Tools/Delivery/Fetch/ReleaseFetch.h"

#include "Tools/Common/ParallelWork.h"
#include "Tools/Delivery/Fetch/PartialArchive.h"
#include "Tools/Delivery/Sources/BroughtFile.h"
#include "Tools/Delivery/Text/TreePath.h"
#include "Tools/TreeReader/ContentReader.h"

#include "KeldMorvIO/listing/ReleaseManifestFormat.h"

#include <algorithm>

namespace Keld::Delivery
{
using TreeReader::ManifestTree;

namespace
{
/// A data file may have bytes that no record tells of; what has far more is refused.
uint64 LargestDataFile(uint64 extent)
{
    constexpr uint64 slack = 64 << 20;
    return extent + extent / 2 + slack;
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
}

bool ReleaseFetch::FindLacking()
{
    mLacking = mHeld.FindLacking();
    return !mLacking.empty();
}

void ReleaseFetch::Plan(Source &source, const DownloadCalls &calls)
{
    mHeld.RequireNoConflict(mLacking);
    PlanPlain();
    SourceArchives archives(source, mProof, mPlace, mWanted, calls, mOptions.threadCount);
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
    const std::optional<uint64> size = mProof.GetSize(archive.dataPath);
    const uint64 largest = LargestDataFile(archive.extent);
    RequireNotLarger(archive.dataPath, size.value_or(0), largest);
    return {archive.dataPath, size, largest, archive.extent};
}

void ReleaseFetch::BringParts(Source &source, const DownloadCalls &calls, std::vector<Download> &downloads)
{
    for (SourceArchive &archive : mForParts)
    {
        try
        {
            mArchives.push_back(PartialArchive(archive, mWanted.GetRelease().GetTree()).Bring(source, mPlace, calls));
            mMade[mArchives.back().dataPath] = std::move(archive);
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

bool ReleaseFetch::BringPartsAgain(Source &source, const DownloadCalls &calls, const std::vector<std::string> &failed)
{
    bool isAny = false;
    for (SourceArchive &archive : mArchives)
    {
        if (archive.isResumed && std::find(failed.begin(), failed.end(), archive.dataPath) != failed.end())
        {
            const SourceArchive &whole = mMade.at(archive.dataPath);
            archive = PartialArchive(whole, mWanted.GetRelease().GetTree()).Bring(source, mPlace, calls);
            isAny = true;
        }
    }
    return isAny;
}

void ReleaseFetch::ForgetIndexes() const
{
    for (const auto *archives : {&mArchives, &mForParts})
    {
        for (const SourceArchive &archive : *archives)
        {
            const auto whole = mMade.find(archive.dataPath);
            const SourceArchive &theirs = whole != mMade.end() ? whole->second : archive;
            if (theirs.index != nullptr) // null where its parts have come, and mMade has it
            {
                ForgetUnlisted(theirs.indexPath, mProof, mPlace);
            }
        }
    }
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

void ReleaseFetch::Foretell(EarlyProof &early) const
{
    ReleaseProof(mWanted, mPlace, mProof, mTrust.checkSums, mOptions).Foretell(mPlain, mArchives, early);
}

std::vector<std::string> ReleaseFetch::Check(EarlyProof &early, std::string &reason) const
{
    return ReleaseProof(mWanted, mPlace, mProof, mTrust.checkSums, mOptions)
        .Check(mPlain, mArchives, mHeld, early, reason);
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
    numbers.partialArchives += mMade.size();
    numbers.heldFiles += tree.GetFileCount() - mLacking.size();
    for (const PlainFile &plain : mPlain)
    {
        numbers.copiedFiles += plain.isCopied ? 1 : 0;
        numbers.copiedBytes += plain.isCopied ? uint64{tree.GetFields(plain.file).size} : 0;
    }
}
} // namespace Keld::Delivery
