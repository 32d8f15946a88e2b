#pragma once

#include "Tools/TreeReader/TreePlaces.h"

#include <filesystem>
#include <string>
#include <string_view>

namespace Keld::TreeWriter
{
/// A directory beside the project's releases in which one is prepared, so that nothing of it can be seen before all of
/// it is there. What is left in it at the end is removed; a process that is killed outright leaves a "packing-..."
/// directory behind, which nobody reads.
class ReleaseStaging
{
public:
    ReleaseStaging(TreeReader::TreePlaces tree, std::string project, MorvVersion release);
    ~ReleaseStaging();

    ReleaseStaging(const ReleaseStaging &) = delete;
    ReleaseStaging &operator=(const ReleaseStaging &) = delete;

    std::filesystem::path NakedFiles() const;
    std::filesystem::path ManagedFiles() const;
    std::filesystem::path Archives() const;

    /// Moves everything to its place, the manifest last. A release that is already there loses its manifest first and
    /// its files then, so that at no moment a manifest stands beside files of the other release.
    void Publish(std::string_view manifest);

private:
    void MoveIntoPlace(const std::filesystem::path &from, const std::filesystem::path &to);

    TreeReader::TreePlaces mTree;
    std::string mProject;
    MorvVersion mRelease;
    std::filesystem::path mDirectory;
};

/// Refuses, by TreeError, to make a release where one is, or where files of that version lie. With `replace` it refuses
/// only when another release is served from the files that would go.
void RequireFreeRelease(const TreeReader::TreePlaces &tree, const std::string &project, MorvVersion release,
                        bool replace);
} // namespace Keld::TreeWriter
