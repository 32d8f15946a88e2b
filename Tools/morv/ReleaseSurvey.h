#pragma once

#include "Tools/TreeReader/Tree.h"
#include "Tools/TreeReader/View.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Keld::Morv
{
/// A number of files with the bytes of their contents.
struct FilesAndBytes
{
    uint64 files = 0;
    uint64 bytes = 0;
};

/// A release of a project, as its manifest alone tells it.
struct SurveyedRelease
{
    std::string project; ///< the directory under "projects"
    MorvVersion version = 0;
    TreeReader::Failure failure; ///< nothing below counts then
    uint64 directories = 0;      ///< the root included
    FilesAndBytes all;
    std::map<MorvVersion, FilesAndBytes> bases; ///< the files that lie where an earlier release has put them
    std::string manifestName;                   ///< "client 1.0.0.0" when the manifest is that of another release
};

/// A release of a solution.
struct SurveyedSolution
{
    TreeReader::ReleaseName name;
    TreeReader::Failure failure; ///< there is no view then
    std::optional<TreeReader::View> view;
};

/// What a deployment tree holds, sorted by name and version. It must not outlive the tree.
struct ReleaseSurvey
{
    std::vector<std::string> projects;
    std::vector<SurveyedRelease> releases;
    std::vector<SurveyedSolution> solutions;
};

/// Reads every manifest of a tree. Throws TreeError when a directory of it cannot be read.
ReleaseSurvey SurveyReleases(TreeReader::Tree &tree, unsigned threadCount);
} // namespace Keld::Morv
