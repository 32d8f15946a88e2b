#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"
#include "KeldMorvIO/blocks/AsyncFile.h"

namespace Keld::MORV::Reader
{
/// Where the bytes of one file of a manifest lie; made while a listing is built and gone when it stands.
struct FileArchiveMetadata
{
    AsyncFile file;   ///< the archive's data file, shared by all records of it; null for managed and naked files
    uint32 fileIndex; ///< into the manifest's file table, or MissingFileMark
    uint32 flags;     ///< the file record's FileFlag... bits, or MissingFileMark
    uint32 offset;    ///< bytes from the start of the data file
    uint32 size;      ///< bytes of the stored form in the archive
};

/// Marks the record of a file that was not found, in `fileIndex` and `flags`. Test the index: no file has this one, but
/// a file may have these flags.
inline constexpr uint32 MissingFileMark = 0xFFFFFFFF;
} // namespace Keld::MORV::Reader
