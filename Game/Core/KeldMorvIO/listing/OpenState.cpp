#include "KeldMorvIO/listing/OpenState.h"

#include "KeldMorvIO/ReaderLog.h"
#include "KeldMorvIO/ReaderTypes.h"
#include "KeldMorvIO/blocks/AsyncRequest.h"
#include "KeldMorvIO/listing/PathProcessors.h"

#include <new>

// `Open` and `Close` run under the listing's lock, which guards count and handle.
namespace Keld::MORV::Reader
{
namespace
{
constexpr const char *ClosedTooOften = "%s: Attempting to close a file multiple times!";
constexpr uint32 ArchiveBlockSize = 0x40000;
} // namespace

bool FileInfo::AddReference()
{
    ++mReferenceCount;
    return mReferenceCount == 1;
}

bool FileInfo::RemoveReference()
{
    constexpr const char *signature = "bool Keld::MORV::Reader::ProjectListing::FileInfo::RemoveReference()";
    if (mReferenceCount == 0)
    {
        LogError(ClosedTooOften, signature);
        return false;
    }
    --mReferenceCount;
    return mReferenceCount == 0;
}

bool FileInfo::Read(uint64 offset, uint32 count, uint32 *bytesRead, void *buffer) const
{
    constexpr const char *signature =
        "bool Keld::MORV::Reader::ProjectListing::FileInfo::Read(uint64, uint32, uint32 *, void *) const";
    if (mFile == AsyncFile::Null)
    {
        LogError("%s: A null file handle was passed to Read.", signature);
        return false;
    }
    return AsyncRead(mFile, offset, count, bytesRead, buffer);
}

void FileInfo::Close()
{
    constexpr const char *signature = "void Keld::MORV::Reader::ProjectListing::FileInfo::Close()";
    if (mFile == AsyncFile::Null)
    {
        LogError("%s: A null file handle was passed to Close.", signature);
        return;
    }
    if (mReferenceCount == 0)
    {
        LogError(ClosedTooOften, signature);
        return;
    }
    --mReferenceCount;
    if (mReferenceCount == 0)
    {
        AsyncClose(mFile);
        mFile = AsyncFile::Null;
    }
}

void FileInfo::Reset()
{
    constexpr const char *signature = "void Keld::MORV::Reader::ProjectListing::FileInfo::Reset()";
    mFile = AsyncFile::Null;
    if (mReferenceCount != 0)
    {
        LogError("%s: The file was not closed before shutdown.", signature);
    }
    mReferenceCount = 0;
}

ArchivedFileInfo::ArchivedFileInfo(AsyncFile file, uint32 offset, uint32 compression, uint32 storedSize)
    : mOffset(offset), mCompression(compression), mStoredSize(storedSize)
{
    mFile = file;
}

bool ArchivedFileInfo::Open(const FileEntry *entry)
{
    constexpr const char *signature =
        "bool Keld::MORV::Reader::ProjectListing::ArchiveFile::Open(const ProjectListing::FileEntry *)";
    if (!AddReference())
    {
        return true;
    }
    if (mCompression != CompressionNone)
    {
        // With LZMA this closes the shared data file. Its number stays in all records, and taken, until the listing
        // goes.
        mBlocks.reset(new (std::nothrow) UncompressedBlocks(ArchiveBlockSize));
        if (mBlocks == nullptr || !mBlocks->Decompress(mCompression, mFile, mOffset, mStoredSize, entry->mSize))
        {
            mBlocks.reset();
            RemoveReference();
            return false;
        }
        return true;
    }
    if (entry->mSize != mStoredSize)
    {
        char path[PathBufferSize] = {};
        EntryPaths::GetFilePath(entry, path, sizeof path);
        LogError("%s: Mismatch between manifest size and archive size for: %s", signature, path);
        RemoveReference();
        return false;
    }
    return true;
}

bool ArchivedFileInfo::Read(uint64 offset, uint32 count, uint32 *bytesRead, void *buffer) const
{
    constexpr const char *signature =
        "bool Keld::MORV::Reader::ProjectListing::ArchiveFile::Read(uint64, uint32, uint32 *, void *) const";
    if (mFile == AsyncFile::Null)
    {
        LogError("%s: A null file handle was passed to Read.", signature);
        return false;
    }
    if (mCompression == CompressionNone)
    {
        return AsyncRead(mFile, mOffset + offset, count, bytesRead, buffer);
    }
    if (mBlocks != nullptr)
    {
        return mBlocks->ReadWhole(offset, count, bytesRead, buffer);
    }
    if (bytesRead != nullptr)
    {
        *bytesRead = 0;
    }
    return count == 0;
}

void ArchivedFileInfo::Close()
{
    constexpr const char *signature = "void Keld::MORV::Reader::ProjectListing::ArchiveFile::Close()";
    if (mReferenceCount == 0)
    {
        LogError(ClosedTooOften, signature);
        return;
    }
    --mReferenceCount;
    if (mReferenceCount == 0)
    {
        mBlocks.reset();
    }
}

void ArchivedFileInfo::Reset()
{
    FileInfo::Reset();
    mBlocks.reset();
}
} // namespace Keld::MORV::Reader
