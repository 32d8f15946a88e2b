#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"
#include "KeldFoundation/sync/Mutex.h"
#include "KeldFoundation/version/MorvVersion.h"
#include "KeldMorvIO/blocks/AsyncFile.h"
#include "KeldMorvIO/blocks/UncompressedBlocks.h"

#include <cstddef>
#include <string>
#include <type_traits>
#include <vector>

namespace Keld::MORV::Reader
{
struct DirectoryEntry;
struct HashBucket;
struct ListingHeader;
struct ListingRegions;
template <class EntryType>
class ReleaseManifestTemplate;

/// What stays in memory of one project release: a read-only tree of directories and files, a hash table over the full
/// paths of all of them, and the open state of every file. All of it lies in one block that is allocated once.
///
/// Directories and files alike are passed as `const FileEntry *`, valid as long as their listing. Of an entry whose
/// kind is not known only the name and the parent may be looked at: `IsDirectory` tells the kind by the entry's
/// address.
///
/// The tree never changes, so that lookups, accessors, iterators and reads take no lock. `Open` and `Close` may run on
/// any thread; nobody may close a file while he reads it.
class ProjectListing
{
public:
    /// The directory tree of a project that a file lies in.
    enum FileType : uint32
    {
        FileTypeArchive = 0, ///< filearchives/<file version>/<data file>
        FileTypeManaged = 1, ///< managedfiles/<file version>/<virtual path>
        FileTypeDeploy = 2   ///< releases/<release version>/deploy/<virtual path>
    };

    /// How many files lie where; stands before the open-state records.
    struct FileHandleHeader
    {
        uint32 mArchivedCount;
        uint32 mManagedCount;
        uint32 mNakedCount;
    };

    struct FileEntry;
    class FileInfo;
    class ArchiveFile;
    class DirectoryIterator;
    class PathProcessor;

    /// Closes what is still open, with a log line for each file that nobody closed.
    ~ProjectListing();

    ProjectListing(const ProjectListing &) = delete;
    ProjectListing &operator=(const ProjectListing &) = delete;

    /// The entry of a file or directory, without regard to ASCII case, or null. The empty path is the root.
    /// \param path canonical, without a leading '/': with one it is not found. May be null, which is not found.
    const FileEntry *FindEntry(const char *path) const;

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
    const HashBucket *GetBuckets() const { return mBuckets; }

    /// Counts an opener. The first one opens a plain file, or decompresses a compressed one whole, under the listing's
    /// lock. False for null and directories, without a line, and for a file that cannot be opened: a later call tries
    /// again. Each success needs one `Close`.
    bool Open(const FileEntry *entry);

    /// Reads `count` bytes from byte `offset` of the content on. Not limited by the file's size: an uncompressed
    /// archived file reads on into its data file.
    /// \param bytesRead out, may be null: bytes delivered. Untouched when `count` is 0, which always succeeds for a
    ///                  file.
    /// \returns false for null, directories, closed plain files, failed reads, and short reads of compressed files.
    bool Read(const FileEntry *entry, uint64 offset, uint32 count, uint32 *bytesRead, void *buffer) const;

    /// Takes an opener away; the last one closes a plain file or frees the decompressed content.
    void Close(const FileEntry *entry);

    /// Offers `entry` to the processor, then its ancestors without the root, until the processor refuses.
    /// \returns the last answer of the processor.
    static bool WalkToRoot(const FileEntry *entry, PathProcessor &processor);

    /// The length of an entry's virtual path, without a terminator.
    static uint32 GetPathLength(const FileEntry *entry);

    /// Writes an entry's virtual path with its terminator. False, with nothing written, for a null buffer and for a
    /// path that does not fit.
    static bool GetFilePath(const FileEntry *entry, char *buffer, uint32 size);

    /// The same as a text; empty when the path does not fit a path buffer.
    static std::string GetFilePath(const FileEntry *entry);

    /// Joins `<root>/projects/<project>`. A null or empty root gives a relative path. False, logged, if it does not
    /// fit.
    static bool GetProjectRoot(char *buffer, uint32 size, const char *root, const char *project);

    /// Makes the disk path of a file of the given type: see `FileType`. The version that the type does not use may be
    /// anything. False if it does not fit, logged, and for an unknown type.
    static bool GetNakedFile(char *buffer, uint32 size, FileType type, const char *projectRoot,
                             MorvVersion releaseVersion, MorvVersion fileVersion, const char *name);
    static bool GetNakedFile(char *buffer, uint32 size, FileType type, const char *root, const char *project,
                             MorvVersion releaseVersion, MorvVersion fileVersion, const char *name);

    /// Opens a managed or naked file. Null, logged, if that fails; null without a line for FileTypeArchive.
    static AsyncFile OpenNakedFile(FileType type, const char *projectRoot, MorvVersion releaseVersion,
                                   MorvVersion fileVersion, const char *name);
    static AsyncFile OpenNakedFile(FileType type, const char *root, const char *project, MorvVersion releaseVersion,
                                   MorvVersion fileVersion, const char *name);

private:
    template <class EntryType>
    friend class ReleaseManifestTemplate;

    explicit ProjectListing(const char *projectRoot);

    /// Takes the filled block over; `regions` are those of the block.
    void Adopt(std::vector<char> &storage, const ListingRegions &regions);

    bool OpenPlainFile(const FileEntry *entry, FileType type, MorvVersion releaseVersion);
    bool IsArchived(const FileInfo *state) const;
    bool IsManaged(const FileInfo *state) const;
    bool IsNaked(const FileInfo *state) const;

    std::string mProjectRoot;
    std::vector<char> mStorage;
    mutable Mutex mMutex; ///< guards reference counts and handles of the open states
    ListingHeader *mHeader = nullptr;
    const uint32 *mDirectoryCount = nullptr;
    HashBucket *mBuckets = nullptr;
    DirectoryEntry *mDirectories = nullptr;
    FileEntry *mFiles = nullptr;
    FileHandleHeader *mFileHandleHeader = nullptr;
    ArchiveFile *mArchiveFiles = nullptr;
    FileInfo *mManagedFiles = nullptr;
    FileInfo *mNakedFiles = nullptr;
};

/// The open state of a managed or naked file, and the first part of that of an archived one. All openers of a file
/// share one record. It has no kind field: the region of the block that holds it tells its kind.
class ProjectListing::FileInfo
{
public:
    FileInfo() = default;

    FileInfo(const FileInfo &) = delete;
    FileInfo &operator=(const FileInfo &) = delete;

    uint32 GetReferenceCount() const { return mReferenceCount; }
    AsyncFile GetFile() const { return mFile; }
    void SetFile(AsyncFile file) { mFile = file; }

    /// True when nobody had the file open.
    bool AddReference();

    /// True when this was the last reference. Without any it logs.
    bool RemoveReference();

    /// True when the read ended without an error, with however many bytes.
    bool Read(uint64 offset, uint32 count, uint32 *bytesRead, void *buffer) const;

    /// Takes a reference away, and with the last one closes the file.
    void Close();

    /// Forgets the file, which the caller has closed, and all references; logs if there were any.
    void Reset();

protected:
    uint32 mReferenceCount = 0; ///< current openers
    AsyncFile mFile = AsyncFile::Null;
};

/// The open state of an archived file. Its handle is open from the listing's construction on, and shared by all files
/// of one data file, whose records are neighbours.
class ProjectListing::ArchiveFile : public ProjectListing::FileInfo
{
public:
    ArchiveFile(AsyncFile file, uint32 offset, uint32 compression, uint32 storedSize);

    uint32 GetOffset() const { return mOffset; }
    uint32 GetCompression() const { return mCompression; }
    uint32 GetStoredSize() const { return mStoredSize; }

    /// Counts a reference; the first one decompresses a compressed file whole, or compares the sizes of another.
    bool Open(const ProjectListing::FileEntry *entry);
    bool Read(uint64 offset, uint32 count, uint32 *bytesRead, void *buffer) const;

    /// Takes a reference away, and with the last one frees the content. The file stays open.
    void Close();
    void Reset();

private:
    uint32 mOffset;      ///< bytes from the start of the data file
    uint32 mCompression; ///< a compression tag
    uint32 mStoredSize;  ///< bytes in the data file
    UncompressedBlocks mBlocks;
};

/// What directories and files begin with.
struct ListingEntry
{
    const char *mName; ///< its own name, with its case, in the listing's strings
    const DirectoryEntry *mParent;
};

/// A directory of the tree. Its children of one kind lie in a row, ascending without regard to case.
struct DirectoryEntry
{
    ListingEntry mEntry;                      ///< the parent is null for the root alone
    const DirectoryEntry *mFirstSubdirectory; ///< null when there are none
    uint32 mSubdirectoryCount;
    const ProjectListing::FileEntry *mFirstFile; ///< null when no file was kept
    uint32 mFileCount;                           ///< of the files that were kept
};

/// A file of the tree.
struct ProjectListing::FileEntry
{
    ListingEntry mEntry;
    uint8 mDigest[16]; ///< as in the manifest
    MorvVersion mVersion;
    uint32 mSize;                         ///< bytes of content, as in the manifest
    ProjectListing::FileInfo *mOpenState; ///< a FileInfo or an ArchiveFile, by its address
};

// Either kind is passed as a `const FileEntry *`, and read through its first member until the kind is known.
static_assert(std::is_standard_layout_v<DirectoryEntry> && offsetof(DirectoryEntry, mEntry) == 0);
static_assert(std::is_standard_layout_v<ProjectListing::FileEntry> && offsetof(ProjectListing::FileEntry, mEntry) == 0);
static_assert(alignof(DirectoryEntry) == alignof(ProjectListing::FileEntry));

/// Name and parent of an entry of either kind.
inline const ListingEntry &GetListingEntry(const ProjectListing::FileEntry *entry)
{
    return *reinterpret_cast<const ListingEntry *>(entry);
}

/// A directory as every interface passes it.
inline const ProjectListing::FileEntry *AsFileEntry(const DirectoryEntry *directory)
{
    return reinterpret_cast<const ProjectListing::FileEntry *>(directory);
}

/// An entry that is known to be a directory.
inline const DirectoryEntry *AsDirectoryEntry(const ProjectListing::FileEntry *entry)
{
    return reinterpret_cast<const DirectoryEntry *>(entry);
}

/// Walks one directory's children: subdirectories first, then files, both ascending without regard to case. A plain
/// value, private to its user; stepping takes no lock.
class ProjectListing::DirectoryIterator
{
public:
    /// Stands on the first child. Empty for null and for a file.
    explicit DirectoryIterator(const FileEntry *directory);

    bool IsValid() const;
    bool IsDirectory() const;

    /// The current child, or its name; null when not valid.
    const FileEntry *GetEntry() const;
    const char *GetName() const;

    /// Steps, and tells whether the iterator is still valid. An invalid one stays as it is.
    bool Next();

private:
    const DirectoryEntry *mDirectory;
    uint32 mPosition;
};
static_assert(std::is_trivially_copyable_v<ProjectListing::DirectoryIterator>);

/// Head of a listing's block.
struct ListingHeader
{
    const char *mProjectName; ///< in the listing's strings
    MorvVersion mReleaseVersion;
    uint32 mDirectoryCount;
    uint32 mFileCount; ///< of the files that were kept
    uint32 mBucketCount;
};

/// The chain slots of all paths with one hash, modulo the bucket count.
struct HashBucket
{
    const ProjectListing::FileEntry *const *mFirst; ///< null when there are none
    uint32 mCount;
};
} // namespace Keld::MORV::Reader
