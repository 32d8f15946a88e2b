#pragma once

#include "Tools/TreeReader/TreePlaces.h"
#include "Tools/TreeWriter/ReleasePublisher.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace Keld::TreeWriter
{
/// A directory beside the project's releases in which one is prepared, so that nothing of it can be seen before all of
/// it is there. For the holder of the project's lock alone. What is left in it at the end is removed; a process that is
/// killed outright leaves a "packing-..." directory behind, which nobody reads and the next one removes.
class ReleaseStaging
{
public:
    ReleaseStaging(const TreeReader::TreePlaces &tree, const std::string &project, MorvVersion release,
                   ReleasePublisher::Options options);
    ~ReleaseStaging();

    ReleaseStaging(const ReleaseStaging &) = delete;
    ReleaseStaging &operator=(const ReleaseStaging &) = delete;

    std::filesystem::path NakedFiles() const;
    std::filesystem::path ManagedFiles() const;
    std::filesystem::path Archives() const;

    /// A directory for what is only needed on the way. Not there until somebody makes it.
    std::filesystem::path Spool() const { return mDirectory / "spool"; }
    void RemoveSpool() const;

    /// Makes the release visible, in place of one that is there. After a failure everything is as it was.
    void Publish(std::string_view manifest);

private:
    std::filesystem::path mDirectory;
    ReleasePublisher mPublisher;
};

/// The names of the staging directories in a project: of processes that were killed, and of one that is at work.
std::vector<std::string> FindLeftovers(const TreeReader::TreePlaces &tree, const std::string &project);

/// Sets right and removes what processes that were killed left in a project. For the holder of its lock alone.
/// \returns the names of the directories that were removed
std::vector<std::string> RemoveLeftovers(const TreeReader::TreePlaces &tree, const std::string &project, bool sync);

/// Refuses, by TreeError, to make a release where one is, or where files of that version lie. With `replace` it refuses
/// only when another release is served from the files that would go.
void RequireFreeRelease(const TreeReader::TreePlaces &tree, const std::string &project, MorvVersion release,
                        bool replace);
} // namespace Keld::TreeWriter
