#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"
#include "KeldFoundation/file/IFileProvider.h"

namespace Keld::File
{
inline constexpr uint32 FileProviderCapacity = 4;

/// Providers in the order in which they are asked. They are borrowed. Without a lock: a host adds its providers before
/// the first enumeration.
struct FileProviderList
{
    IFileProvider *mProviders[FileProviderCapacity] = {};
    uint32 mCount = 0;
};

/// The providers of this process.
extern FileProviderList gFileProviders;

/// Adds a provider unless it is there already. A fifth one is dropped without a word. There is no removal.
void AddFileProvider(IFileProvider *provider);
void AddFileProvider(FileProviderList &list, IFileProvider *provider);

/// The provider of the real file system, made at the first call and destroyed at process exit. The first call after
/// that throws std::logic_error; the one after it makes a new provider.
IFileProvider *GetDefaultProvider();
} // namespace Keld::File
