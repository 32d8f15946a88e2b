#include "KeldMorvIO/Public/Handles.h"
#include "KeldMorvIO/Public/KeldMorvIO.h"
#include "KeldMorvIO/Public/MorvExportsMain.h"
#include "KeldMorvIO/ReaderTypes.h"
#include "KeldMorvIO/environment/RuntimeEnvironment.h"

#include <utility>

namespace Reader = Keld::MORV::Reader;

using Reader::ProjectListing;

namespace
{
// Where a consumer's path is found; nulls if nowhere. A path that is not worth a lookup does not start the library.
// Nothing here allocates.
std::pair<ProjectListing *, const ProjectListing::FileEntry *> FindPath(const char *path)
{
    if (path == nullptr || *path == '\0')
    {
        return {nullptr, nullptr};
    }
    const Reader::RuntimeEnvironment *const environment = Reader::GetRuntimeEnvironment();
    if (environment == nullptr)
    {
        return {nullptr, nullptr};
    }
    const Reader::LookupPath lookup(path, Reader::LookupPath::Form::Consumer);
    if (!lookup.Fits())
    {
        return {nullptr, nullptr};
    }
    return environment->FindEntry(lookup);
}

// Takes an open back unless it is kept: making the handle may throw.
class OpenGuard
{
public:
    OpenGuard(ProjectListing *listing, const ProjectListing::FileEntry *entry) : mListing(listing), mEntry(entry) {}

    ~OpenGuard()
    {
        if (mListing != nullptr)
        {
            mListing->Close(mEntry);
        }
    }

    OpenGuard(const OpenGuard &) = delete;
    OpenGuard &operator=(const OpenGuard &) = delete;

    void Keep() { mListing = nullptr; }

private:
    ProjectListing *mListing;
    const ProjectListing::FileEntry *mEntry;
};
} // namespace

uint32_t MorvFileExists(const char *path)
{
    return FindPath(path).second != nullptr ? 1 : 0;
}

OpenFileHandle *MorvOpenFile(const char *path)
{
    const auto [listing, entry] = FindPath(path);
    if (entry == nullptr || !listing->Open(entry))
    {
        return nullptr;
    }
    OpenGuard guard(listing, entry);
    OpenFileHandle *const handle = new OpenFileHandle{listing, entry, listing->GetContent(entry)};
    guard.Keep();
    return handle;
}

void MorvCloseFile(OpenFileHandle *handle)
{
    if (handle == nullptr)
    {
        return;
    }
    handle->mListing->Close(handle->mEntry);
    delete handle;
}

int64_t MorvGetFileSize(OpenFileHandle *handle)
{
    return handle != nullptr ? static_cast<int64_t>(ProjectListing::GetFileSize(handle->mEntry)) : -1;
}

HRESULT MorvRead(OpenFileHandle *handle, uint64_t offset, uint32_t size, uint32_t *bytesRead, void *buffer)
{
    if (handle == nullptr)
    {
        return E_HANDLE;
    }
    if (size == 0)
    {
        return S_OK;
    }
    if (handle->mContent != nullptr)
    {
        return handle->mContent->ReadWhole(offset, size, bytesRead, buffer) ? S_OK : E_FAIL;
    }
    return handle->mListing->Read(handle->mEntry, offset, size, bytesRead, buffer) ? S_OK : E_FAIL;
}
