#include "Tools/TreeReader/FilePlaces.h"

#include "Tools/Common/ParallelWork.h"
#include "Tools/TreeReader/DirectoryScan.h"

#include "KeldFoundation/CStd/Hash.h"
#include "KeldFoundation/CStd/PathLimit.h"
#include "KeldMorvIO/listing/DiskPaths.h"
#include "KeldMorvIO/listing/ManifestFileIterator.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <sys/stat.h>

namespace Keld::TreeReader
{
using MORV::Reader::DiskPaths;
using MORV::Reader::IsArchivedFile;

namespace
{
// What is known of a file. Anything else is the place of one that an archive holds, as PlaceOf puts it together.
constexpr uint64 Unknown = 0;
constexpr uint64 Missing = 1;
constexpr uint64 Present = 2;

constexpr unsigned RecordBits = 32;

/// In the upper half the number of the archive among those of its version, plus one; in the lower half the record.
uint64 PlaceOf(const ArchiveHit &hit)
{
    return uint64{hit.number + 1} << RecordBits | hit.record;
}

bool IsPlace(uint64 known)
{
    return known >> RecordBits != 0;
}

ArchiveHit HitAt(const VersionArchives &archives, uint64 place)
{
    return archives.GetHit(static_cast<uint32>(place >> RecordBits) - 1, static_cast<uint32>(place));
}

// With fewer files of one directory in question, each of them is asked for.
constexpr uint_size FewFiles = 8;

constexpr uint_size DirectoriesAtOnce = 64; // that a thread settles before it asks for more

Fault TooLong(const std::string &where)
{
    return {FaultKind::PathTooLong, where,
            "has a path of " + std::to_string(PathBufferSize) + " bytes or more on disk, which the library refuses"};
}

DiskPaths::FileType PlainType(uint32 flags)
{
    return MORV::Reader::IsManagedFile(flags) ? DiskPaths::FileTypeManaged : DiskPaths::FileTypeDeploy;
}

/// A name that a directory on disk holds as it stands. What is too long for any path is not looked at to its end.
bool IsPlainName(const char *name)
{
    const std::string_view text(name, strnlen(name, PathBufferSize));
    return !text.empty() && text != "." && text != ".." && text.find('/') == std::string_view::npos;
}
} // namespace

FilePlaces::FilePlaces(const ManifestTree &tree, const Shared &shared)
    : mTree(tree), mShared(shared), mKnown(std::make_unique<std::atomic<uint64>[]>(tree.GetFileCount()))
{
}

// Relaxed is enough: what a place refers to was made before it under a lock that readers of it take.
uint64 FilePlaces::GetKnown(EntryIndex file) const
{
    return mKnown[mTree.GetFileNumber(file)].load(std::memory_order_relaxed);
}

void FilePlaces::SetKnown(EntryIndex file, uint64 known) const
{
    mKnown[mTree.GetFileNumber(file)].store(known, std::memory_order_relaxed);
}

Result<StoredFile> FilePlaces::Locate(EntryIndex file, const std::string &path) const
{
    if (!mTree.IsHeld(file))
    {
        return Fault{FaultKind::BadManifest, path, "stands in the manifest, but no directory holds it"};
    }
    if (IsArchivedFile(mTree.GetFields(file).flags))
    {
        return LocateArchived(file, path);
    }
    Result<StoredFile> location = LocatePlain(file, path);
    SetKnown(file, location ? Present : Missing);
    return location;
}

Failure FilePlaces::MakePlainPath(EntryIndex file, const std::string &path, std::string &diskPath) const
{
    const auto &fields = mTree.GetFields(file);
    char buffer[PathBufferSize];
    if (!DiskPaths::JoinNakedFile(buffer, sizeof buffer, PlainType(fields.flags), mShared.projectRoot.c_str(),
                                  mTree.GetReleaseVersion(), fields.version, path.c_str()))
    {
        return TooLong(path);
    }
    diskPath = buffer;
    return std::nullopt;
}

Result<StoredFile> FilePlaces::LocatePlain(EntryIndex file, const std::string &path) const
{
    StoredFile location;
    location.storage = StorageOf(mTree.GetFields(file).flags);
    if (const Failure failure = MakePlainPath(file, path, location.path))
    {
        return *failure;
    }
    struct stat status = {};
    if (stat(location.path.c_str(), &status) != 0)
    {
        return ExplainSystemError(location.path, errno);
    }
    if (!S_ISREG(status.st_mode))
    {
        return Fault{FaultKind::WrongKind, location.path, "is no file, but the release lists one"};
    }
    location.storedSize = static_cast<uint64>(status.st_size);
    return location;
}

Result<StoredFile> FilePlaces::LocateArchived(EntryIndex file, const std::string &path) const
{
    const auto &fields = mTree.GetFields(file);
    const VersionArchives &archives = GetArchives(fields.version);
    if (archives.GetArchives().empty())
    {
        SetKnown(file, Missing);
        return Fault{FaultKind::NoArchives, path,
                     "no archive of version " + FormatVersion(fields.version) +
                         " can be used: " + archives.GetFaults().front().GetMessage()};
    }
    const uint64 known = GetKnown(file);
    const ArchiveHit hit = IsPlace(known) ? HitAt(archives, known) : archives.Find(path.c_str());
    if (!NoteArchived(file, hit))
    {
        return ExplainArchived(archives, hit, path);
    }
    const auto &record = *hit.archive->GetIndex().GetEntry(hit.record);
    StoredFile location;
    location.storage = Storage::Archive;
    location.compression = CompressionOf(fields.flags);
    location.archive = hit.archive;
    location.record = hit.record;
    location.path = hit.archive->GetDataPath();
    location.offset = record.dataOffset;
    location.storedSize = record.size;
    return location;
}

/// Why the library leaves out a file of an archive.
Fault FilePlaces::ExplainArchived(const VersionArchives &archives, const ArchiveHit &hit, const std::string &path) const
{
    if (hit.archive == nullptr)
    {
        return {FaultKind::NotInArchives, path, "no archive in " + archives.GetDirectory() + " holds it"};
    }
    if (hit.archive->GetDataPath().size() >= PathBufferSize)
    {
        return TooLong(hit.archive->GetDataPath());
    }
    return *hit.archive->CheckData(GetFiles());
}

/// Whether what a search in the archives gave is there, which is noted.
bool FilePlaces::NoteArchived(EntryIndex file, const ArchiveHit &hit) const
{
    const bool isFound = hit.archive != nullptr && hit.archive->GetDataPath().size() < PathBufferSize &&
                         !hit.archive->CheckData(GetFiles());
    SetKnown(file, isFound ? PlaceOf(hit) : Missing);
    return isFound;
}

bool FilePlaces::IsPlainFound(EntryIndex file, const std::string &path) const
{
    std::string diskPath;
    struct stat status = {};
    return !MakePlainPath(file, path, diskPath) && stat(diskPath.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

/// Locate without its words. The library takes a file that no directory holds for one that is there.
void FilePlaces::FindOut(EntryIndex file, const std::string &path) const
{
    if (!mTree.IsHeld(file))
    {
        SetKnown(file, Present);
    }
    else if (IsArchivedFile(mTree.GetFields(file).flags))
    {
        NoteArchived(file, GetArchives(mTree.GetFields(file).version).Find(path.c_str()));
    }
    else
    {
        SetKnown(file, IsPlainFound(file, path) ? Present : Missing);
    }
}

bool FilePlaces::IsPresent(EntryIndex file) const
{
    if (GetKnown(file) == Unknown)
    {
        FindOut(file, mTree.GetPath(file));
    }
    return GetKnown(file) != Missing;
}

void FilePlaces::SettleDirectory(EntryIndex directory) const
{
    const EntryRange range = mTree.GetFiles(directory);
    const std::string directoryPath = mTree.GetPath(directory);
    const std::string prefix = directory == RootEntry ? "" : directoryPath + "/";
    const uint32 prefixHash = HashName(prefix.c_str());
    std::string path;
    std::vector<EntryIndex> plain;
    for (EntryIndex file = range.first; file < range.first + range.count; ++file)
    {
        if (GetKnown(file) != Unknown)
        {
            continue;
        }
        const char *name = mTree.GetName(file);
        const auto &fields = mTree.GetFields(file);
        const bool isArchived = IsArchivedFile(fields.flags);
        if (!isArchived && IsPlainName(name))
        {
            plain.push_back(file);
            continue;
        }
        const VersionArchives *const archives =
            isArchived && mTree.IsHeld(file) ? &GetArchives(fields.version) : nullptr;
        if (archives != nullptr && archives->GetArchives().empty())
        {
            SetKnown(file, Missing);
            continue;
        }
        path.assign(prefix);
        path.append(name, strnlen(name, MORV::Reader::ManifestPathLimit));
        if (archives != nullptr)
        {
            const uint32 hash = HashName(prefixHash, path.c_str() + prefix.size());
            NoteArchived(file, archives->Find(hash, path.c_str()));
            continue;
        }
        FindOut(file, path);
    }
    // A path that begins with a '/' stands for itself on disk, and not for a place below the release.
    const bool canScan = directory == RootEntry || (!directoryPath.empty() && directoryPath.front() != '/');
    if (canScan && plain.size() >= FewFiles)
    {
        SettleScanned(plain, directoryPath);
        return;
    }
    for (const EntryIndex file : plain)
    {
        IsPresent(file);
    }
}

/// The files may lie in several directories of the disk: naked ones in one, managed ones in one for each version.
void FilePlaces::SettleScanned(const std::vector<EntryIndex> &files, const std::string &directoryPath) const
{
    const auto placeOf = [this](EntryIndex file)
    {
        const auto &fields = mTree.GetFields(file);
        const bool isManaged = MORV::Reader::IsManagedFile(fields.flags);
        return std::make_pair(isManaged, isManaged ? MorvVersion{fields.version} : MorvVersion{0});
    };
    std::vector<EntryIndex> sorted = files;
    std::stable_sort(sorted.begin(), sorted.end(),
                     [&](EntryIndex left, EntryIndex right)
                     {
                         return placeOf(left) < placeOf(right);
                     });
    for (auto first = sorted.begin(); first != sorted.end();)
    {
        const auto end = std::find_if(first, sorted.end(),
                                      [&](EntryIndex file)
                                      {
                                          return placeOf(file) != placeOf(*first);
                                      });
        SettleTogether(std::vector<EntryIndex>(first, end), directoryPath);
        first = end;
    }
}

/// Files that lie in one directory of the disk.
void FilePlaces::SettleTogether(const std::vector<EntryIndex> &files, const std::string &directoryPath) const
{
    std::string diskPath;
    const bool worthIt = files.size() >= FewFiles && !MakePlainPath(files.front(), directoryPath, diskPath);
    const std::optional<DirectoryScan> scan = worthIt ? DirectoryScan::Read(diskPath) : std::nullopt;
    for (const EntryIndex file : files)
    {
        if (!scan)
        {
            IsPresent(file);
            continue;
        }
        const char *name = mTree.GetName(file);
        const bool fits = diskPath.size() + 1 + strnlen(name, PathBufferSize) < PathBufferSize;
        SetKnown(file, fits && scan->HoldsFile(name) ? Present : Missing);
    }
}

void FilePlaces::SettleAll(unsigned threadCount) const
{
    const std::vector<uint32> &directories = mTree.GetDirectoriesByLevel();
    const uint_size groups = (directories.size() + DirectoriesAtOnce - 1) / DirectoriesAtOnce;
    Common::ForEachInParallel(threadCount, groups,
                              [&](uint_size group)
                              {
                                  const uint_size begin = group * DirectoriesAtOnce;
                                  const uint_size end = std::min(begin + DirectoriesAtOnce, directories.size());
                                  for (uint_size index = begin; index < end; ++index)
                                  {
                                      SettleDirectory(directories[index]);
                                  }
                              });
}
} // namespace Keld::TreeReader
