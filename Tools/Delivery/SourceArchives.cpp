#include "Tools/Delivery/SourceArchives.h"

#include "Tools/TreeReader/DiskFile.h"
#include "Tools/TreeReader/TreeError.h"

#include "KeldFoundation/CStd/Hash.h"
#include "KeldMorvIO/archive/ArchiveFormat.h"
#include "KeldMorvIO/listing/ReleaseManifestFormat.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

namespace Keld::Delivery
{
using MORV::Reader::ArchiveFile;
using TreeReader::TreeError;

namespace
{
constexpr uint64 LargestIndex = uint64{512} << 20; // bytes
constexpr std::size_t FirstNames = 4;              // that are tried of each kind; then twice as many, and so on
constexpr std::size_t LongestGap = 64;             // in the numbers of a version's archives

std::string IndexSuffix()
{
    return std::string(".") + MORV::Reader::ArchiveIndexExtension;
}

/// The reader deletes an index whose sizes add up to 0.
std::unique_ptr<const ArchiveFile> OpenIndex(LargeVector<char> image)
{
    auto index = std::make_unique<ArchiveFile>();
    const bool isUsable = index->Adopt(image) && index->GetTotalSize() != 0;
    return isUsable ? std::move(index) : nullptr;
}

uint64 ExtentOf(const ArchiveFile &index)
{
    uint64 extent = 0;
    for (uint32 record = 0; record < index.GetEntryCount(); ++record)
    {
        uint32 offset = 0;
        uint32 size = 0;
        if (index.GetRange(record, offset, size))
        {
            extent = std::max(extent, uint64{offset} + size);
        }
    }
    return extent;
}

/// Both kinds of names that the writer of trees gives, from a number on.
std::vector<std::string> UsualNames(std::size_t first, std::size_t count)
{
    std::vector<std::string> names;
    for (const char *form : {"files-%04zu", "lzma-%04zu"})
    {
        for (std::size_t number = first; number < first + count; ++number)
        {
            char name[40];
            std::snprintf(name, sizeof name, form, number);
            names.push_back(name + IndexSuffix());
        }
    }
    return names;
}
} // namespace

SourceArchives::SourceArchives(Source &source, const SourceProof &proof, const DownloadPlace &place,
                               const WantedRelease &wanted, const DownloadCalls &calls)
    : mSource(source), mProof(proof), mPlace(place), mWanted(wanted), mCalls(calls)
{
}

void SourceArchives::Find(const std::vector<LackingFile> &lacking, const std::string &root)
{
    const TreeReader::ManifestTree &tree = mWanted.GetRelease().GetTree();
    std::map<MorvVersion, std::vector<LackingFile>> byVersion;
    for (const LackingFile &file : lacking)
    {
        const auto &fields = tree.GetFields(file.file);
        if (MORV::Reader::IsArchivedFile(fields.flags))
        {
            byVersion[fields.version].push_back(file);
        }
    }
    for (const auto &[version, files] : byVersion)
    {
        FindInVersion(version, files, root);
    }
}

/// All archives of the version that hold a path are taken: which one a reader asks first is up to the disk.
void SourceArchives::FindInVersion(MorvVersion version, const std::vector<LackingFile> &lacking,
                                   const std::string &root)
{
    const std::string directory = mWanted.GetArchivesPath(version);
    std::vector<SourceArchive> archives = BringIndexes(directory, lacking);
    const TreeReader::ManifestTree &tree = mWanted.GetRelease().GetTree();
    for (const LackingFile &file : lacking)
    {
        const std::string path = tree.GetPath(file.file);
        const uint32 hash = HashName(path.c_str());
        bool isFound = false;
        bool isReplaced = file.damaged == nullptr;
        for (SourceArchive &archive : archives)
        {
            const int32 record = archive.index->FindEntryIndex(hash, path.c_str());
            if (record >= 0)
            {
                archive.wanted.push_back({file.file, static_cast<uint32>(record)});
                isFound = true;
                isReplaced = isReplaced || root + "/" + archive.indexPath == file.damaged->GetIndexPath();
            }
        }
        if (!isFound)
        {
            throw SourceError(SourceTrouble::Untrue, mSource.GetName() + "/" + directory + ": no archive there holds " +
                                                         path + ", which the manifest says");
        }
        if (!isReplaced)
        {
            throw TreeError(file.damaged->GetIndexPath() + ": holds " + path +
                            " with other bytes than the release needs, and a program may find these first; the "
                            "source has no such archive, so remove this one");
        }
    }
    for (SourceArchive &archive : archives)
    {
        if (archive.wanted.empty())
        {
            continue;
        }
        const auto image = TreeReader::ReadFileImage(mPlace.GetPlace(archive.indexPath), LargestIndex);
        const ManifestState state = CompareWithDisk(root + "/" + archive.indexPath, *image,
                                                    [](LargeVector<char> &bytes)
                                                    {
                                                        return OpenIndex(std::move(bytes)) != nullptr;
                                                    });
        if (state == ManifestState::Other)
        {
            throw TreeError(root + "/" + archive.indexPath +
                            ": is another archive than the source has under that name, and releases here may be "
                            "served from it; archives never change once they are published");
        }
        archive.isHere = state == ManifestState::Same;
        archive.extent = ExtentOf(*archive.index);
        mArchives.push_back(std::move(archive));
    }
}

std::vector<SourceArchive> SourceArchives::BringIndexes(const std::string &directory,
                                                        const std::vector<LackingFile> &lacking)
{
    if (mProof.HasList())
    {
        return OpenIndexes(BringNamed(directory, mProof.FindIndexes(directory), false));
    }
    std::vector<std::string> indexes = mSource.ListNames(directory).value_or(std::vector<std::string>());
    std::erase_if(indexes,
                  [](const std::string &name)
                  {
                      return !name.ends_with(IndexSuffix());
                  });
    if (!indexes.empty())
    {
        return OpenIndexes(BringNamed(directory, indexes, false));
    }
    return TryUsualNames(directory, lacking);
}

/// Until all is found, or nothing more is there.
std::vector<SourceArchive> SourceArchives::TryUsualNames(const std::string &directory,
                                                         const std::vector<LackingFile> &lacking)
{
    std::vector<SourceArchive> archives;
    std::size_t count = FirstNames;
    for (std::size_t first = 1;; first += count, count *= 2)
    {
        std::vector<SourceArchive> found = OpenIndexes(BringNamed(directory, UsualNames(first, count), true));
        const bool isEnd = found.empty() && first > LongestGap;
        std::move(found.begin(), found.end(), std::back_inserter(archives));
        if (isEnd || HoldAll(archives, lacking))
        {
            return archives;
        }
    }
}

bool SourceArchives::HoldAll(const std::vector<SourceArchive> &archives, const std::vector<LackingFile> &lacking) const
{
    return std::all_of(lacking.begin(), lacking.end(),
                       [&](const LackingFile &file)
                       {
                           const std::string path = mWanted.GetRelease().GetTree().GetPath(file.file);
                           const uint32 hash = HashName(path.c_str());
                           return std::any_of(archives.begin(), archives.end(),
                                              [&](const SourceArchive &archive)
                                              {
                                                  return archive.index->FindEntryIndex(hash, path.c_str()) >= 0;
                                              });
                       });
}

std::vector<std::string> SourceArchives::BringNamed(const std::string &directory, const std::vector<std::string> &names,
                                                    bool mayLack)
{
    std::vector<Download> downloads;
    for (const std::string &name : names)
    {
        downloads.push_back({directory + "/" + name, mProof.GetSize(directory + "/" + name), LargestIndex, 0, mayLack});
    }
    mSource.Bring(downloads, mPlace, mCalls);
    std::vector<std::string> paths;
    for (const Download &download : downloads)
    {
        if (!download.isThere)
        {
            continue;
        }
        if (!mProof.CheckFile(download.path, mPlace.GetPlace(download.path)))
        {
            mPlace.Remove(download.path);
            throw SourceError(SourceTrouble::Untrue,
                              mSource.GetName() + "/" + download.path + ": is not the file that the shiplist tells of");
        }
        paths.push_back(download.path);
    }
    return paths;
}

std::vector<SourceArchive> SourceArchives::OpenIndexes(const std::vector<std::string> &paths)
{
    std::vector<SourceArchive> archives;
    for (const std::string &path : paths)
    {
        auto image = TreeReader::ReadFileImage(mPlace.GetPlace(path), LargestIndex);
        if (!image)
        {
            throw TreeError(image.GetFault().GetMessage());
        }
        SourceArchive archive;
        archive.indexPath = path;
        archive.dataPath = path + "." + MORV::Reader::ArchiveDataExtension;
        archive.index = OpenIndex(std::move(*image));
        if (archive.index == nullptr)
        {
            mPlace.Remove(path); // readers would delete it, too
            continue;
        }
        archives.push_back(std::move(archive));
    }
    return archives;
}
} // namespace Keld::Delivery
