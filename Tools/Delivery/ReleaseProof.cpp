#include "Tools/Delivery/ReleaseProof.h"

#include "Tools/Common/ParallelWork.h"
#include "Tools/TreeReader/ContentReader.h"

#include "KeldFoundation/CStd/Hash.h"
#include "KeldMorvIO/listing/ReleaseManifestFormat.h"

#include <algorithm>

namespace Keld::Delivery
{
using TreeReader::EntryIndex;
using TreeReader::ManifestTree;
using TreeReader::Release;
using TreeReader::StoredFile;

namespace
{
StoredFile StoredIn(const MORV::Reader::ArchiveFile &index, uint32 record, const std::string &dataPlace, uint32 flags)
{
    uint32 offset = 0;
    uint32 size = 0;
    index.GetRange(record, offset, size);
    return {TreeReader::Storage::Archive, TreeReader::CompressionOf(flags), nullptr, record, dataPlace, offset, size};
}

/// In the order of the disk.
void SortByOffset(std::vector<ContentToProve>::iterator begin, std::vector<ContentToProve>::iterator end)
{
    std::stable_sort(begin, end,
                     [](const ContentToProve &left, const ContentToProve &right)
                     {
                         return left.stored.offset < right.stored.offset;
                     });
}
} // namespace

ReleaseProof::ReleaseProof(const WantedRelease &wanted, const DownloadPlace &place, const SourceProof &proof,
                           bool checkSums, const CompareOptions &options)
    : mWanted(wanted), mPlace(place), mProof(proof), mCheckSums(checkSums), mOptions(options)
{
}

std::vector<std::string> ReleaseProof::Check(const std::vector<PlainFile> &plain,
                                             const std::vector<SourceArchive> &archives,
                                             const std::vector<std::shared_ptr<const Release>> &others,
                                             std::string &reason) const
{
    mWanted.CloseFiles(); // what came may have taken the place of what was read before
    std::vector<const PlainFile *> newPlain;
    std::vector<const SourceArchive *> newArchives;
    for (const PlainFile &file : plain)
    {
        const bool isProved = file.isCopied || mPlace.GetArrival().IsAccepted(file.path);
        newPlain.insert(newPlain.end(), isProved ? 0 : 1, &file);
    }
    for (const SourceArchive &archive : archives)
    {
        newArchives.insert(newArchives.end(), IsAccepted(archive) ? 0 : 1, &archive);
    }
    const std::size_t count = newPlain.size() + newArchives.size();
    const auto pathOf = [&](std::size_t owner) -> const std::string &
    {
        return owner < newPlain.size() ? newPlain[owner]->path : newArchives[owner - newPlain.size()]->dataPath;
    };

    std::vector<std::string> reasons(count);
    Common::ForEachInParallel(mOptions.threadCount, count,
                              [&](std::size_t owner)
                              {
                                  mOptions.checkpoint();
                                  const bool isPlain = owner < newPlain.size();
                                  const uint64 least = isPlain ? 0 : newArchives[owner - newPlain.size()]->extent;
                                  reasons[owner] = CheckWhole(pathOf(owner), least);
                              });
    if (mOptions.decode)
    {
        std::vector<ContentToProve> contents;
        for (std::size_t owner = 0; owner < count; ++owner)
        {
            if (reasons[owner].empty() && owner < newPlain.size())
            {
                AddPlain(*newPlain[owner], owner, contents);
            }
            else if (reasons[owner].empty())
            {
                AddArchive(*newArchives[owner - newPlain.size()], owner, contents);
            }
        }
        const std::vector<std::string> wrong = ProveContents(
            mWanted.GetRelease(), contents, count, {mOptions.threadCount, mOptions.advance, mOptions.checkpoint});
        for (std::size_t owner = 0; owner < count; ++owner)
        {
            reasons[owner] += wrong[owner]; // at most one of both is told
        }
    }
    std::vector<std::string> failed;
    for (std::size_t owner = 0; owner < count; ++owner)
    {
        const SourceArchive *archive = owner < newPlain.size() ? nullptr : newArchives[owner - newPlain.size()];
        for (const auto &other : others)
        {
            if (mOptions.decode && archive != nullptr && archive->isHere && reasons[owner].empty())
            {
                reasons[owner] = CheckOthers(*archive, *other);
            }
        }
        if (!reasons[owner].empty())
        {
            mPlace.Remove(pathOf(owner));
            failed.push_back(pathOf(owner));
            reason = pathOf(owner) + ": " + reasons[owner];
        }
    }
    return failed;
}

bool ReleaseProof::IsAccepted(const SourceArchive &archive) const
{
    const Arrival &arrival = mPlace.GetArrival();
    return arrival.IsAccepted(archive.dataPath) && (archive.isHere || arrival.IsAccepted(archive.indexPath));
}

/// What is wrong with a file without a look into it; an empty text for nothing.
std::string ReleaseProof::CheckWhole(const std::string &path, uint64 least) const
{
    if (mPlace.GetSize(path).value_or(0) < least)
    {
        return "has fewer bytes than its index tells of";
    }
    const bool isListed = !mCheckSums || mProof.CheckFile(path, mPlace.GetPlace(path));
    return isListed ? "" : "is not the file that the shiplist tells of";
}

void ReleaseProof::AddPlain(const PlainFile &plain, std::size_t owner, std::vector<ContentToProve> &contents) const
{
    const auto &fields = mWanted.GetRelease().GetTree().GetFields(plain.file);
    contents.push_back({plain.file,
                        {TreeReader::StorageOf(fields.flags), TreeReader::Compression::None, nullptr, 0,
                         mPlace.GetPlace(plain.path), 0, mPlace.GetSize(plain.path).value_or(0)},
                        owner});
}

void ReleaseProof::AddArchive(const SourceArchive &archive, std::size_t owner,
                              std::vector<ContentToProve> &contents) const
{
    const ManifestTree &tree = mWanted.GetRelease().GetTree();
    const std::string place = mPlace.GetPlace(archive.dataPath);
    const auto first = static_cast<std::ptrdiff_t>(contents.size());
    for (const WantedRecord &wanted : archive.wanted)
    {
        contents.push_back(
            {wanted.file, StoredIn(*archive.index, wanted.record, place, tree.GetFields(wanted.file).flags), owner});
    }
    SortByOffset(contents.begin() + first, contents.end());
}

/// Data that takes the place of damaged data must not take away from another release what was good for it.
std::string ReleaseProof::CheckOthers(const SourceArchive &archive, const Release &other) const
{
    const std::string place = mPlace.GetPlace(archive.dataPath);
    const std::string directory = archive.dataPath.substr(0, archive.dataPath.rfind('/'));
    TreeReader::ContentReader reader;
    const auto isGood = [&](EntryIndex file, const StoredFile &stored)
    {
        return !reader.Read(other, file, stored, {},
                            [this](std::string_view)
                            {
                                mOptions.checkpoint();
                            });
    };
    const ManifestTree &tree = other.GetTree();
    for (uint32 number = 0; number < tree.GetFileCount(); ++number)
    {
        const EntryIndex file = tree.GetFileEntry(number);
        const auto &fields = tree.GetFields(file);
        const std::string path = tree.GetPath(file);
        const int32 record =
            MORV::Reader::IsArchivedFile(fields.flags) && mWanted.GetArchivesPath(fields.version) == directory
                ? archive.index->FindEntryIndex(HashName(path.c_str()), path.c_str())
                : -1;
        const TreeReader::Result<StoredFile> here =
            record >= 0 ? other.Locate(file) : TreeReader::Result<StoredFile>(TreeReader::Fault{});
        if (here && isGood(file, *here) &&
            !isGood(file, StoredIn(*archive.index, static_cast<uint32>(record), place, fields.flags)))
        {
            return "lacks " + path + " of release " + FormatVersion(other.GetVersion()) + " here";
        }
    }
    return "";
}
} // namespace Keld::Delivery
