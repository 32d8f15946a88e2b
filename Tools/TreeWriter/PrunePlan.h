#pragma once

#include "Tools/TreeReader/TreeSet.h"

#include "KeldFoundation/CStd/BasicTypes.h"

#include <string>
#include <vector>

namespace Keld::TreeWriter
{
/// What nothing needs any more, given the releases and solutions to keep.
struct PrunePlan
{
    struct File
    {
        std::string path; ///< below the tree's root
        uint64 size = 0;  ///< bytes
    };

    struct Removal
    {
        TreeReader::ReleaseName name;
        File manifest; ///< goes before any data: without it nobody sees the release
    };

    std::string root;
    std::vector<TreeReader::ReleaseName> kept; ///< with the releases of kept solutions
    std::vector<Removal> releases;             ///< solutions first, then releases of projects
    std::vector<File> archives;                ///< indexes, each in front of its data file
    std::vector<File> managed;
    std::vector<File> rest;             ///< naked files and whatever else lies in the directories of such releases
    std::vector<std::string> leftovers; ///< directories: of packs that were killed, or are at work, and what was
                                        ///< on its way into the tree, of fetches and the like that are at an end
    std::vector<std::string> directories = {}; ///< of versions that nobody keeps; those that hold nothing then go
    std::vector<std::string> projects = {};    ///< that are pruned, and so have to be locked
    std::vector<std::string> solutions = {};
    std::vector<std::string> notes = {}; ///< what is left alone, and why; one sentence each

    bool IsEmpty() const;
    uint64 GetSize() const; ///< bytes of all files
    uint64 GetFileCount() const;
};

struct PruneRequest
{
    std::string root;
    std::vector<TreeReader::ReleaseName> keep;
    bool everything = false; ///< also projects and solutions of which nothing is kept
    unsigned threadCount = 1;
};

/// Finds out, and changes nothing. Projects and solutions of which nothing is kept are left alone unless the request
/// says otherwise. Throws TreeError when that cannot be told for certain: a release to be kept or one of its archive
/// indexes cannot be read, or a solution that nobody gives up would lose a release.
PrunePlan PlanPrune(const PruneRequest &request);
} // namespace Keld::TreeWriter
