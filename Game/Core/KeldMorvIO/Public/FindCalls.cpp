#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/path/Path.h"
#include "KeldMorvIO/Public/Handles.h"
#include "KeldMorvIO/Public/KeldMorvIO.h"
#include "KeldMorvIO/Public/MorvExportsMain.h"
#include "KeldMorvIO/ReaderTypes.h"
#include "KeldMorvIO/environment/RuntimeEnvironment.h"

namespace Reader = Keld::MORV::Reader;

using Reader::MultiListingIterator;
using Reader::ProjectListing;

namespace
{
// Splits a canonical path at its last separator: `path` keeps the directory, and the pattern is given back. Without a
// separator all of it is the pattern, and the directory is the root.
std::string SplitPattern(char (&path)[Keld::PathBufferSize])
{
    char *const separator = const_cast<char *>(Keld::std_strrchr(path, '/'));
    char *const directoryEnd = separator != nullptr ? separator : path;
    std::string pattern(separator != nullptr ? separator + 1 : path);
    *directoryEnd = '\0';
    return pattern;
}

void SkipUnmatched(FindHandle &handle)
{
    if (handle.mPattern == "*")
    {
        return; // fits any name
    }
    MultiListingIterator &iterator = *handle.mIterator;
    while (iterator.IsValid() && !handle.mMatches.Matches(iterator.GetCurrent().GetName(), handle.mPattern))
    {
        iterator.Next();
    }
}
} // namespace

FindHandle *MorvFindFirstFile(const char *path)
{
    if (path == nullptr)
    {
        return nullptr;
    }
    const Reader::RuntimeEnvironment *const environment = Reader::GetRuntimeEnvironment();
    if (environment == nullptr)
    {
        return nullptr;
    }
    std::unique_ptr<FindHandle> handle = std::make_unique<FindHandle>();
    char directory[Keld::PathBufferSize];
    if (!Keld::CanonicalizePathBounded(path, directory, sizeof directory, 1))
    {
        return nullptr;
    }
    std::string pattern = SplitPattern(directory);
    handle->mIterator = environment->CreateDirectoryIterator(directory);
    handle->mPattern.swap(pattern);
    return handle->mIterator != nullptr ? handle.release() : nullptr;
}

HRESULT MorvFindNextFile(FindHandle *handle, uint32_t *isDirectory, uint64_t *size, uint32_t nameCapacity, char *name)
{
    if (handle == nullptr)
    {
        return E_HANDLE;
    }
    if (handle->mIterator == nullptr)
    {
        return E_FAIL;
    }
    SkipUnmatched(*handle);
    MultiListingIterator &iterator = *handle->mIterator;
    if (!iterator.IsValid())
    {
        return E_FAIL;
    }

    const ProjectListing::DirectoryIterator &current = iterator.GetCurrent();
    if (isDirectory != nullptr)
    {
        *isDirectory = current.IsDirectory() ? 1 : 0;
    }
    if (size != nullptr)
    {
        *size = current.IsDirectory() ? 0 : current.GetEntry()->mSize;
    }
    if (name != nullptr)
    {
        Keld::std_strncpy(name, nameCapacity, current.GetName(), Keld::TRUNCATE);
    }
    iterator.Next();
    return S_OK;
}

void MorvFindClose(FindHandle *handle)
{
    delete handle;
}
