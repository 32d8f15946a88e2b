#include "Tools/TreeReader/VersionArchives.h"

#include "KeldFoundation/CStd/Hash.h"
#include "KeldFoundation/file/FileIterator.h"
#include "KeldMorvIO/archive/ArchiveFormat.h"

#include <cerrno>
#include <limits>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Keld::TreeReader
{
using MORV::Reader::ArchiveFile;

namespace
{
// No index of the format reaches farther: its offsets have 32 bits, and behind the last one there are only texts.
constexpr uint64 LargestIndex = std::numeric_limits<uint32>::max();

constexpr int EveryEntry = 0; // as the flags of an enumeration

/// A FIFO or a device, which the library does not open. A directory it opens, and then cannot read.
bool IsSpecial(const DiskFile &file)
{
    return !file.IsRegular() && !file.IsDirectory();
}

/// The names that the library would load, in its order, which is the file system's own.
std::vector<std::string> IndexNames(const std::string &directory)
{
    // The enumeration passes its pattern through one buffer of the process.
    static std::mutex enumerating;
    const std::lock_guard<std::mutex> lock(enumerating);
    const std::string pattern = directory + "/*." + MORV::Reader::ArchiveIndexExtension;
    std::vector<std::string> names;
    const auto iterator = File::CreateFileIterator(pattern.c_str(), EveryEntry);
    for (; iterator->IsValid(); iterator->Next())
    {
        if (!iterator->IsDirectory())
        {
            names.emplace_back(iterator->GetName());
        }
    }
    return names;
}

// Whether a directory can be read and entered. If not, `errno` tells why: the enumeration only finds nothing.
bool IsUsable(const std::string &directory)
{
    const int descriptor = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0)
    {
        return false;
    }
    close(descriptor);
    return eaccess(directory.c_str(), X_OK) == 0;
}

/// A system that is out of descriptors says nothing about the index.
Fault UnreadableIndexFault(Fault fault)
{
    if (fault.kind != FaultKind::NoDescriptors)
    {
        fault.kind = FaultKind::UnreadableIndex;
        if (IsDeletedWhenUnusable(fault.path))
        {
            fault.text += "; the library deletes such an index where it may write";
        }
    }
    return fault;
}
} // namespace

Archive::Archive(std::string indexPath, std::string dataPath, std::string name,
                 std::unique_ptr<const ArchiveFile> index)
    : mIndexPath(std::move(indexPath)), mName(std::move(name)), mDataPath(std::move(dataPath)), mIndex(std::move(index))
{
}

const Failure &Archive::CheckData(DiskFileCache &files) const
{
    std::call_once(mDataChecked,
                   [&]
                   {
                       const auto file = files.Open(mDataPath);
                       if (!file)
                       {
                           mDataFailure = file.GetFault();
                       }
                       else if (IsSpecial(**file))
                       {
                           mDataFailure = Fault{FaultKind::WrongKind, mDataPath, "is no regular file"};
                       }
                   });
    return mDataFailure;
}

bool IsDeletedWhenUnusable(const std::string &indexPath)
{
    struct stat target = {};
    return stat(indexPath.c_str(), &target) == 0 && !S_ISFIFO(target.st_mode) && !S_ISCHR(target.st_mode);
}

VersionArchives::VersionArchives(std::string directory, std::string dataDirectory)
    : mDirectory(std::move(directory)), mDataDirectory(std::move(dataDirectory))
{
    for (const std::string &name : IndexNames(mDirectory))
    {
        Load(name);
    }
    if (mArchives.empty() && mFaults.empty())
    {
        mFaults.push_back(IsUsable(mDirectory) ? Fault{FaultKind::NoArchives, mDirectory, "holds no archive"}
                                               : ExplainSystemError(mDirectory, errno));
    }
}

/// A file of size 0 is no archive; one with a good form whose sizes add up to nothing is one, of which nothing is
/// found.
void VersionArchives::Load(const std::string &name)
{
    const std::string path = mDirectory + "/" + name;
    Result<LargeVector<char>> image = ReadFileImage(path, LargestIndex);
    if (!image)
    {
        mFaults.push_back(UnreadableIndexFault(image.GetFault()));
        return;
    }
    auto index = std::make_unique<ArchiveFile>();
    if (!index->Adopt(*image))
    {
        mFaults.push_back({FaultKind::BadIndex, path,
                           "is no archive index, or a damaged one; the library deletes it where it may write"});
        return;
    }
    if (index->GetTotalSize() == 0)
    {
        mFaults.push_back({FaultKind::EmptyIndex, path,
                           "is an archive index whose files have no bytes; the library deletes it where it may write"});
        return;
    }
    const std::string dataPath = mDataDirectory + "/" + name + "." + MORV::Reader::ArchiveDataExtension;
    mArchives.push_back(std::make_unique<const Archive>(path, dataPath, name, std::move(index)));
}

ArchiveHit VersionArchives::Find(const char *path) const
{
    return mArchives.empty() ? ArchiveHit{} : Find(HashName(path), path);
}

ArchiveHit VersionArchives::Find(uint32 hash, const char *path) const
{
    if (*path == '\0')
    {
        return {};
    }
    for (uint32 number = 0; number < mArchives.size(); ++number)
    {
        const int32 record = mArchives[number]->GetIndex().FindEntryIndex(hash, path);
        if (record >= 0)
        {
            return GetHit(number, static_cast<uint32>(record));
        }
    }
    return {};
}
} // namespace Keld::TreeReader
