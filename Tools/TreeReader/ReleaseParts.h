#pragma once

#include "Tools/TreeReader/View.h"

#include <string>
#include <vector>

namespace Keld::TreeReader
{
/// What a file of a tree is for, in the order in which somebody who copies a release does well to bring them: whoever
/// has a manifest counts on the rest.
enum class PartKind
{
    ArchiveData,
    ArchiveIndex,
    ManagedFile,
    NakedFile,
    ReleaseManifest,
    ConfigurationManifest,
    SolutionManifest
};

/// "archive-data", "archive-index", "managed", "naked", "release-manifest", ...
const char *NameOf(PartKind kind);

/// A file on disk that a release is served from.
struct ReleasePart
{
    std::string path; ///< below the tree's root, without a '/' in front
    PartKind kind = PartKind::NakedFile;
    uint64 size = 0; ///< bytes on disk
    uint32 layer = 0;
    EntryIndex entry = NoEntry;       ///< of a managed or naked file
    const Archive *archive = nullptr; ///< of both files of an archive; lives as long as the view
};

uint64 SizeOf(const std::vector<ReleasePart> &parts);

/// All files on disk that a release is served from, each once, by kind and then by path. Files that are missing are
/// left out: a Census tells of them.
struct ReleaseParts
{
    std::vector<ReleasePart> parts;
    std::vector<std::string> outside; ///< paths of hostile manifests, or on disk, that lead out of the tree; no parts
    std::vector<Fault> doubts;        ///< files that may be parts: the system did not tell whether they are there
};

/// Looks at each of the release's plain files and at the archives' indexes. Where several archives of a version hold a
/// path, all of them are parts: which one the library asks first depends on the disk.
/// \param root of the view's tree.
ReleaseParts GatherParts(const View &view, const std::string &root, unsigned threadCount);
} // namespace Keld::TreeReader
