#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <optional>
#include <string_view>

namespace Keld::TreeReader
{
/// Where the bytes of a file lie.
enum class Storage
{
    Naked,   ///< in the release's "deploy" directory
    Managed, ///< under "managedfiles", by the version that brought it
    Archive  ///< in an archive of the version that brought it
};

/// How the bytes of an archived file are stored.
enum class Compression
{
    None,
    Zlib,
    Lzma
};

/// What the flags of a manifest's file record say. Compression bits count for archived files alone.
Storage StorageOf(uint32 flags);
Compression CompressionOf(uint32 flags);
uint32 FlagsOf(Storage storage, Compression compression);

/// The words of the command line: "naked", "managed", "archive"; "none", "zlib", "lzma".
const char *NameOf(Storage storage);
const char *NameOf(Compression compression);
std::optional<Storage> ParseStorage(std::string_view name);
std::optional<Compression> ParseCompression(std::string_view name);
} // namespace Keld::TreeReader
