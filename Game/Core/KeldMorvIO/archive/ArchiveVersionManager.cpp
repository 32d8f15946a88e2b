#include "KeldMorvIO/archive/ArchiveVersionManager.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/CStd/Hash.h"
#include "KeldFoundation/file/FileIterator.h"
#include "KeldMorvIO/ReaderLog.h"
#include "KeldMorvIO/archive/PathHash.h"

#include <algorithm>
#include <memory>

namespace Keld::MORV::Reader
{
namespace
{
constexpr int EnumerationFlags = 2;             // no iterator looks at this bit
constexpr unsigned char ArchiveTraceValue = 10; // shows in the entry trace of each archive, and nowhere else

/// Deletes an index that gave no usable archive. The one place where the library changes the deployment tree.
void DeleteUnusableArchive(const char *signature, const std::string &directory, const char *name, bool invalid)
{
    const std::string path = (directory.empty() ? "." : directory) + "/" + name;
    if (invalid)
    {
        LogWarning("%s: Failed to open %s, archive will be deleted and ignored", signature, path.c_str());
    }
    else
    {
        // An index that could not be read gets this text too, whatever its size.
        LogWarning("%s: Zero sized archive %s will be deleted and ignored", signature, path.c_str());
    }
    std_file_delete(path.c_str());
}

std::vector<std::unique_ptr<const ArchiveFile>> LoadArchives(const std::string &directory, File::FileIterator &iterator)
{
    std::vector<std::unique_ptr<const ArchiveFile>> archives;
    for (; iterator.IsValid(); iterator.Next())
    {
        if (iterator.IsDirectory())
        {
            continue;
        }
        std::unique_ptr<const ArchiveFile> archive(
            ArchiveVersionManager::LoadArchiveFile(directory.c_str(), iterator.GetName()));
        if (archive != nullptr)
        {
            archives.push_back(std::move(archive));
        }
    }
    return archives;
}

/// Builds the manager first and lets go of the archives afterwards, so that nothing is lost when memory runs out.
const ArchiveVersionManager *MakeManager(const std::string &directory,
                                         std::vector<std::unique_ptr<const ArchiveFile>> &loaded)
{
    std::vector<const ArchiveFile *> archives;
    archives.reserve(loaded.size());
    for (const std::unique_ptr<const ArchiveFile> &archive : loaded)
    {
        archives.push_back(archive.get());
    }
    const ArchiveVersionManager *const manager = new ArchiveVersionManager(directory, archives);
    for (std::unique_ptr<const ArchiveFile> &archive : loaded)
    {
        static_cast<void>(archive.release()); // the manager owns it now
    }
    return manager;
}
} // namespace

const ArchiveVersionManager *ArchiveVersionManager::Create(const std::string &directory)
{
    constexpr const char *signature = "static const Keld::MORV::Reader::ArchiveVersionManager *"
                                      "Keld::MORV::Reader::ArchiveVersionManager::Create(const std::string &)";
    LogTrace("%s: (%s)", signature, directory.c_str());

    const std::string pattern = directory + "/*." + ArchiveIndexExtension;
    const boost::shared_ptr<File::FileIterator> iterator = File::CreateFileIterator(pattern.c_str(), EnumerationFlags);
    if (iterator == nullptr)
    {
        LogError("%s: Failed to find the directory: %s", signature, pattern.c_str());
        return nullptr;
    }
    std::vector<std::unique_ptr<const ArchiveFile>> archives = LoadArchives(directory, *iterator);
    if (archives.empty())
    {
        LogError("%s: No valid archive files were found in the directory: %s", signature, pattern.c_str());
        return nullptr;
    }
    return MakeManager(directory, archives);
}

const ArchiveFile *ArchiveVersionManager::LoadArchiveFile(const char *directory, const char *name)
{
    constexpr const char *signature =
        "static const Keld::MORV::Reader::ArchiveFile *"
        "Keld::MORV::Reader::ArchiveVersionManager::LoadArchiveFile(const char *, const char *)";
    const char *const directoryText = TextOrEmpty(directory);
    const char *const nameText = TextOrEmpty(name);
    LogTrace("%s: (%s/%s)", signature, directoryText, nameText);
    if (*nameText == '\0')
    {
        LogError("%s: Empty file name", signature);
        return nullptr;
    }
    auto archive = std::make_unique<ArchiveFile>(nameText, directoryText, ArchiveTraceValue);
    bool invalid = false;
    if (archive->Read(&invalid) && archive->GetTotalSize() != 0)
    {
        return archive.release();
    }
    DeleteUnusableArchive(signature, directoryText, nameText, invalid);
    return nullptr;
}

ArchiveVersionManager::ArchiveVersionManager(const std::string &directory, std::vector<const ArchiveFile *> &archives)
    : mSortedPaths(archives), mPaths(mSortedPaths.IsKnown() ? std::vector<const ArchiveFile *>() : archives),
      mDirectory(directory)
{
    constexpr const char *signature = "Keld::MORV::Reader::ArchiveVersionManager::ArchiveVersionManager("
                                      "const std::string &, std::vector<const ArchiveFile *> &)";
    LogTrace("%s: ", signature);
    mArchives.swap(archives);
}

ArchiveVersionManager::~ArchiveVersionManager()
{
    for (const ArchiveFile *archive : mArchives)
    {
        delete archive;
    }
}

bool ArchiveVersionManager::FileExists(const char *name) const
{
    constexpr const char *signature = "bool Keld::MORV::Reader::ArchiveVersionManager::FileExists(const char *) const";
    const char *const nameText = TextOrEmpty(name);
    LogTrace("%s: (%s)", signature, nameText);
    if (*nameText == '\0')
    {
        LogError("%s: Empty file name", signature);
        return false;
    }
    return FindArchive(HashName(nameText), nameText) != nullptr;
}

const ArchiveFile *ArchiveVersionManager::FindArchive(unsigned long hash, const char *name) const
{
    constexpr const char *signature =
        "const Keld::MORV::Reader::ArchiveFile *"
        "Keld::MORV::Reader::ArchiveVersionManager::FindArchive(unsigned long, const char *) const";
    const char *const nameText = TextOrEmpty(name);
    LogTrace("%s: (0x%08lx, %s)", signature, hash, nameText);
    if (*nameText == '\0')
    {
        LogError("%s: Empty file name", signature);
        return nullptr;
    }
    for (const ArchiveFile *archive : mArchives)
    {
        if (archive->Find(nameText))
        {
            return archive;
        }
    }
    return nullptr;
}

bool ArchiveVersionManager::Find(const std::string &name, std::string &archive, uint32 &offset, uint32 &size) const
{
    archive.clear();
    GivenPath path(name);
    const ArchiveFile *const holder = FindRange(path, {HashName(name.c_str()), 0}, offset, size);
    if (holder == nullptr)
    {
        return false;
    }
    archive = holder->GetDataFilename();
    return true;
}

// Where traces are wanted, each archive is asked and traces that. Otherwise those that cannot have the path are left
// out.
const ArchiveFile *ArchiveVersionManager::FindRange(ArchivePath &path, const PathHashes &hashes, uint32 &offset,
                                                    uint32 &size) const
{
    // That of Find, which this is but for the text.
    constexpr const char *signature = "bool Keld::MORV::Reader::ArchiveVersionManager::Find(const std::string &, "
                                      "std::string &, uint32 &, uint32 &) const";
    offset = 0;
    size = 0;
    const bool isEmpty = hashes.name == HashName("") && path.GetPath().empty();
    if (!IsTraceWanted() && !isEmpty)
    {
        return AskQuietly(path, hashes, offset, size);
    }
    const std::string &name = path.GetPath();
    LogTrace("%s: (%s)", signature, name.c_str());
    if (isEmpty)
    {
        LogError("%s: Empty name", signature);
    }
    const ArchiveFile *const holder = isEmpty ? nullptr : AskEach(name, hashes.name, offset, size);
    if (holder == nullptr)
    {
        LogTrace("%s: Failed to find file <%s>", signature, name.c_str());
    }
    return holder;
}

const ArchiveFile *ArchiveVersionManager::AskEach(const std::string &name, uint32 hash, uint32 &offset,
                                                  uint32 &size) const
{
    uint32 foundOffset = 0; // an archive that adds up to no size sets them and says no all the same
    uint32 foundSize = 0;
    for (const ArchiveFile *candidate : mArchives)
    {
        if (candidate->Search(name, hash, foundOffset, foundSize))
        {
            offset = foundOffset;
            size = foundSize;
            return candidate;
        }
    }
    return nullptr;
}

const ArchiveFile *ArchiveVersionManager::AskQuietly(ArchivePath &path, const PathHashes &hashes, uint32 &offset,
                                                     uint32 &size) const
{
    uint32 foundOffset = 0;
    uint32 foundSize = 0;
    const ArchiveFile *holder = nullptr;
    if (mSortedPaths.IsKnown())
    {
        holder = mSortedPaths.Find(path.GetPath(), hashes.name, foundOffset, foundSize);
    }
    else if (mPaths.IsKnown())
    {
        const uint32 whole = hashes.whole != 0 ? hashes.whole : HashWholePath(path.GetPath().c_str());
        holder = mPaths.Find(path, hashes.name, whole, foundOffset, foundSize);
    }
    else
    {
        const auto place = std::find_if(mArchives.begin(), mArchives.end(),
                                        [&](const ArchiveFile *candidate)
                                        {
                                            return candidate->Search(path, hashes.name, foundOffset, foundSize);
                                        });
        holder = place != mArchives.end() ? *place : nullptr;
    }
    offset = holder != nullptr ? foundOffset : 0;
    size = holder != nullptr ? foundSize : 0;
    return holder;
}

void ArchiveVersionManager::GetContents(std::vector<std::string> &paths) const
{
    for (const ArchiveFile *archive : mArchives)
    {
        archive->GetContents(paths);
    }
}
} // namespace Keld::MORV::Reader
