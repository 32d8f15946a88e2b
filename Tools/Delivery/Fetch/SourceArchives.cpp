#include "Tools/Delivery/Fetch/SourceArchives.h"

#include "Tools/Common/ParallelWork.h"
#include "Tools/Delivery/Fetch/HashedPaths.h"
#include "Tools/Delivery/Sources/BroughtFile.h"
#include "Tools/TreeReader/DiskFile.h"
#include "Tools/TreeReader/TreeError.h"

#include "KeldFoundation/CStd/Hash.h"
#include "KeldMorvIO/archive/ArchiveFormat.h"
#include "KeldMorvIO/listing/ReleaseManifestFormat.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iterator>

namespace Keld::Delivery
{
using MORV::Reader::ArchiveFile;
using TreeReader::TreeError;

namespace
{
constexpr uint64 LargestIndex = uint64{512} << 20;   // bytes
constexpr uint64 LargestOfVersion = uint64{2} << 30; // bytes of all indexes of a version
constexpr uint64 CostOfIndex = 4 << 10;              // bytes that one counts besides its own, so that there is an end
constexpr std::size_t FirstNames = 4;                // that are tried of each kind; then twice as many, and so on
constexpr std::size_t LongestGap = 64;               // in the numbers of a version's archives
constexpr std::size_t FilesAtOnce = 1024;            // that a thread looks for before it asks for more

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

void ForgetUnlisted(const std::string &path, const SourceProof &proof, const DownloadPlace &place)
{
    if (proof.Find(path) == nullptr)
    {
        place.Remove(path);
    }
}

SourceArchives::SourceArchives(Source &source, const SourceProof &proof, const DownloadPlace &place,
                               const WantedRelease &wanted, const DownloadCalls &calls, unsigned threadCount)
    : mSource(source), mProof(proof), mPlace(place), mWanted(wanted), mCalls(calls), mThreadCount(threadCount)
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

void SourceArchives::FindInVersion(MorvVersion version, const std::vector<LackingFile> &lacking,
                                   const std::string &root)
{
    const std::string directory = mWanted.GetArchivesPath(version);
    std::vector<bool> isFound(lacking.size());
    mIndexBytes = 0;
    std::vector<SourceArchive> archives = BringIndexes(directory, lacking, isFound);
    try
    {
        RequireFound(isFound, lacking, directory);
        RequireReplaced(archives, lacking, root);
        for (SourceArchive &archive : archives)
        {
            if (!archive.wanted.empty())
            {
                TellPlace(archive, root);
            }
        }
    }
    catch (const TreeError &)
    {
        for (const SourceArchive &archive : archives)
        {
            ForgetUnlisted(archive.indexPath, mProof, mPlace);
        }
        throw;
    }
    std::copy_if(std::move_iterator(archives.begin()), std::move_iterator(archives.end()),
                 std::back_inserter(mArchives),
                 [](const SourceArchive &archive)
                 {
                     return !archive.wanted.empty();
                 });
}

void SourceArchives::RequireFound(const std::vector<bool> &isFound, const std::vector<LackingFile> &lacking,
                                  const std::string &directory) const
{
    const auto lost = std::find(isFound.begin(), isFound.end(), false);
    if (lost != isFound.end())
    {
        const LackingFile &file = lacking[static_cast<std::size_t>(lost - isFound.begin())];
        throw SourceError(SourceTrouble::Untrue, mSource.GetName() + "/" + directory + ": no archive there holds " +
                                                     PathOf(file) + ", which the manifest says");
    }
}

/// Looks for files in archives, on all threads. All archives of the version that hold a path are taken: which one a
/// reader asks first is up to the disk.
/// \param isFound of each file; is set where an archive has it
void SourceArchives::FindRecords(std::vector<SourceArchive> &archives, const std::vector<LackingFile> &lacking,
                                 std::vector<bool> &isFound) const
{
    struct Found
    {
        std::size_t archive;
        std::size_t file;
        uint32 record;
    };
    const std::size_t runs = archives.empty() ? 0 : (lacking.size() + FilesAtOnce - 1) / FilesAtOnce;
    std::vector<std::vector<Found>> found(runs);
    Common::ForEachInParallel(mThreadCount, runs,
                              [&](std::size_t run)
                              {
                                  mCalls.checkpoint();
                                  const std::size_t end = std::min((run + 1) * FilesAtOnce, lacking.size());
                                  HashedPaths paths(mWanted.GetRelease().GetTree());
                                  for (std::size_t file = run * FilesAtOnce; file < end; ++file)
                                  {
                                      paths.Take(lacking[file].file);
                                      for (std::size_t archive = 0; archive < archives.size(); ++archive)
                                      {
                                          const int32 record =
                                              archives[archive].index->FindEntryIndex(paths.GetHash(), paths.GetPath());
                                          if (record >= 0)
                                          {
                                              found[run].push_back({archive, file, static_cast<uint32>(record)});
                                          }
                                      }
                                  }
                              });
    for (const std::vector<Found> &run : found)
    {
        for (const Found &one : run)
        {
            archives[one.archive].wanted.push_back({lacking[one.file].file, one.record});
            isFound[one.file] = true;
        }
    }
}

/// A file whose path an archive here has, but not its bytes, comes right only where that archive is replaced.
void SourceArchives::RequireReplaced(const std::vector<SourceArchive> &archives,
                                     const std::vector<LackingFile> &lacking, const std::string &root) const
{
    for (const LackingFile &file : lacking)
    {
        if (file.damaged == nullptr)
        {
            continue;
        }
        const std::string path = PathOf(file);
        const uint32 hash = HashName(path.c_str());
        const bool isReplaced = std::any_of(archives.begin(), archives.end(),
                                            [&](const SourceArchive &archive)
                                            {
                                                return archive.index->FindEntryIndex(hash, path.c_str()) >= 0 &&
                                                       root + "/" + archive.indexPath == file.damaged->GetIndexPath();
                                            });
        if (!isReplaced)
        {
            throw TreeError(file.damaged->GetIndexPath() + ": has " + path +
                            ", but not the bytes that the release needs, and a program may ask it first; the source "
                            "has no such archive, so remove this one");
        }
    }
}

/// Finds out what stands in the place of an archive here.
void SourceArchives::TellPlace(SourceArchive &archive, const std::string &root) const
{
    archive.extent = ExtentOf(*archive.index);
    const std::string place = root + "/" + archive.indexPath;
    if (!std::filesystem::exists(std::filesystem::symlink_status(place)))
    {
        return;
    }
    const auto image = TreeReader::ReadFileImage(mPlace.GetPlace(archive.indexPath), LargestIndex);
    if (!image)
    {
        throw TreeError(image.GetFault().GetMessage());
    }
    const ManifestState state = CompareWithDisk(place, *image,
                                                [](LargeVector<char> &bytes)
                                                {
                                                    return OpenIndex(std::move(bytes)) != nullptr;
                                                });
    if (state == ManifestState::Other)
    {
        throw TreeError(place + ": is another archive than the source has under that name, and releases here may be "
                                "served from it; archives never change once they are published");
    }
    archive.isHere = state == ManifestState::Same;
}

std::string SourceArchives::PathOf(const LackingFile &file) const
{
    return mWanted.GetRelease().GetTree().GetPath(file.file);
}

std::vector<SourceArchive> SourceArchives::BringIndexes(const std::string &directory,
                                                        const std::vector<LackingFile> &lacking,
                                                        std::vector<bool> &isFound)
{
    std::vector<std::string> indexes;
    if (mProof.HasList())
    {
        indexes = mProof.FindIndexes(directory);
    }
    else
    {
        indexes = mSource.ListNames(directory).value_or(std::vector<std::string>());
        std::erase_if(indexes,
                      [](const std::string &name)
                      {
                          return !name.ends_with(IndexSuffix());
                      });
        if (indexes.empty())
        {
            return TryUsualNames(directory, lacking, isFound);
        }
    }
    std::vector<SourceArchive> archives = OpenIndexes(BringNamed(directory, indexes, false));
    FindRecords(archives, lacking, isFound);
    return archives;
}

/// Until all is found, or nothing more is there. LargestOfVersion ends it where a server has an answer to every name.
std::vector<SourceArchive> SourceArchives::TryUsualNames(const std::string &directory,
                                                         const std::vector<LackingFile> &lacking,
                                                         std::vector<bool> &isFound)
{
    std::vector<SourceArchive> archives;
    std::size_t count = FirstNames;
    for (std::size_t first = 1;; first += count, count *= 2)
    {
        std::vector<SourceArchive> more = OpenIndexes(BringNamed(directory, UsualNames(first, count), true));
        FindRecords(more, lacking, isFound);
        const bool isEnd = more.empty() && first > LongestGap;
        std::move(more.begin(), more.end(), std::back_inserter(archives));
        if (isEnd || std::find(isFound.begin(), isFound.end(), false) == isFound.end())
        {
            return archives;
        }
    }
}

std::vector<std::string> SourceArchives::BringNamed(const std::string &directory, const std::vector<std::string> &names,
                                                    bool mayLack)
{
    std::vector<Download> downloads;
    downloads.reserve(names.size());
    for (const std::string &name : names)
    {
        const std::string path = directory + "/" + name;
        const std::optional<uint64> size = mProof.GetSize(path);
        RequireNotLarger(mSource.GetName() + "/" + path, size.value_or(0), LargestIndex);
        downloads.push_back({path, size, LargestIndex, 0, mayLack});
    }
    const auto count = [&](uint64 bytes)
    {
        if ((mIndexBytes += bytes) > LargestOfVersion)
        {
            throw SourceError(SourceTrouble::Untrue, mSource.GetName() + "/" + directory +
                                                         ": more archive indexes are there than are taken for one "
                                                         "version");
        }
    };
    DownloadCalls calls = mCalls;
    calls.advance = [&](uint64 bytes)
    {
        mCalls.advance(bytes);
        count(bytes);
    };
    calls.found = [&](uint64 bytes)
    {
        mCalls.found(bytes);
        count(bytes);
    };
    mSource.Bring(downloads, mPlace, calls);
    std::vector<std::string> paths;
    for (const Download &download : downloads)
    {
        if (!download.isThere)
        {
            continue;
        }
        count(CostOfIndex);
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
