#include "Tools/TreeWriter/ReleasePacker.h"

#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeWriter/ArchiveSet.h"
#include "Tools/TreeWriter/Compression.h"
#include "Tools/TreeWriter/PackPlan.h"
#include "Tools/TreeWriter/ReleaseManifestWriter.h"
#include "Tools/TreeWriter/ReleaseStaging.h"
#include "Tools/TreeWriter/TreeNames.h"
#include "Tools/TreeWriter/WriteLock.h"

#include <algorithm>

namespace Keld::TreeWriter
{
namespace fs = std::filesystem;
using TreeReader::Compression;
using TreeReader::Storage;
using TreeReader::TreeError;
using TreeReader::TreePlaces;

namespace
{
/// Stores the planned files of one release in its staging directory.
class Storer
{
public:
    Storer(const PackRequest &request, const ReleaseStaging &staging, const SourceTree &source)
        : mRequest(request), mStaging(staging), mSource(source), mArchives(staging.Archives(), request.archiveSize)
    {
    }

    void Store(PlannedFile &planned)
    {
        if (planned.kept)
        {
            return;
        }
        switch (planned.choice.storage)
        {
        case Storage::Naked:
            StorePlain(planned, mStaging.NakedFiles());
            break;
        case Storage::Managed:
            StorePlain(planned, mStaging.ManagedFiles());
            break;
        case Storage::Archive:
            StoreArchived(planned);
            break;
        }
    }

    /// Finds a place for the empty files, which wait for an archive that holds something, and ends the archives.
    void Finish()
    {
        for (PlannedFile *planned : mEmptyFiles)
        {
            const bool added = mArchives.AddEmpty(planned->entry.path);
            planned->entry.flags = TreeReader::FlagsOf(added ? Storage::Archive : Storage::Managed, Compression::None);
            if (!added)
            {
                StorePlain(*planned, mStaging.ManagedFiles());
            }
        }
        mArchives.Finish();
    }

    uint64 GetArchiveCount() const { return mArchives.GetArchiveCount(); }
    uint64 GetStoredSize() const { return mStoredSize; }

private:
    /// Hands the content on in pieces and makes sure that it is still what the manifest will say of it.
    void CopyContent(const PlannedFile &planned, const std::function<void(std::string_view)> &sink)
    {
        const fs::path file = mSource.root / planned.entry.path;
        const ContentSummary content = ReadContent(file,
                                                   [&](std::string_view piece)
                                                   {
                                                       mRequest.checkpoint();
                                                       sink(piece);
                                                   });
        if (content != ContentSummary{planned.entry.size, planned.entry.digest})
        {
            throw TreeError(file.string() + ": changed while it was packed: pack again");
        }
    }

    void StorePlain(const PlannedFile &planned, const fs::path &directory)
    {
        FileOutput output(directory / planned.entry.path);
        CopyContent(planned,
                    [&output](std::string_view piece)
                    {
                        output.Write(piece);
                    });
        output.Close();
        mStoredSize += planned.entry.size;
    }

    void StoreArchived(PlannedFile &planned)
    {
        if (planned.entry.size == 0)
        {
            mEmptyFiles.push_back(&planned);
        }
        else if (planned.choice.compression == Compression::None || !StoreCompressed(planned))
        {
            planned.entry.flags = TreeReader::FlagsOf(Storage::Archive, Compression::None);
            ArchiveWriter &archive = mArchives.ForShared(planned.entry.size);
            archive.Begin(planned.entry.path);
            CopyContent(planned,
                        [&archive](std::string_view piece)
                        {
                            archive.Append(piece);
                        });
            mStoredSize += planned.entry.size;
        }
    }

    /// False where compression does not pay, or gives nothing that the reader accepts.
    bool StoreCompressed(const PlannedFile &planned)
    {
        std::string content;
        content.reserve(planned.entry.size);
        CopyContent(planned,
                    [&content](std::string_view piece)
                    {
                        content += piece;
                    });
        const bool alone = planned.choice.compression == Compression::Lzma;
        const std::optional<std::string> stored = alone ? CompressLzma(content) : CompressZlib(content);
        if (!stored || (stored->size() >= content.size() && !mRequest.compressAlways))
        {
            return false;
        }
        if (alone)
        {
            mArchives.AddAlone(planned.entry.path, *stored);
        }
        else
        {
            ArchiveWriter &archive = mArchives.ForShared(stored->size());
            archive.Begin(planned.entry.path);
            archive.Append(*stored);
        }
        mStoredSize += stored->size();
        return true;
    }

    const PackRequest &mRequest;
    const ReleaseStaging &mStaging;
    const SourceTree &mSource;
    ArchiveSet mArchives;
    std::vector<PlannedFile *> mEmptyFiles;
    uint64 mStoredSize = 0;
};

void Count(const PlannedFile &planned, PackReport &report)
{
    report.contentSize += planned.entry.size;
    ++report.files;
    if (planned.kept)
    {
        ++report.kept;
        return;
    }
    switch (TreeReader::StorageOf(planned.entry.flags))
    {
    case Storage::Naked:
        ++report.naked;
        return;
    case Storage::Managed:
        ++report.managed;
        return;
    case Storage::Archive:
        break;
    }
    const Compression compression = TreeReader::CompressionOf(planned.entry.flags);
    ++(compression == Compression::None ? report.stored : compression == Compression::Zlib ? report.zlib : report.lzma);
}

bool LiesInside(const fs::path &inner, const fs::path &outer)
{
    return std::mismatch(outer.begin(), outer.end(), inner.begin(), inner.end()).first == outer.end();
}

void RequireSeparate(const fs::path &root, const fs::path &source)
{
    const fs::path folder = fs::weakly_canonical(fs::absolute(source));
    if (LiesInside(root, folder) || LiesInside(folder, root))
    {
        throw TreeError("the source " + folder.string() + " and the tree " + root.string() +
                        " lie inside each other: keep them apart");
    }
}
/// Says once that it waits, and stays ready to be interrupted.
std::function<void()> WaitForOthers(const PackRequest &request)
{
    return [&request, told = false]() mutable
    {
        if (!told)
        {
            request.note("waiting for another process that writes to the project " + request.project);
            told = true;
        }
        request.checkpoint();
    };
}
} // namespace

PackReport PackRelease(const PackRequest &request)
{
    RequireUsableName("project", request.project);
    const TreePlaces tree(RequireUsableRoot(request.root));
    RequireSeparate(tree.GetRoot(), request.source);
    const WriteLock lock(tree.Project(request.project), WaitForOthers(request));
    for (const std::string &name : RemoveLeftovers(tree, request.project, request.sync))
    {
        request.note("removed " + name + ", which a pack that did not end left behind");
    }
    RequireFreeRelease(tree, request.project, request.release, request.replace);
    const SourceTree source = ScanSource(request.source);
    std::vector<PlannedFile> plan = PlanRelease(request, tree, source);

    ReleaseStaging staging(tree, request.project, request.release, {request.sync, request.publishStep});
    Storer storer(request, staging, source);
    for (PlannedFile &planned : plan)
    {
        storer.Store(planned);
    }
    storer.Finish();

    PackReport report;
    TreeReader::ReleaseContents contents;
    contents.project = request.project;
    contents.release = request.release;
    contents.directories = source.directories;
    contents.formatVersion =
        request.longRecords ? MORV::Reader::ReleaseManifestVersionV0 : MORV::Reader::ReleaseManifestVersion;
    for (PlannedFile &planned : plan)
    {
        Count(planned, report);
        contents.files.push_back(std::move(planned.entry));
    }
    const std::string manifest = BuildReleaseManifest(contents);
    staging.Publish(manifest);
    report.directories = source.directories.size();
    report.archives = storer.GetArchiveCount();
    report.storedSize = storer.GetStoredSize();
    return report;
}
} // namespace Keld::TreeWriter
