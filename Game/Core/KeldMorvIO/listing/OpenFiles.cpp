#include "KeldMorvIO/ReaderLog.h"
#include "KeldMorvIO/ReaderTypes.h"
#include "KeldMorvIO/listing/PathProcessors.h"
#include "KeldMorvIO/listing/ProjectListing.h"

// Opening, reading and closing. The region that holds a file's open state decides what is done; the records themselves
// do not know what they are. One lock covers a whole first open, decompression included; reads take none.
namespace Keld::MORV::Reader
{
namespace
{
/// Managed files are looked for under their own version; the release's is not used.
constexpr MorvVersion UnusedReleaseVersion = 0xFFFFFFFF;
} // namespace

bool ProjectListing::Open(const FileEntry *entry)
{
    if (entry == nullptr || IsDirectory(entry))
    {
        return false;
    }
    const MutexLock lock(mMutex);
    FileInfo *const state = entry->mOpenState;
    if (IsArchived(state))
    {
        return static_cast<ArchiveFile *>(state)->Open(entry);
    }
    if (IsNaked(state))
    {
        return OpenPlainFile(entry, FileTypeDeploy, mHeader->mReleaseVersion);
    }
    if (IsManaged(state))
    {
        return OpenPlainFile(entry, FileTypeManaged, UnusedReleaseVersion);
    }
    return false;
}

bool ProjectListing::OpenPlainFile(const FileEntry *entry, FileType type, MorvVersion releaseVersion)
{
    FileInfo &state = *entry->mOpenState;
    if (!state.AddReference())
    {
        return true;
    }
    char path[PathBufferSize] = {};
    if (!GetFilePath(entry, path, sizeof path))
    {
        state.RemoveReference();
        return false;
    }
    state.SetFile(OpenNakedFile(type, mProjectRoot.c_str(), releaseVersion, entry->mVersion, path));
    if (state.GetFile() == AsyncFile::Null)
    {
        state.RemoveReference();
        return false;
    }
    return true;
}

bool ProjectListing::Read(const FileEntry *entry, uint64 offset, uint32 count, uint32 *bytesRead, void *buffer) const
{
    if (entry == nullptr || IsDirectory(entry))
    {
        return false;
    }
    if (count == 0)
    {
        return true;
    }
    const FileInfo *const state = entry->mOpenState;
    if (IsArchived(state))
    {
        return static_cast<const ArchiveFile *>(state)->Read(offset, count, bytesRead, buffer);
    }
    if (IsNaked(state) || IsManaged(state))
    {
        return state->Read(offset, count, bytesRead, buffer);
    }
    return false;
}

void ProjectListing::Close(const FileEntry *entry)
{
    if (entry == nullptr || IsDirectory(entry))
    {
        return;
    }
    const MutexLock lock(mMutex);
    FileInfo *const state = entry->mOpenState;
    if (IsArchived(state))
    {
        static_cast<ArchiveFile *>(state)->Close();
    }
    else if (IsNaked(state) || IsManaged(state))
    {
        state->Close();
    }
}
} // namespace Keld::MORV::Reader
