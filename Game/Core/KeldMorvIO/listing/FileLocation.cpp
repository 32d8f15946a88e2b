#include "KeldMorvIO/listing/FileLocation.h"

#include "KeldMorvIO/listing/ArchivedFileResolver.h"
#include "KeldMorvIO/listing/FoundOrder.h"
#include "KeldMorvIO/listing/ManifestFileIterator.h"
#include "KeldMorvIO/listing/PlainFileFinder.h"

namespace Keld::MORV::Reader
{
namespace
{
constexpr const char *LocationSignature =
    "void Keld::MORV::Reader::ReleaseManifestTemplate<EntryType>::GetFileArchiveMetadata(const char *, const char *, "
    "std::vector<FileArchiveMetadata> &, std::vector<uint32> &, std::vector<uint32> &, "
    "ProjectListing::FileHandleHeader &) const";

uint32 &CountOf(FileHandleHeader &header, uint32 flags)
{
    if (IsArchivedFile(flags))
    {
        return header.mArchivedCount;
    }
    return IsManagedFile(flags) ? header.mManagedCount : header.mNakedCount;
}

// Both ways to find a file, for one walk.
class Locator
{
public:
    Locator(const ManifestTables &manifest, const char *root, const char *projectRoot)
        : mManifest(manifest),
          mArchives(root, projectRoot, manifest.GetProjectName(), manifest.GetReleaseVersion(), LocationSignature),
          mPlainFiles(projectRoot, manifest.GetReleaseVersion(), LocationSignature)
    {
    }

    void Locate(LargeVector<FileArchiveMetadata> &metadata, std::vector<uint32> &missing, LargeVector<uint32> &parents,
                FileHandleHeader &header)
    {
        metadata.assign(mManifest.GetFileCount(), FileArchiveMetadata{});
        missing.clear();
        header = {};
        for (ManifestFileIterator entry(mManifest, parents); entry.IsValid(); entry.Next())
        {
            if (entry.GetFile() == nullptr)
            {
                continue;
            }
            const FileTableFields &file = *entry.GetFile();
            const uint32 index = entry.GetFileIndex();
            metadata[index] = {AsyncFile::Null, index, file.flags, 0, 0};
            if (Find(entry, metadata[index]))
            {
                ++CountOf(header, file.flags);
            }
            else
            {
                missing.push_back(index);
            }
        }
    }

private:
    bool Find(ManifestFileIterator &entry, FileArchiveMetadata &record)
    {
        const FileTableFields &file = *entry.GetFile();
        if (!IsArchivedFile(file.flags))
        {
            return mPlainFiles.Find(file, entry.GetPath());
        }
        mPlainFiles.Release(); // archives may be opened now, and have always had the numbers next in turn
        if (!entry.HasPathHash() && mArchives.WantsWholeHashes(file.version))
        {
            mArchives.FetchAhead(entry.MakeWholePathHashes());
        }
        const uint32 nameHash = entry.GetPathHash();
        return mArchives.Resolve(entry, {nameHash, entry.GetWholePathHash()}, file.version, record);
    }

    const ManifestTables &mManifest;
    ArchivedFileResolver mArchives;
    PlainFileFinder mPlainFiles;
};
} // namespace

void LocateFiles(const ManifestTables &manifest, const char *root, const char *projectRoot,
                 LargeVector<FileArchiveMetadata> &metadata, std::vector<uint32> &missing, LargeVector<uint32> &parents,
                 FileHandleHeader &header)
{
    {
        Locator locator(manifest, root, projectRoot);
        locator.Locate(metadata, missing, parents, header);
    } // the indexes of all archives go here
    OrderFound(metadata, missing);
}
} // namespace Keld::MORV::Reader
