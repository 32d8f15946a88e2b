#pragma once

#include "Tools/TreeReader/DiskFileCache.h"
#include "Tools/TreeReader/ProjectArchives.h"
#include "Tools/TreeReader/ReleaseContents.h"
#include "Tools/TreeReader/TreePlaces.h"
#include "Tools/TreeWriter/PackRequest.h"

#include <optional>
#include <string>
#include <unordered_map>

namespace Keld::TreeWriter
{
/// The earlier release that a delta stands on; empty when there is none.
class BaseRelease
{
public:
    /// Throws TreeError for a base that is not there or not earlier.
    BaseRelease(const PackRequest &request, const TreeReader::TreePlaces &tree);

    bool IsEmpty() const { return mFiles.empty(); }

    const TreeReader::ReleaseContents &GetContents() const { return mContents; }

    /// The base's record of a path, or null. Case counts, since plain files lie on disk under the case that their
    /// manifest gives.
    const TreeReader::ReleaseFile *Find(const std::string &path) const;

    /// Whether a later release can refer to the file's bytes where they are. A naked file belongs to its release.
    bool CanBeKept(const TreeReader::ReleaseFile &file) const;

    /// Storage and compression that a path has in the base. What the base has not, or has empty, gets what most of the
    /// base's files have. Nothing without a base.
    std::optional<StorageChoice> InheritedChoice(const std::string &path) const;

private:
    void ChooseUsual();

    const TreeReader::TreePlaces mTree;
    const std::string mProject;
    const TreeReader::ProjectArchives mArchives;
    mutable TreeReader::DiskFileCache mDataFiles;
    TreeReader::ReleaseContents mContents;
    std::unordered_map<std::string, const TreeReader::ReleaseFile *> mFiles;
    std::optional<StorageChoice> mUsual;
};

/// What the flags of a file record say.
StorageChoice ChoiceOf(const TreeReader::ReleaseFile &file);
} // namespace Keld::TreeWriter
