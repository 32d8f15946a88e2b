#include "Tools/TreeReader/ReleaseParts.h"

#include "Tools/Common/ParallelWork.h"
#include "Tools/TreeReader/DiskFile.h"
#include "Tools/TreeReader/TreeText.h"

#include "KeldFoundation/CStd/Hash.h"
#include "KeldMorvIO/TreeWords.h"
#include "KeldMorvIO/listing/ReleaseManifestFormat.h"

#include <algorithm>
#include <cerrno>
#include <optional>
#include <set>

#include <sys/stat.h>

namespace Keld::TreeReader
{
namespace
{
constexpr uint32 FilesAtOnce = 4096; // that a thread takes before it asks for more

/// What one run of files needs.
struct Gathered
{
    std::vector<ReleasePart> plain;
    std::set<const Archive *> archives;
    std::vector<std::string> outside;
    std::vector<Fault> doubts;
};

class PartGatherer
{
public:
    PartGatherer(const View &view, const std::string &root, unsigned threadCount)
        : mView(view), mPrefix(root + "/"), mThreadCount(threadCount)
    {
    }

    ReleaseParts Gather()
    {
        for (uint32 layer = 0; layer < mView.GetLayers().size(); ++layer)
        {
            const Release &release = mView.GetRelease(layer);
            AddFile(PartKind::ReleaseManifest, layer, release.GetDirectory() + "/" + MORV::Reader::ReleaseManifestName);
            GatherLayer(layer);
        }
        if (mView.GetName().isSolution)
        {
            AddSolution();
        }
        std::sort(mParts.parts.begin(), mParts.parts.end(),
                  [](const ReleasePart &left, const ReleasePart &right)
                  {
                      return left.kind != right.kind ? left.kind < right.kind : left.path < right.path;
                  });
        const auto isSame = [](const ReleasePart &left, const ReleasePart &right)
        {
            return left.path == right.path;
        };
        mParts.parts.erase(std::unique(mParts.parts.begin(), mParts.parts.end(), isSame), mParts.parts.end());
        return std::move(mParts);
    }

private:
    void GatherLayer(uint32 layer)
    {
        const uint32 fileCount = mView.GetRelease(layer).GetTree().GetFileCount();
        const uint32 runs = (fileCount + FilesAtOnce - 1) / FilesAtOnce;
        std::vector<Gathered> gathered(runs);
        Common::ForEachInParallel(mThreadCount, runs,
                                  [&](uint_size run)
                                  {
                                      const auto first = static_cast<uint32>(run) * FilesAtOnce;
                                      GatherRun(layer, first, std::min(first + FilesAtOnce, fileCount), gathered[run]);
                                  });
        std::set<const Archive *> archives;
        for (Gathered &run : gathered)
        {
            std::move(run.plain.begin(), run.plain.end(), std::back_inserter(mParts.parts));
            mParts.outside.insert(mParts.outside.end(), run.outside.begin(), run.outside.end());
            mParts.doubts.insert(mParts.doubts.end(), run.doubts.begin(), run.doubts.end());
            archives.insert(run.archives.begin(), run.archives.end());
        }
        for (const Archive *archive : archives)
        {
            AddFile(PartKind::ArchiveIndex, layer, archive->GetIndexPath(), archive);
            AddFile(PartKind::ArchiveData, layer, archive->GetDataPath(), archive);
        }
    }

    void GatherRun(uint32 layer, uint32 first, uint32 end, Gathered &gathered) const
    {
        const Release &release = mView.GetRelease(layer);
        const ManifestTree &tree = release.GetTree();
        std::string path;
        for (uint32 number = first; number < end; ++number)
        {
            const EntryIndex file = tree.GetFileEntry(number);
            const auto &fields = tree.GetFields(file);
            if (MORV::Reader::IsArchivedFile(fields.flags))
            {
                path.clear();
                tree.AppendPath(file, path);
                AddArchivesOf(release.GetArchives(fields.version), path, gathered.archives);
            }
            else
            {
                AddPlain(release, layer, file, gathered);
            }
        }
    }

    static void AddArchivesOf(const VersionArchives &archives, const std::string &path,
                              std::set<const Archive *> &needed)
    {
        const uint32 hash = HashName(path.c_str());
        for (const std::unique_ptr<const Archive> &archive : archives.GetArchives())
        {
            if (!path.empty() && archive->GetIndex().FindEntryIndex(hash, path.c_str()) >= 0)
            {
                needed.insert(archive.get());
            }
        }
    }

    void AddPlain(const Release &release, uint32 layer, EntryIndex file, Gathered &gathered) const
    {
        const Result<StoredFile> stored = release.Locate(file);
        if (!stored)
        {
            if (IsDoubt(stored.GetFault().kind))
            {
                gathered.doubts.push_back(stored.GetFault());
            }
            return;
        }
        const std::optional<std::string> path = BelowRoot(stored->path);
        if (!path)
        {
            gathered.outside.push_back(release.GetTree().GetPath(file));
            return;
        }
        const PartKind kind = stored->storage == Storage::Managed ? PartKind::ManagedFile : PartKind::NakedFile;
        gathered.plain.push_back({*path, kind, stored->storedSize, layer, file, nullptr});
    }

    /// The one path below the root that a file on disk has, however a manifest leads there. Nothing for one outside.
    std::optional<std::string> BelowRoot(const std::string &path) const
    {
        if (!path.starts_with(mPrefix))
        {
            return std::nullopt;
        }
        const std::string below = ShortenPath(path.substr(mPrefix.size()));
        const bool isOutside = below == ".." || below.starts_with("../") || below.starts_with('/');
        return isOutside ? std::nullopt : std::optional<std::string>(below);
    }

    /// A file that is not there is no part.
    void AddFile(PartKind kind, uint32 layer, const std::string &path, const Archive *archive = nullptr)
    {
        const std::optional<std::string> below = BelowRoot(path);
        struct stat status = {};
        if (!below)
        {
            mParts.outside.push_back(path);
            return;
        }
        if (stat(path.c_str(), &status) != 0)
        {
            const Fault fault = ExplainSystemError(path, errno);
            if (IsDoubt(fault.kind))
            {
                mParts.doubts.push_back(fault);
            }
        }
        else if (S_ISREG(status.st_mode))
        {
            mParts.parts.push_back({*below, kind, static_cast<uint64>(status.st_size), layer, NoEntry, archive});
        }
    }

    void AddSolution()
    {
        const std::string directory = mPrefix + MORV::Reader::SolutionsDirectory + "/" + mView.GetName().name + "/" +
                                      MORV::Reader::ReleasesDirectory + "/" + FormatVersion(mView.GetName().version) +
                                      "/";
        AddFile(PartKind::ConfigurationManifest, 0, directory + MORV::Reader::ConfigurationManifestName);
        AddFile(PartKind::SolutionManifest, 0, directory + MORV::Reader::SolutionManifestName);
    }

    const View &mView;
    const std::string mPrefix;
    const unsigned mThreadCount;
    ReleaseParts mParts;
};
} // namespace

const char *NameOf(PartKind kind)
{
    switch (kind)
    {
    case PartKind::ArchiveData:
        return "archive-data";
    case PartKind::ArchiveIndex:
        return "archive-index";
    case PartKind::ManagedFile:
        return "managed";
    case PartKind::NakedFile:
        return "naked";
    case PartKind::ReleaseManifest:
        return "release-manifest";
    case PartKind::ConfigurationManifest:
        return "configuration-manifest";
    case PartKind::SolutionManifest:
        break;
    }
    return "solution-manifest";
}

uint64 SizeOf(const std::vector<ReleasePart> &parts)
{
    uint64 size = 0;
    for (const ReleasePart &part : parts)
    {
        size += part.size;
    }
    return size;
}

ReleaseParts GatherParts(const View &view, const std::string &root, unsigned threadCount)
{
    return PartGatherer(view, root, threadCount).Gather();
}
} // namespace Keld::TreeReader
