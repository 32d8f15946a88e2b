#include "Tools/Delivery/Fetch/HeldFiles.h"

#include "Tools/Common/ParallelWork.h"
#include "Tools/TreeReader/DirectoryVisit.h"
#include "Tools/TreeReader/TreeError.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <set>

namespace Keld::Delivery
{
using MORV::Reader::FileTableFields;
using TreeReader::EntryIndex;
using TreeReader::ManifestTree;
using TreeReader::Release;
using TreeReader::Storage;

namespace
{
constexpr uint32 FilesInARun = 256;      // that a thread takes before it asks for more
constexpr std::size_t MostReleases = 16; // that are kept open to vouch for files, and to copy from

bool HasDigest(const FileTableFields &fields)
{
    constexpr unsigned char unknown[sizeof fields.digest] = {};
    return std::memcmp(fields.digest, unknown, sizeof unknown) != 0;
}

bool HaveSameContent(const FileTableFields &left, const FileTableFields &right)
{
    return left.size == right.size && HasDigest(left) &&
           std::memcmp(left.digest, right.digest, sizeof left.digest) == 0;
}

std::string DigestKey(const FileTableFields &fields)
{
    return {reinterpret_cast<const char *>(fields.digest), sizeof fields.digest};
}

/// The newest releases of a project that can be opened, but for one version.
std::vector<std::shared_ptr<const Release>> OpenOthers(TreeReader::Tree &tree, const TreeReader::ReleaseName &wanted)
{
    std::vector<std::shared_ptr<const Release>> releases;
    TreeReader::Tree::Doubts unseen; // those that can be looked at have something to give all the same
    const auto versions = tree.ListReleases(wanted.name, &unseen);
    if (!versions)
    {
        return releases;
    }
    for (auto version = versions->rbegin(); version != versions->rend() && releases.size() < MostReleases; ++version)
    {
        if (*version == wanted.version)
        {
            continue;
        }
        if (auto release = tree.OpenRelease(wanted.name, *version); release && (*release)->GetProject() == wanted.name)
        {
            releases.push_back(*release);
        }
    }
    return releases;
}

bool ListsAnyOf(const ManifestTree &tree, const std::set<MorvVersion> &versions)
{
    for (uint32 number = 0; number < tree.GetFileCount(); ++number)
    {
        if (versions.contains(tree.GetTables().GetFile(number).version))
        {
            return true;
        }
    }
    return false;
}
} // namespace

/// How many bytes the data files of archives have. For one thread; those of one archive are mostly asked for in a row.
class HeldFiles::DataSizes
{
public:
    explicit DataSizes(TreeReader::DiskFileCache &files) : mFiles(files) {}

    uint64 Get(const TreeReader::Archive &archive)
    {
        if (mArchive != &archive)
        {
            const auto data = mFiles.Open(archive.GetDataPath());
            if (!data)
            {
                RequireNoDoubt(data.GetFault());
            }
            mArchive = &archive;
            mSize = data ? (*data)->GetSize() : 0;
        }
        return mSize;
    }

private:
    TreeReader::DiskFileCache &mFiles;
    const TreeReader::Archive *mArchive = nullptr;
    uint64 mSize = 0;
};

HeldFiles::HeldFiles(TreeReader::Tree &tree, const WantedRelease &wanted, CompareOptions options)
    : mTree(tree), mWanted(wanted), mOptions(std::move(options)),
      mIsHere(wanted.GetManifestState() == ManifestState::Same), mReleases(OpenOthers(tree, wanted.GetName()))
{
}

std::vector<LackingFile> HeldFiles::FindLacking()
{
    Comparison comparison = CompareAll();
    const std::vector<std::string> wrong =
        ProveContents(mWanted.GetRelease(), comparison.contents, comparison.doubtful.size(),
                      {mOptions.threadCount, mOptions.advance, mOptions.checkpoint});
    std::vector<LackingFile> &lacking = comparison.lacking;
    const auto middle = static_cast<std::ptrdiff_t>(lacking.size());
    for (std::size_t index = 0; index < wrong.size(); ++index)
    {
        if (!wrong[index].empty())
        {
            lacking.push_back(comparison.doubtful[index]);
        }
    }
    // Both are in the order of the manifest by themselves.
    std::inplace_merge(lacking.begin(), lacking.begin() + middle, lacking.end(),
                       [](const LackingFile &left, const LackingFile &right)
                       {
                           return left.file < right.file;
                       });
    return std::move(lacking);
}

HeldFiles::Comparison HeldFiles::CompareAll() const
{
    const Release &release = mWanted.GetRelease();
    const ManifestTree &tree = release.GetTree();
    release.SettleAll(mOptions.threadCount);
    const uint32 runs = (tree.GetFileCount() + FilesInARun - 1) / FilesInARun;
    std::vector<Comparison> compared(runs);
    Common::ForEachInParallel(mOptions.threadCount, runs,
                              [&](std::size_t run)
                              {
                                  mOptions.checkpoint();
                                  DataSizes sizes(release.GetFiles());
                                  const auto first = static_cast<uint32>(run) * FilesInARun;
                                  const uint32 end = std::min(first + FilesInARun, tree.GetFileCount());
                                  for (uint32 number = first; number < end; ++number)
                                  {
                                      const EntryIndex file = tree.GetFileEntry(number);
                                      if (tree.IsHeld(file))
                                      {
                                          Compare(file, sizes, compared[run]);
                                      }
                                  }
                              });
    Comparison all;
    for (Comparison &run : compared)
    {
        for (ContentToProve &content : run.contents)
        {
            content.owner += all.doubtful.size();
        }
        std::move(run.lacking.begin(), run.lacking.end(), std::back_inserter(all.lacking));
        std::move(run.doubtful.begin(), run.doubtful.end(), std::back_inserter(all.doubtful));
        std::move(run.contents.begin(), run.contents.end(), std::back_inserter(all.contents));
    }
    return all;
}

void HeldFiles::Compare(EntryIndex file, DataSizes &sizes, Comparison &comparison) const
{
    const Release &release = mWanted.GetRelease();
    if (!release.IsPresent(file))
    {
        comparison.lacking.push_back({file, FindWithoutData(file)});
        return;
    }
    const auto stored = release.Locate(file);
    if (!stored)
    {
        comparison.lacking.push_back({file, FindWithoutData(file)});
    }
    else if (stored->storage == Storage::Archive
                 ? stored->storedSize != 0 && stored->offset + stored->storedSize > sizes.Get(*stored->archive)
                 : stored->storedSize != release.GetTree().GetFields(file).size)
    {
        comparison.lacking.push_back({file, stored->archive});
    }
    else if (mOptions.decode && (mIsHere || !IsVouchedFor(file)))
    {
        comparison.contents.push_back({file, *stored, comparison.doubtful.size()});
        comparison.doubtful.push_back({file, stored->archive});
    }
}

/// The archive that readers ask first for a file, where they leave the file out because its data cannot be opened. Null
/// for a file that no archive here has.
const TreeReader::Archive *HeldFiles::FindWithoutData(EntryIndex file) const
{
    const Release &release = mWanted.GetRelease();
    const FileTableFields &fields = release.GetTree().GetFields(file);
    if (TreeReader::StorageOf(fields.flags) != Storage::Archive)
    {
        return nullptr;
    }
    const TreeReader::VersionArchives &archives = release.GetArchives(fields.version);
    if (archives.GetArchives().empty())
    {
        return nullptr;
    }
    const TreeReader::Archive *archive = archives.Find(release.GetTree().GetPath(file).c_str()).archive;
    if (archive == nullptr)
    {
        return nullptr;
    }
    const TreeReader::Failure &failure = archive->CheckData(release.GetFiles());
    if (failure)
    {
        RequireNoDoubt(*failure);
    }
    return failure ? archive : nullptr;
}

bool HeldFiles::IsVouchedFor(EntryIndex file) const
{
    const ManifestTree &tree = mWanted.GetRelease().GetTree();
    const FileTableFields &fields = tree.GetFields(file);
    if (TreeReader::StorageOf(fields.flags) == Storage::Naked)
    {
        return false;
    }
    const std::string path = tree.GetPath(file);
    return std::any_of(mReleases.begin(), mReleases.end(),
                       [&](const auto &release)
                       {
                           const std::vector<EntryIndex> listed = release->FindListed(path);
                           return std::any_of(listed.begin(), listed.end(),
                                              [&](EntryIndex entry)
                                              {
                                                  const ManifestTree &other = release->GetTree();
                                                  return !other.IsDirectory(entry) &&
                                                         other.GetFields(entry).version == fields.version &&
                                                         other.GetFields(entry).flags == fields.flags &&
                                                         HaveSameContent(other.GetFields(entry), fields);
                                              });
                       });
}

void HeldFiles::ForEachOther(const std::function<void(const Release &)> &look) const
{
    const TreeReader::ReleaseName &wanted = mWanted.GetName();
    const auto versions = mTree.ListReleases(wanted.name);
    if (!versions)
    {
        RequireNoDoubt(versions.GetFault());
        return;
    }
    for (const MorvVersion version : *versions)
    {
        if (version == wanted.version)
        {
            continue;
        }
        mOptions.checkpoint();
        const std::string directory = mTree.GetReleaseDirectory(wanted.name, version);
        const auto open = std::find_if(mReleases.begin(), mReleases.end(),
                                       [&directory](const auto &release)
                                       {
                                           return release->GetDirectory() == directory;
                                       });
        if (open != mReleases.end())
        {
            look(**open);
            continue;
        }
        TreeReader::Tree alone(mTree.GetRoot()); // which keeps nothing of it behind this turn
        const auto release = alone.OpenRelease(wanted.name, version);
        if (!release)
        {
            RequireNoDoubt(release.GetFault());
        }
        else if ((*release)->GetProject() == wanted.name)
        {
            look(**release);
        }
    }
}

void HeldFiles::RequireNoConflict(const std::vector<LackingFile> &lacking) const
{
    const ManifestTree &tree = mWanted.GetRelease().GetTree();
    std::vector<EntryIndex> shared;
    std::set<MorvVersion> versions;
    for (const LackingFile &one : lacking)
    {
        const FileTableFields &fields = tree.GetFields(one.file);
        if (TreeReader::StorageOf(fields.flags) != Storage::Naked && HasDigest(fields))
        {
            shared.push_back(one.file);
            versions.insert(fields.version);
        }
    }
    if (shared.empty())
    {
        return;
    }
    ForEachOther(
        [&](const Release &other)
        {
            if (!ListsAnyOf(other.GetTree(), versions))
            {
                return;
            }
            for (const EntryIndex file : shared)
            {
                RequireNoConflict(file, other);
            }
        });
}

void HeldFiles::RequireNoConflict(EntryIndex file, const Release &release) const
{
    const ManifestTree &tree = mWanted.GetRelease().GetTree();
    const FileTableFields &fields = tree.GetFields(file);
    const std::string path = tree.GetPath(file);
    const ManifestTree &other = release.GetTree();
    for (const EntryIndex entry : release.FindListed(path))
    {
        const bool isOther =
            !other.IsDirectory(entry) && other.GetFields(entry).version == fields.version &&
            HasDigest(other.GetFields(entry)) &&
            TreeReader::StorageOf(other.GetFields(entry).flags) == TreeReader::StorageOf(fields.flags) &&
            !HaveSameContent(other.GetFields(entry), fields);
        if (isOther)
        {
            throw TreeReader::TreeError("the file " + path + " of version " + FormatVersion(fields.version) + " of " +
                                        mWanted.GetName().name + " is another here, by release " +
                                        FormatVersion(release.GetVersion()) +
                                        ", than at the source: one of the two was packed anew under the same "
                                        "version, and both cannot be in one tree");
        }
    }
}

void HeldFiles::IndexContents()
{
    if (mIsIndexed)
    {
        return;
    }
    mIsIndexed = true;
    for (uint32 place = 0; place < mReleases.size(); ++place)
    {
        const ManifestTree &tree = mReleases[place]->GetTree();
        for (uint32 number = 0; number < tree.GetFileCount(); ++number)
        {
            const EntryIndex file = tree.GetFileEntry(number);
            if (HasDigest(tree.GetFields(file)))
            {
                mByDigest.emplace(DigestKey(tree.GetFields(file)), std::pair(place, file));
            }
        }
    }
}

std::optional<SameContent> HeldFiles::FindContent(EntryIndex file)
{
    IndexContents();
    const FileTableFields &fields = mWanted.GetRelease().GetTree().GetFields(file);
    const auto [begin, end] = mByDigest.equal_range(DigestKey(fields));
    for (auto candidate = begin; candidate != end; ++candidate)
    {
        const auto &[place, entry] = candidate->second;
        const std::shared_ptr<const Release> &release = mReleases[place];
        if (HaveSameContent(release->GetTree().GetFields(entry), fields) && release->IsPresent(entry))
        {
            return SameContent{release, entry};
        }
    }
    return std::nullopt;
}
} // namespace Keld::Delivery
