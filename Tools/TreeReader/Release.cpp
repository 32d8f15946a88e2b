#include "Tools/TreeReader/Release.h"

#include "Tools/Common/ParallelWork.h"
#include "Tools/TreeReader/DirectoryScan.h"

#include "KeldFoundation/CStd/PathLimit.h"
#include "KeldMorvIO/listing/DiskPaths.h"
#include "KeldMorvIO/listing/ManifestFileIterator.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <set>

#include <sys/stat.h>

namespace Keld::TreeReader
{
using MORV::Reader::DiskPaths;

namespace
{
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

/// A name that a directory on disk holds as it stands.
bool IsPlainName(const char *name)
{
    const std::string_view text = name;
    return !text.empty() && text != "." && text != ".." && text.find('/') == std::string_view::npos;
}
} // namespace

Release::Release(std::string directory, std::unique_ptr<const ManifestTree> tree, const Shared &shared)
    : mDirectory(std::move(directory)), mTree(std::move(tree)), mShared(shared),
      mStates(std::make_unique<std::atomic<uint8>[]>(mTree->GetFileCount()))
{
}

Release::State Release::GetState(EntryIndex file) const
{
    return static_cast<State>(mStates[mTree->GetFileNumber(file)].load(std::memory_order_relaxed));
}

void Release::SetState(EntryIndex file, bool isPresent) const
{
    mStates[mTree->GetFileNumber(file)].store(isPresent ? Present : Missing, std::memory_order_relaxed);
}

const LookupIndex &Release::GetListedIndex() const
{
    std::call_once(mListedIndexMade,
                   [this]
                   {
                       mListedIndex = std::make_unique<const LookupIndex>(*mTree, 0);
                   });
    return *mListedIndex;
}

const LookupIndex &Release::GetPresentIndex() const
{
    std::call_once(mPresentIndexMade,
                   [this]
                   {
                       const auto missing = static_cast<uint32>(GetMissing(1).size());
                       mPresentIndex = std::make_unique<const LookupIndex>(*mTree, missing);
                   });
    return *mPresentIndex;
}

/// A path that means one entry needs no more than that entry. Only where several have one path, as in a damaged
/// manifest, or where accidents of the hash count, do the library's own buckets decide.
EntryIndex Release::Find(const std::string &path) const
{
    if (path.size() >= PathBufferSize || path.starts_with('/'))
    {
        return NoEntry;
    }
    if (mTree->HasOddities())
    {
        return FindExactly(path);
    }
    EntryIndex found = NoEntry;
    bool isUnique = true;
    GetListedIndex().ForEachMatch(path,
                                  [&](EntryIndex entry)
                                  {
                                      isUnique = found == NoEntry;
                                      found = isUnique ? entry : found;
                                      return isUnique;
                                  });
    if (!isUnique)
    {
        return FindExactly(path);
    }
    return found != NoEntry && CanBeServed(found) ? found : NoEntry;
}

EntryIndex Release::FindExactly(const std::string &path) const
{
    EntryIndex found = NoEntry;
    GetPresentIndex().ForEachMatch(path,
                                   [&](EntryIndex entry)
                                   {
                                       const bool counts = CanBeServed(entry);
                                       found = counts ? entry : NoEntry;
                                       return !counts;
                                   });
    return found;
}

std::vector<EntryIndex> Release::FindListed(const std::string &path) const
{
    std::vector<EntryIndex> found;
    if (path.size() < PathBufferSize && !path.starts_with('/'))
    {
        GetListedIndex().ForEachMatch(path,
                                      [&](EntryIndex entry)
                                      {
                                          found.push_back(entry);
                                          return true;
                                      });
    }
    return found;
}

EntryIndex Release::FindEvery(const std::string &path, std::vector<EntryIndex> &others) const
{
    others = FindListed(path);
    const bool isPlain = others.size() == 1 && !mTree->HasOddities();
    const EntryIndex found = !isPlain ? Find(path) : CanBeServed(others.front()) ? others.front() : NoEntry;
    std::erase(others, found);
    return found;
}

Result<StoredFile> Release::Locate(EntryIndex file) const
{
    return LocateAt(file, mTree->GetPath(file));
}

Result<StoredFile> Release::LocateAt(EntryIndex file, const std::string &path) const
{
    if (!mTree->IsHeld(file))
    {
        return Fault{FaultKind::BadManifest, path, "stands in the manifest, but no directory holds it"};
    }
    Result<StoredFile> location = MORV::Reader::IsArchivedFile(mTree->GetFields(file).flags)
                                      ? LocateArchived(file, path)
                                      : LocatePlain(file, path);
    SetState(file, static_cast<bool>(location));
    return location;
}

Failure Release::MakePlainPath(EntryIndex file, const std::string &path, std::string &diskPath) const
{
    const auto &fields = mTree->GetFields(file);
    char buffer[PathBufferSize];
    if (!DiskPaths::JoinNakedFile(buffer, sizeof buffer, PlainType(fields.flags), mShared.projectRoot.c_str(),
                                  GetVersion(), fields.version, path.c_str()))
    {
        return TooLong(path);
    }
    diskPath = buffer;
    return std::nullopt;
}

Result<StoredFile> Release::LocatePlain(EntryIndex file, const std::string &path) const
{
    StoredFile location;
    location.storage = StorageOf(mTree->GetFields(file).flags);
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

Result<StoredFile> Release::LocateArchived(EntryIndex file, const std::string &path) const
{
    const auto &fields = mTree->GetFields(file);
    const VersionArchives &archives = GetArchives(fields.version);
    if (archives.GetArchives().empty())
    {
        return Fault{FaultKind::NoArchives, path,
                     "no archive of version " + FormatVersion(fields.version) +
                         " can be used: " + archives.GetFaults().front().GetMessage()};
    }
    const ArchiveHit hit = archives.Find(path.c_str());
    if (hit.archive == nullptr)
    {
        return Fault{FaultKind::NotInArchives, path, "no archive in " + archives.GetDirectory() + " holds it"};
    }
    if (hit.archive->GetDataPath().size() >= PathBufferSize)
    {
        return TooLong(hit.archive->GetDataPath());
    }
    if (const Failure &failure = hit.archive->CheckData(GetFiles()))
    {
        return *failure;
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

/// Locate without its words. The library takes a file that no directory holds for one that is there.
bool Release::IsFound(EntryIndex file, const std::string &path) const
{
    if (!mTree->IsHeld(file))
    {
        return true;
    }
    const auto &fields = mTree->GetFields(file);
    if (!MORV::Reader::IsArchivedFile(fields.flags))
    {
        std::string diskPath;
        struct stat status = {};
        return !MakePlainPath(file, path, diskPath) && stat(diskPath.c_str(), &status) == 0 && S_ISREG(status.st_mode);
    }
    const ArchiveHit hit = GetArchives(fields.version).Find(path.c_str());
    return hit.archive != nullptr && hit.archive->GetDataPath().size() < PathBufferSize &&
           !hit.archive->CheckData(GetFiles());
}

bool Release::IsPresent(EntryIndex file) const
{
    if (GetState(file) == Unknown)
    {
        SetState(file, IsFound(file, mTree->GetPath(file)));
    }
    return GetState(file) == Present;
}

void Release::SettleDirectory(EntryIndex directory) const
{
    const EntryRange range = mTree->GetFiles(directory);
    const std::string directoryPath = mTree->GetPath(directory);
    const std::string prefix = directory == RootEntry ? "" : directoryPath + "/";
    std::string path;
    std::vector<EntryIndex> plain;
    for (EntryIndex file = range.first; file < range.first + range.count; ++file)
    {
        if (GetState(file) != Unknown)
        {
            continue;
        }
        const bool isArchived = MORV::Reader::IsArchivedFile(mTree->GetFields(file).flags);
        if (!isArchived && IsPlainName(mTree->GetName(file)))
        {
            plain.push_back(file);
            continue;
        }
        path.assign(prefix);
        path.append(mTree->GetName(file), strnlen(mTree->GetName(file), MORV::Reader::ManifestPathLimit));
        SetState(file, IsFound(file, path));
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
void Release::SettleScanned(const std::vector<EntryIndex> &files, const std::string &directoryPath) const
{
    const auto placeOf = [this](EntryIndex file)
    {
        const auto &fields = mTree->GetFields(file);
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
void Release::SettleTogether(const std::vector<EntryIndex> &files, const std::string &directoryPath) const
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
        const char *name = mTree->GetName(file);
        const bool fits = diskPath.size() + 1 + strnlen(name, PathBufferSize) < PathBufferSize;
        SetState(file, fits && scan->HoldsFile(name));
    }
}

void Release::SettleAll(unsigned threadCount) const
{
    const std::vector<uint32> &directories = mTree->GetDirectoriesByLevel();
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

std::vector<EntryIndex> Release::GetMissing(unsigned threadCount) const
{
    SettleAll(threadCount);
    std::vector<EntryIndex> missing;
    for (uint32 number = 0; number < mTree->GetFileCount(); ++number)
    {
        const EntryIndex file = mTree->GetFileEntry(number);
        if (GetState(file) == Missing)
        {
            missing.push_back(file);
        }
    }
    return missing;
}

bool Release::HasAnyFile() const
{
    for (uint32 number = 0; number < mTree->GetFileCount(); ++number)
    {
        if (IsPresent(mTree->GetFileEntry(number)))
        {
            return true;
        }
    }
    return false;
}

std::vector<MorvVersion> Release::GetArchiveVersions() const
{
    std::set<MorvVersion> versions;
    for (uint32 number = 0; number < mTree->GetFileCount(); ++number)
    {
        const auto &fields = mTree->GetTables().GetFile(number);
        if (MORV::Reader::IsArchivedFile(fields.flags))
        {
            versions.insert(fields.version);
        }
    }
    return {versions.begin(), versions.end()};
}
} // namespace Keld::TreeReader
