#pragma once

#include "KeldFoundation/file/LittleEndian.h"
#include "KeldMorvIO/blocks/CompressedFormat.h"

#include <cstddef>

// The file "releasemanifest", byte for byte. Drawn in Docs/Formats/ReleaseManifest.md.
//
// A head, then the directory table, then the file table behind a word that counts it, then the strings behind two
// words that count and measure them. A string's index is its ordinal in the string data.
namespace Keld::MORV::Reader
{
inline constexpr uint32 ReleaseManifestMagic = 0x464D5651;       // stored as "QVMF"
inline constexpr uint32 ReleaseManifestVersionV0 = 0x10001;      // with FileTableEntryV0, the longer record
inline constexpr uint32 ReleaseManifestVersion = 0x10002;        // with FileTableEntry
inline constexpr uint32 ReleaseManifestSmallestSize = 32;        // bytes: no directories, no files, no string data
inline constexpr uint32 ReleaseManifestStringLimit = 0x40000000; // a string count from here on is an error

inline constexpr uint32 FileFlagManaged = 0x01;
inline constexpr uint32 FileFlagArchived = 0x02; // takes precedence over FileFlagManaged
inline constexpr uint32 FileFlagZlib = 0x04;     // with FileFlagCompressed; wins over FileFlagLzma
inline constexpr uint32 FileFlagCompressed = 0x10;
inline constexpr uint32 FileFlagLzma = 0x20; // with FileFlagCompressed

/// Whether a file's bytes lie in an archive of the file's version.
constexpr bool IsArchivedFile(uint32 flags)
{
    return (flags & FileFlagArchived) != 0;
}

/// Whether a file lies under "managedfiles". One that is neither archived nor managed is naked, and lies in the
/// release's "deploy" directory.
constexpr bool IsManagedFile(uint32 flags)
{
    return !IsArchivedFile(flags) && (flags & FileFlagManaged) != 0;
}

/// The compression tag of an archived file's bytes. ZLIB wins over LZMA, and FileFlagCompressed alone means no
/// compression. On a file that is not archived these flags mean nothing.
constexpr uint32 CompressionOfFlags(uint32 flags)
{
    if ((flags & FileFlagCompressed) == 0)
    {
        return CompressionNone;
    }
    if ((flags & FileFlagZlib) != 0)
    {
        return CompressionZlib;
    }
    return (flags & FileFlagLzma) != 0 ? CompressionLzma : CompressionNone;
}

/// The release that a manifest describes.
struct ReleaseIdentity
{
    Little32 projectNameIndex; // index into the strings
    Little32 releaseVersion;   // a MorvVersion
};
static_assert(sizeof(ReleaseIdentity) == 8 && alignof(ReleaseIdentity) == 1);

struct ReleaseManifestHeader
{
    Little32 magic;
    Little32 version;
    ReleaseIdentity identity;
    Little32 directoryCount; // the root included; its records follow at once
};
static_assert(sizeof(ReleaseManifestHeader) == 20 && alignof(ReleaseManifestHeader) == 1);
static_assert(offsetof(ReleaseManifestHeader, identity) == 8 && offsetof(ReleaseManifestHeader, directoryCount) == 16);

struct DirectoryTableEntry
{
    Little32 nameIndex; // one path component, without separators
    Little32 firstSubdirectory;
    Little32 subdirectoryCount; // child directories occupy consecutive records
    Little32 firstFile;
    Little32 fileCount; // so do the files of a directory
};
static_assert(sizeof(DirectoryTableEntry) == 20 && alignof(DirectoryTableEntry) == 1);
static_assert(offsetof(DirectoryTableEntry, firstSubdirectory) == 4 &&
              offsetof(DirectoryTableEntry, subdirectoryCount) == 8 && offsetof(DirectoryTableEntry, firstFile) == 12 &&
              offsetof(DirectoryTableEntry, fileCount) == 16);

/// What both versions of a file record begin with, and all that a reader looks at.
struct FileTableFields
{
    Little32 nameIndex;       // one path component
    Little32 version;         // MorvVersion: the directory under "filearchives" or "managedfiles" that holds the bytes
    unsigned char digest[16]; // opaque, copied and never interpreted
    Little32 flags;           // FileFlag... bits
    Little32 size;            // bytes of the content, uncompressed
};
static_assert(sizeof(FileTableFields) == 32 && alignof(FileTableFields) == 1);
static_assert(offsetof(FileTableFields, version) == 4 && offsetof(FileTableFields, digest) == 8 &&
              offsetof(FileTableFields, flags) == 24 && offsetof(FileTableFields, size) == 28);

struct FileTableEntry : FileTableFields
{
    unsigned char trailing[4]; // never read, travels with the record
};
static_assert(sizeof(FileTableEntry) == 36 && alignof(FileTableEntry) == 1);

struct FileTableEntryV0 : FileTableFields
{
    unsigned char trailing[12]; // never read, travels with the record
};
static_assert(sizeof(FileTableEntryV0) == 44 && alignof(FileTableEntryV0) == 1);

/// Stands between the file table and the string data: strings, each ended by one NUL, back to back.
struct StringTableHeader
{
    Little32 stringCount; // a reservation: the strings found define the indices
    Little32 dataSize;    // bytes
};
static_assert(sizeof(StringTableHeader) == 8 && alignof(StringTableHeader) == 1);
} // namespace Keld::MORV::Reader
