#pragma once

#include "KeldFoundation/file/LittleEndian.h"

#include <cstddef>

// The archive index "<name>.vka", byte for byte. Drawn in Docs/Formats/ArchiveIndex.md.
//
// The header says where the file list and the path list lie. The data file "<name>.vka.dat" has no structure of its
// own: it holds the bytes that the records point at.
namespace Keld::MORV::Reader
{
inline constexpr uint32 ArchiveMagic = 0x18BE0EF0; // stored as F0 0E BE 18
inline constexpr uint32 ArchiveVersion = 1;

inline constexpr const char *ArchiveIndexExtension = "vka"; // without the dot
inline constexpr const char *ArchiveDataExtension = "dat";  // behind the index's whole name

/// The path index of a record that matches every name of its hash.
inline constexpr uint32 ArchivePathOfSearchedName = 0xFFFFFFFF;

struct ArchiveHeader
{
    Little32 magic;
    Little32 version;
    Little32 reserved;       // never interpreted
    Little32 fileListOffset; // bytes from the start of the file
    Little32 pathListOffset; // bytes from the start of the file
};
static_assert(sizeof(ArchiveHeader) == 20 && alignof(ArchiveHeader) == 1);
static_assert(offsetof(ArchiveHeader, fileListOffset) == 12 && offsetof(ArchiveHeader, pathListOffset) == 16);

/// One stored file. The file list is a count, then the records, ascending by hash and then by path without case.
struct ArchiveFileEntry
{
    Little32 hash;       // HashName of the path
    Little32 dataOffset; // bytes from the start of the data file
    Little32 size;       // bytes of the stored form
    Little32 pathIndex;  // into the path list
};
static_assert(sizeof(ArchiveFileEntry) == 16 && alignof(ArchiveFileEntry) == 1);
static_assert(offsetof(ArchiveFileEntry, dataOffset) == 4 && offsetof(ArchiveFileEntry, size) == 8 &&
              offsetof(ArchiveFileEntry, pathIndex) == 12);

/// Head of the path list; `count` entries follow.
struct ArchivePathList
{
    Little32 reserved; // never read
    Little32 count;
};
static_assert(sizeof(ArchivePathList) == 8 && alignof(ArchivePathList) == 1);

struct ArchivePathEntry
{
    Little32 stringOffset; // bytes from the start of the path list, to a text that a NUL ends
    Little32 reserved;     // never read
};
static_assert(sizeof(ArchivePathEntry) == 8 && alignof(ArchivePathEntry) == 1);
} // namespace Keld::MORV::Reader
