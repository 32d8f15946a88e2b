#include "Tools/Delivery/Fetch/ReleaseProof.h"

#include "Tools/Common/ParallelWork.h"
#include "Tools/Delivery/Sums/ContentProof.h"
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
} // namespace

ReleaseProof::ReleaseProof(const WantedRelease &wanted, const DownloadPlace &place, const SourceProof &proof,
                           bool checkSums, const CompareOptions &options)
    : mWanted(wanted), mPlace(place), mProof(proof), mCheckSums(checkSums), mOptions(options)
{
}

std::vector<ReleaseProof::NewFile> ReleaseProof::FindNew(const std::vector<PlainFile> &plain,
                                                         const std::vector<SourceArchive> &archives) const
{
    const Arrival &arrival = mPlace.GetArrival();
    std::vector<NewFile> files;
    for (const PlainFile &file : plain)
    {
        if (!file.isCopied && !arrival.IsAccepted(file.path))
        {
            files.push_back({&file, nullptr});
        }
    }
    for (const SourceArchive &archive : archives)
    {
        if (!arrival.IsAccepted(archive.dataPath) || !(archive.isHere || arrival.IsAccepted(archive.indexPath)))
        {
            files.push_back({nullptr, &archive});
        }
    }
    return files;
}

void ReleaseProof::Foretell(const std::vector<PlainFile> &plain, const std::vector<SourceArchive> &archives,
                            EarlyProof &early) const
{
    if (!mOptions.decode && !mCheckSums)
    {
        return;
    }
    for (const NewFile &file : FindNew(plain, archives))
    {
        ExpectedFile expected{mPlace.GetPlace(file.GetPath()), &mWanted.GetRelease()};
        if (mOptions.decode)
        {
            expected.contents = ContentsOf(file);
        }
        const ShippedFile *listed = mCheckSums ? mProof.Find(file.GetPath()) : nullptr;
        if (listed != nullptr)
        {
            expected.size = listed->size;
            expected.sum = listed->sum;
        }
        early.Expect(file.GetPath(), std::move(expected));
    }
}

std::vector<std::string> ReleaseProof::Check(const std::vector<PlainFile> &plain,
                                             const std::vector<SourceArchive> &archives, const HeldFiles &held,
                                             EarlyProof &early, std::string &reason) const
{
    mWanted.CloseFiles(); // what came may have taken the place of what was read before
    const std::vector<NewFile> files = FindNew(plain, archives);
    std::vector<std::string> reasons(files.size());
    Common::ForEachInParallel(mOptions.threadCount, files.size(),
                              [&](std::size_t owner)
                              {
                                  mOptions.checkpoint();
                                  reasons[owner] = CheckWhole(files[owner], early);
                              });
    if (mOptions.decode)
    {
        std::vector<ContentToProve> contents;
        for (std::size_t owner = 0; owner < files.size(); ++owner)
        {
            std::optional<std::vector<ContentToProve>> left = early.TakeUnproved(files[owner].GetPath());
            if (reasons[owner].empty())
            {
                for (ContentToProve &content : left ? *left : left.emplace(ContentsOf(files[owner])))
                {
                    content.owner = owner;
                    contents.push_back(std::move(content));
                }
            }
        }
        const std::vector<std::string> wrong =
            ProveContents(mWanted.GetRelease(), contents, files.size(),
                          {mOptions.threadCount, mOptions.advance, mOptions.checkpoint});
        for (std::size_t owner = 0; owner < files.size(); ++owner)
        {
            reasons[owner] += wrong[owner]; // at most one of both is told
        }
        CheckOthers(files, held, reasons);
    }
    std::vector<std::string> failed;
    for (std::size_t owner = 0; owner < files.size(); ++owner)
    {
        if (!reasons[owner].empty())
        {
            mPlace.Remove(files[owner].GetPath());
            failed.push_back(files[owner].GetPath());
            reason = files[owner].GetPath() + ": " + reasons[owner];
        }
    }
    return failed;
}

/// What is wrong with a file without a look into it; an empty text for nothing.
std::string ReleaseProof::CheckWhole(const NewFile &file, const EarlyProof &early) const
{
    const std::string &path = file.GetPath();
    const std::string place = mPlace.GetPlace(path);
    if (file.archive != nullptr && mPlace.GetSize(path).value_or(0) < file.archive->extent)
    {
        return "has fewer bytes than its index tells of";
    }
    const bool isListed = !mCheckSums || early.IsSummed(path) || mProof.CheckFile(path, place);
    return isListed ? "" : "is not the file that the shiplist tells of";
}

/// In the order of the disk.
std::vector<ContentToProve> ReleaseProof::ContentsOf(const NewFile &file) const
{
    const ManifestTree &tree = mWanted.GetRelease().GetTree();
    const std::string place = mPlace.GetPlace(file.GetPath());
    if (file.plain != nullptr)
    {
        const auto &fields = tree.GetFields(file.plain->file);
        return {
            {file.plain->file,
             {TreeReader::StorageOf(fields.flags), TreeReader::Compression::None, nullptr, 0, place, 0, fields.size}}};
    }
    std::vector<ContentToProve> contents;
    contents.reserve(file.archive->wanted.size());
    for (const WantedRecord &wanted : file.archive->wanted)
    {
        contents.push_back(
            {wanted.file, StoredIn(*file.archive->index, wanted.record, place, tree.GetFields(wanted.file).flags)});
    }
    std::stable_sort(contents.begin(), contents.end(),
                     [](const ContentToProve &left, const ContentToProve &right)
                     {
                         return left.stored.offset < right.stored.offset;
                     });
    return contents;
}

/// Data that takes the place of damaged data must not take away from another release what was good for it.
/// \param reasons of each file; those that are told already are left as they are
void ReleaseProof::CheckOthers(const std::vector<NewFile> &files, const HeldFiles &held,
                               std::vector<std::string> &reasons) const
{
    const auto replaces = [&](std::size_t owner)
    {
        return files[owner].archive != nullptr && files[owner].archive->isHere && reasons[owner].empty();
    };
    std::vector<std::size_t> owners;
    for (std::size_t owner = 0; owner < files.size(); ++owner)
    {
        if (replaces(owner))
        {
            owners.push_back(owner);
        }
    }
    if (owners.empty())
    {
        return;
    }
    held.ForEachOther(
        [&](const Release &other)
        {
            for (const std::size_t owner : owners)
            {
                reasons[owner] = replaces(owner) ? CheckOther(*files[owner].archive, other) : reasons[owner];
            }
        });
}

std::string ReleaseProof::CheckOther(const SourceArchive &archive, const Release &other) const
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
        if (!MORV::Reader::IsArchivedFile(fields.flags) || mWanted.GetArchivesPath(fields.version) != directory)
        {
            continue;
        }
        const std::string path = tree.GetPath(file);
        const int32 record = archive.index->FindEntryIndex(HashName(path.c_str()), path.c_str());
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
