#pragma once

#include "Tools/Delivery/Sources/Source.h"
#include "Tools/TreeReader/DirectoryVisit.h"
#include "Tools/TreeReader/DiskFile.h"
#include "Tools/TreeReader/DiskFileCache.h"
#include "Tools/TreeReader/ProjectArchives.h"
#include "Tools/TreeReader/Release.h"
#include "Tools/TreeReader/TreeSet.h"

#include "KeldFoundation/CStd/LargeVector.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Keld::Delivery
{
/// What stands in a tree where a manifest is to go.
enum class ManifestState
{
    Absent,
    Damaged, ///< something that no reader takes for a manifest
    Same,
    Other
};

/// A project release that is to come to a tree: its manifest as the source has it, and with that what the tree would
/// serve of it already.
class WantedRelease
{
public:
    /// Refuses, by SourceError, a manifest that is none, or one of another release.
    /// \param root     of the tree here, which need not exist
    /// \param manifest the bytes of the file
    /// \param where    what to call it in messages
    WantedRelease(const std::string &root, TreeReader::ReleaseName name, LargeVector<char> manifest,
                  const std::string &where);

    const TreeReader::ReleaseName &GetName() const { return mName; }

    /// The release over the wanted manifest and the files of the tree here.
    const TreeReader::Release &GetRelease() const { return *mRelease; }

    /// Closes what is kept open: for whoever puts other files in their places. While nobody reads.
    void CloseFiles() const;

    /// Below the root.
    std::string GetProjectPath() const;
    std::string GetManifestPath() const;

    const LargeVector<char> &GetManifest() const { return mManifest; }

    /// Spares a tree, which must not outlive this, the parsing of the manifest.
    void MakeKnown(TreeReader::Tree &tree) const;

    ManifestState GetManifestState() const;

    /// Below the root: where a plain file belongs by the manifest, or the directory of an archived file's version.
    std::string GetPlainPath(TreeReader::EntryIndex file) const;
    std::string GetArchivesPath(MorvVersion version) const;

private:
    const std::string mRoot;
    const TreeReader::ReleaseName mName;
    const LargeVector<char> mManifest;
    const std::shared_ptr<const TreeReader::ManifestTree> mTree;
    TreeReader::ProjectArchives mArchives;
    mutable std::optional<TreeReader::DiskFileCache> mFiles; ///< never without; where it lies mRelease looks for it
    std::unique_ptr<const TreeReader::Release> mRelease;
};

/// What a file on disk is to the bytes that are to take its place. Throws TreeError for one that cannot be read for
/// now: it may be good.
/// \param isUsable whether a reader could use the other bytes that stand there
template <class IsUsable>
ManifestState CompareWithDisk(const std::string &path, const LargeVector<char> &wanted, const IsUsable &isUsable)
{
    auto image = TreeReader::ReadFileImage(path, uint64{1} << 31);
    if (!image)
    {
        RequireNoDoubt(image.GetFault());
        return image.GetFault().kind == TreeReader::FaultKind::NotThere ? ManifestState::Absent
                                                                        : ManifestState::Damaged;
    }
    if (*image == wanted)
    {
        return ManifestState::Same;
    }
    return isUsable(*image) ? ManifestState::Other : ManifestState::Damaged;
}
} // namespace Keld::Delivery
