#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"
#include "KeldFoundation/CStd/Remainder.h"
#include "KeldFoundation/sync/Mutex.h"
#include "KeldFoundation/version/MorvVersion.h"
#include "KeldMorvIO/listing/DirectoryIterator.h"
#include "KeldMorvIO/listing/DiskPaths.h"
#include "KeldMorvIO/listing/ListingBlock.h"
#include "KeldMorvIO/listing/ListingRecords.h"
#include "KeldMorvIO/listing/OpenState.h"
#include "KeldMorvIO/listing/PathProcessors.h"

#include <span>
#include <string>

namespace Keld::MORV::Reader
{
struct ListingRegions;
class LookupPath;
class ManifestTables;

/// What stays in memory of one project release: a read-only tree of directories and files, a hash table over the full
/// paths of all of them, and the open state of every file. All of it lies in one block that is allocated once.
///
/// Directories and files alike are passed as `const FileEntry *`, valid as long as their listing. Of an entry whose
/// kind is not known only the name and the parent may be looked at: `IsDirectory` tells the kind by the entry's
/// address.
///
/// The tree never changes, so that lookups, accessors, iterators and reads take no lock. `Open` and `Close` may run on
/// any thread, but a file must not be closed while another thread reads it.
class ProjectListing : public DiskPaths, public EntryPaths
{
public:
    using FileHandleHeader = Reader::FileHandleHeader;
    using FileEntry = Reader::FileEntry;
    using FileInfo = Reader::FileInfo;
    using ArchiveFile = ArchivedFileInfo;
    using DirectoryIterator = Reader::DirectoryIterator;
    using PathProcessor = Reader::PathProcessor;

    /// Closes what is still open, with a log line for each file that nobody closed.
    ~ProjectListing();

    ProjectListing(const ProjectListing &) = delete;
    ProjectListing &operator=(const ProjectListing &) = delete;

    /// The entry of a file or directory, without regard to ASCII case, or null. The empty path is the root.
    /// \param path canonical, without a leading '/': with one it is not found. May be null, which is not found.
    const FileEntry *FindEntry(const char *path) const;

    /// The same for a path that has been made ready, in the form that it was made from.
    /// \param path fits.
    const FileEntry *FindEntry(const LookupPath &path) const;

    /// \param entry not null. The root is a directory.
    static bool IsDirectory(const FileEntry *entry);

    /// The size that the manifest states, in bytes of content; 0 for a directory. The disk is not asked.
    /// \param entry not null.
    static uint32 GetFileSize(const FileEntry *entry);

    /// The listing that an entry belongs to, from the entry alone.
    /// \param entry not null.
    static ProjectListing *GetOwner(const FileEntry *entry);

    const char *GetProjectName() const;
    MorvVersion GetReleaseVersion() const;

    /// `<root>/projects/<name>`.
    const std::string &GetProjectRootText() const { return mProjectRoot; }

    /// The counts of the resident tree, for reports and tests.
    const ListingHeader &GetHeader() const { return *mHeader; }
    const FileHandleHeader &GetFileHandleHeader() const { return *mFileHandleHeader; }

    /// The hash table: all its slots, or those of one bucket.
    std::span<const HashSlot> GetSlots() const;
    std::span<const HashSlot> GetBucket(uint32 index) const;

    /// Whether an entry can be found only under the hash in its slot. Not so where the manifest has entries without a
    /// path: a root that has a name, or records that no directory holds.
    bool DoHashesDecide() const { return mHashesDecide; }

    /// Counts an opener. The first one opens a plain file, or decompresses a compressed one whole, under the listing's
    /// lock. False for null and directories, without a line, and for a file that cannot be opened: a later call tries
    /// again. Each success needs one `Close`.
    bool Open(const FileEntry *entry);

    /// The content of a compressed file that the caller has opened, or null for every other: its reads need nothing
    /// else. It stays until the caller closes the file.
    const UncompressedBlocks *GetContent(const FileEntry *entry) const;

    /// Reads `count` bytes from byte `offset` of the content on. Not limited by the file's size: an uncompressed
    /// archived file reads on into its data file.
    /// \param bytesRead out, may be null: bytes delivered. Untouched when `count` is 0, which always succeeds for a
    ///                  file.
    /// \returns false for null, directories, closed plain files, failed reads, and short reads of compressed files.
    bool Read(const FileEntry *entry, uint64 offset, uint32 count, uint32 *bytesRead, void *buffer) const;

    /// Takes an opener away; the last one closes a plain file or frees the decompressed content.
    void Close(const FileEntry *entry);

private:
    friend ProjectListing *ConstructListing(const ManifestTables &manifest, const char *root);

    explicit ProjectListing(const char *projectRoot);

    /// Takes the filled block over; `regions` are those of the block.
    void Adopt(ListingBlock block, const ListingRegions &regions);

    const FileEntry *SearchBucket(const char *path, uint32 hash) const;
    bool OpenPlainFile(const FileEntry *entry, FileType type, MorvVersion releaseVersion);
    FileInfo *GetState(const FileEntry *entry) const; ///< null for what is no file
    bool IsArchived(const FileInfo *state) const;
    bool IsManaged(const FileInfo *state) const;
    bool IsNaked(const FileInfo *state) const;

    std::string mProjectRoot;
    ListingBlock mBlock;
    mutable Mutex mMutex; ///< guards reference counts and handles of the open states
    ListingHeader *mHeader = nullptr;
    const uint32 *mDirectoryCount = nullptr;
    Remainder mBucketOf{1}; ///< by the bucket count
    HashBucket *mBuckets = nullptr;
    HashSlot *mChain = nullptr;
    DirectoryEntry *mDirectories = nullptr;
    FileEntry *mFiles = nullptr;
    FileHandleHeader *mFileHandleHeader = nullptr;
    ArchiveFile *mArchiveFiles = nullptr;
    FileInfo *mManagedFiles = nullptr;
    FileInfo *mNakedFiles = nullptr;
    const char *mTextEnd = nullptr; ///< of the strings
    bool mHashesDecide = false;
};
} // namespace Keld::MORV::Reader
