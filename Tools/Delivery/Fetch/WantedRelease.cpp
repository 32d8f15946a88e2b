#include "Tools/Delivery/Fetch/WantedRelease.h"

#include "Tools/TreeReader/ManifestTree.h"

#include "KeldMorvIO/TreeWords.h"
#include "KeldMorvIO/listing/ReleaseManifestFormat.h"

namespace Keld::Delivery
{
using TreeReader::EntryIndex;
using TreeReader::ManifestTree;

namespace
{
constexpr uint_size WantedFilesKeptOpen = 64;

[[noreturn]] void RefuseManifest(const std::string &text)
{
    throw SourceError(SourceTrouble::Untrue, text);
}

std::unique_ptr<const ManifestTree> ParseWanted(LargeVector<char> image, const TreeReader::ReleaseName &name,
                                                const std::string &where)
{
    const bool isPage = !image.empty() && image.front() == '<';
    auto tree = ManifestTree::Parse(image, where);
    if (!tree)
    {
        RefuseManifest(tree.GetFault().GetMessage() + (isPage ? "; the source gives a web page in its place" : ""));
    }
    const TreeReader::ReleaseName found{false, (*tree)->GetProjectName(), (*tree)->GetReleaseVersion()};
    if (found != name)
    {
        RefuseManifest(where + ": is the manifest of " + found.GetText() + ", not of " + name.GetText());
    }
    return std::move(*tree);
}

std::string JoinNames(const std::string &left, const char *middle, const std::string &right)
{
    return left + "/" + middle + "/" + right;
}
} // namespace

WantedRelease::WantedRelease(const std::string &root, TreeReader::ReleaseName name, LargeVector<char> manifest,
                             const std::string &where)
    : mRoot(root), mName(std::move(name)), mManifest(std::move(manifest)), mTree(ParseWanted(mManifest, mName, where)),
      mArchives(JoinNames(root, MORV::Reader::ProjectsDirectory, mName.name)),
      mFiles(std::in_place, WantedFilesKeptOpen)
{
    const std::string projectRoot = JoinNames(root, MORV::Reader::ProjectsDirectory, mName.name);
    mRelease = std::make_unique<TreeReader::Release>(
        JoinNames(projectRoot, MORV::Reader::ReleasesDirectory, FormatVersion(mName.version)), mTree,
        TreeReader::Release::Shared{projectRoot, &mArchives, &*mFiles});
}

void WantedRelease::MakeKnown(TreeReader::Tree &tree) const
{
    tree.KnowManifest(mName.name, mName.version, mManifest, mTree);
}

void WantedRelease::CloseFiles() const
{
    mFiles.emplace(WantedFilesKeptOpen);
}

std::string WantedRelease::GetProjectPath() const
{
    return std::string(MORV::Reader::ProjectsDirectory) + "/" + mName.name;
}

std::string WantedRelease::GetManifestPath() const
{
    return JoinNames(GetProjectPath(), MORV::Reader::ReleasesDirectory, FormatVersion(mName.version)) + "/" +
           MORV::Reader::ReleaseManifestName;
}

ManifestState WantedRelease::GetManifestState() const
{
    return CompareWithDisk(mRoot + "/" + GetManifestPath(), mManifest,
                           [](LargeVector<char> &image)
                           {
                               return static_cast<bool>(ManifestTree::Parse(image, ""));
                           });
}

std::string WantedRelease::GetPlainPath(EntryIndex file) const
{
    const ManifestTree &tree = mRelease->GetTree();
    const auto &fields = tree.GetFields(file);
    if (TreeReader::StorageOf(fields.flags) == TreeReader::Storage::Managed)
    {
        return JoinNames(GetProjectPath(), MORV::Reader::ManagedFilesDirectory, FormatVersion(fields.version)) + "/" +
               tree.GetPath(file);
    }
    return JoinNames(JoinNames(GetProjectPath(), MORV::Reader::ReleasesDirectory, FormatVersion(mName.version)),
                     MORV::Reader::DeployDirectory, tree.GetPath(file));
}

std::string WantedRelease::GetArchivesPath(MorvVersion version) const
{
    return JoinNames(GetProjectPath(), MORV::Reader::FileArchivesDirectory, FormatVersion(version));
}
} // namespace Keld::Delivery
