#include "Tools/TreeReader/Storage.h"

#include "KeldMorvIO/listing/ReleaseManifestFormat.h"

namespace Keld::TreeReader
{
using namespace MORV::Reader;

Storage StorageOf(uint32 flags)
{
    if (IsArchivedFile(flags))
    {
        return Storage::Archive;
    }
    return IsManagedFile(flags) ? Storage::Managed : Storage::Naked;
}

Compression CompressionOf(uint32 flags)
{
    switch (IsArchivedFile(flags) ? CompressionOfFlags(flags) : CompressionNone)
    {
    case CompressionZlib:
        return Compression::Zlib;
    case CompressionLzma:
        return Compression::Lzma;
    default:
        return Compression::None;
    }
}

uint32 FlagsOf(Storage storage, Compression compression)
{
    if (storage != Storage::Archive)
    {
        return storage == Storage::Managed ? FileFlagManaged : 0;
    }
    switch (compression)
    {
    case Compression::Zlib:
        return FileFlagArchived | FileFlagCompressed | FileFlagZlib;
    case Compression::Lzma:
        return FileFlagArchived | FileFlagCompressed | FileFlagLzma;
    case Compression::None:
        break;
    }
    return FileFlagArchived;
}

const char *NameOf(Storage storage)
{
    switch (storage)
    {
    case Storage::Naked:
        return "naked";
    case Storage::Managed:
        return "managed";
    case Storage::Archive:
        break;
    }
    return "archive";
}

const char *NameOf(Compression compression)
{
    switch (compression)
    {
    case Compression::Zlib:
        return "zlib";
    case Compression::Lzma:
        return "lzma";
    case Compression::None:
        break;
    }
    return "none";
}

std::optional<Storage> ParseStorage(std::string_view name)
{
    for (const Storage storage : {Storage::Naked, Storage::Managed, Storage::Archive})
    {
        if (name == NameOf(storage))
        {
            return storage;
        }
    }
    return std::nullopt;
}

std::optional<Compression> ParseCompression(std::string_view name)
{
    for (const Compression compression : {Compression::None, Compression::Zlib, Compression::Lzma})
    {
        if (name == NameOf(compression))
        {
            return compression;
        }
    }
    return std::nullopt;
}
} // namespace Keld::TreeReader
