#pragma once

#include "KeldFoundation/CStd/LargeVector.h"
#include "KeldFoundation/file/ByteView.h"
#include "KeldMorvIO/ReaderTypes.h"
#include "KeldMorvIO/archive/ArchiveFormat.h"
#include "KeldMorvIO/archive/ArchivePath.h"
#include "KeldMorvIO/archive/HashIndex.h"

#include <string>
#include <vector>

namespace Keld::MORV::Reader
{
/// One archive index, held whole in memory and searched in place. It tells whether a name is in the archive and where
/// in the data file its stored form lies; it never opens the data file.
///
/// Read once, by one thread; afterwards the object does not change, and any number of threads may search it.
class ArchiveFile
{
public:
    /// \param filename      of the index, without directory
    /// \param rootDirectory that holds the index; empty means the working directory
    /// \param value         printed in the entry trace and kept nowhere
    ArchiveFile(const std::string &filename, const std::string &rootDirectory, unsigned char value);

    /// An index without a place on disk, for Adopt. Not traced.
    ArchiveFile() = default;

    ArchiveFile(const ArchiveFile &) = delete;
    ArchiveFile &operator=(const ArchiveFile &) = delete;

    /// Loads and checks the index. After a refusal the object finds nothing.
    /// \param invalid out, may be null: becomes true only when the file was read but is no archive of this format, and
    ///                is left as it was in all other cases.
    bool Read(bool *invalid);
    bool Read(const std::string &directory, bool *invalid);

    /// Takes over and checks the bytes of an index, without a word in the log. On false they are no archive of this
    /// format, and the object finds nothing.
    bool Adopt(LargeVector<char> &image);

    bool SetRootDirectory(const std::string &directory); ///< always true

    /// Whether the name, without regard to case, is in the archive.
    bool Find(const std::string &name) const;

    /// The byte range of the name's stored form in the data file. False, with both outputs as they were, for a name
    /// that is not here; false, with the outputs set, in an archive whose sizes add up to 0; false, with the outputs
    /// 0, for an empty name.
    bool Search(const std::string &name, uint32 &offset, uint32 &size) const;

    /// The same for a name whose HashName is known.
    bool Search(const std::string &name, uint32 hash, uint32 &offset, uint32 &size) const;

    /// The same without a trace, and the text is looked at only where a record has the hash. The path is not empty.
    bool Search(ArchivePath &path, uint32 hash, uint32 &offset, uint32 &size) const;

    /// Appends the path of every record, in the order of the records: by hash, not by name. Leaves out records without
    /// a path, and paths of PathBufferSize bytes and more, which no lookup can ask for.
    void GetContents(std::vector<std::string> &paths) const;

    /// The first record of this hash and name, or -1. `hash` must be the name's HashName. `name` may be null.
    int32 FindEntryIndex(uint32 hash, const char *name) const;

    uint32 GetTotalSize() const { return mTotalSize; } ///< bytes of all records together, modulo 2^32
    uint32 GetEntryCount() const;

    /// Unchecked: `index` must be below the count.
    const ArchiveFileEntry *GetEntry(uint32 index) const { return mEntries + index; }

    /// Where a record stands: bytes from the start of the index file. Only after a successful read.
    uint64 GetEntryOffset(uint32 index) const
    {
        return uint64{mHeader->fileListOffset} + sizeof *mFileList + uint64{index} * sizeof(ArchiveFileEntry);
    }

    /// The path of a record, or null for a record without one. `index` must be below the count.
    const char *GetEntryPath(uint32 index) const;

    /// Whether the record is of this name, without regard to case. `index` must be below the count.
    bool HasPath(uint32 index, const char *name) const;

    /// The range of a record, as `Search` gives it. `index` must be below the count.
    bool GetRange(uint32 index, uint32 &offset, uint32 &size) const;

    /// Has the processor fetch what `GetEntryPath` will look at soon. `index` must be below the count.
    void FetchPathEntry(uint32 index) const;

    uint32 GetPathCount() const; ///< of the path list

    /// A path of the path list. Unchecked: `index` must be below the count.
    const char *GetPath(uint32 index) const
    {
        const auto *const paths = reinterpret_cast<const ArchivePathEntry *>(mPathList + 1);
        return reinterpret_cast<const char *>(mPathList) + paths[index].stringOffset;
    }

    uint_size GetImageSize() const { return mBuffer.size(); } ///< bytes of the index file

    const std::string &GetFilename() const { return mFilename; }

    /// The name of the data file beside the index, without directory.
    std::string GetDataFilename() const { return mFilename + "." + ArchiveDataExtension; }

private:
    bool IndexBuffer();
    bool SetViews();
    void ClearViews();
    ByteView GetPathListView() const;
    int32 FindInRange(const HashIndex::Range &range, uint32 hash, const char *name) const;
    uint32 FindNotBefore(const HashIndex::Range &range, uint32 hash, const char *name) const;
    int CompareEntry(const ArchiveFileEntry &entry, uint32 hash, const char *name) const;

    LargeVector<char> mBuffer; ///< the whole index file

    // Views into mBuffer. All are null until a read has succeeded; from then on everything that they reach, path texts
    // with their NUL included, is known to lie inside the buffer.
    const ArchiveHeader *mHeader = nullptr;
    const Little32 *mHeaderField = nullptr; ///< the third header word, never interpreted
    const Little32 *mFileList = nullptr;    ///< the count of the records
    const ArchiveFileEntry *mEntries = nullptr;
    const ArchivePathList *mPathList = nullptr;
    HashIndex mHashIndex; ///< of mEntries

    std::string mFilename;
    std::string mRootDirectory;
    uint32 mTotalSize = 0; ///< bytes, wrapping; a second read adds to it
    bool mReadAttempted = false;
};
} // namespace Keld::MORV::Reader
