#include "KeldFoundation/file/FileProviderList.h"

#include "KeldFoundation/file/SparseFileProvider.h"

#include <cstdlib>
#include <stdexcept>

namespace Keld::File
{
constinit FileProviderList gFileProviders;

namespace
{
constinit IFileProvider *gDefaultProvider = nullptr;
constinit bool gDefaultProviderDestroyed = false;

void DestroyDefaultProvider()
{
    delete gDefaultProvider;
    gDefaultProvider = nullptr;
    gDefaultProviderDestroyed = true;
}
} // namespace

void AddFileProvider(IFileProvider *provider)
{
    AddFileProvider(gFileProviders, provider);
}

void AddFileProvider(FileProviderList &list, IFileProvider *provider)
{
    for (IFileProvider *&place : list.mProviders)
    {
        if (place == provider)
        {
            return;
        }
        if (place == nullptr)
        {
            place = provider;
            ++list.mCount;
            return;
        }
    }
}

IFileProvider *GetDefaultProvider()
{
    if (gDefaultProvider != nullptr)
    {
        return gDefaultProvider;
    }
    if (gDefaultProviderDestroyed)
    {
        gDefaultProviderDestroyed = false;
        throw std::logic_error("Dead Reference Detected");
    }
    gDefaultProvider = new SparseFileProvider;
    std::atexit(DestroyDefaultProvider);
    return gDefaultProvider;
}
} // namespace Keld::File
