#pragma once

#include "KeldMorvIO/blocks/AsyncFile.h"
#include "KeldMorvIO/blocks/UncompressedBlocks.h"
#include "KeldMorvIO/listing/ListingRecords.h"

#include <memory>

namespace Keld::MORV::Reader
{
/// The open state of a managed or naked file, and the first part of that of an archived one. All openers of a file
/// share one record. It has no kind field: the region of the block that holds it tells its kind.
class FileInfo
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

/// The open state of an archived file: ProjectListing::ArchiveFile, beside the archive index of that name. Its handle
/// is open from the listing's construction on, and shared by all files of one data file, whose records are neighbours.
class ArchivedFileInfo : public FileInfo
{
public:
    ArchivedFileInfo(AsyncFile file, uint32 offset, uint32 compression, uint32 storedSize);

    uint32 GetOffset() const { return mOffset; }
    uint32 GetCompression() const { return mCompression; }
    uint32 GetStoredSize() const { return mStoredSize; }

    /// Counts a reference; the first one decompresses a compressed file whole, or compares the sizes of another.
    bool Open(const FileEntry *entry);
    bool Read(uint64 offset, uint32 count, uint32 *bytesRead, void *buffer) const;

    /// The content of a compressed file that is open, or null. It stays until the last reference is taken away.
    const UncompressedBlocks *GetContent() const { return mBlocks.get(); }

    /// Takes a reference away, and with the last one frees the content. The file stays open.
    void Close();
    void Reset();

private:
    uint32 mOffset;      ///< bytes from the start of the data file
    uint32 mCompression; ///< a compression tag
    uint32 mStoredSize;  ///< bytes in the data file

    /// The content of a compressed file that is open. Files are many and few of them are open, so that an object in
    /// each record would cost more than one allocation at an open that decompresses a file anyway.
    std::unique_ptr<UncompressedBlocks> mBlocks;
};

static_assert(sizeof(FileInfo) == 8 && sizeof(ArchivedFileInfo) == 32);
} // namespace Keld::MORV::Reader
