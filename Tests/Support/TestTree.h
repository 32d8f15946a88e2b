#pragma once

#include "Support/ManifestImage.h"
#include "Support/TempTree.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Keld::Test
{
/// A file of a project release that a test lays out. A path that ends in '/' is a directory without content.
struct ReleaseFile
{
    std::string path;
    std::string content = {};
    bool managed = false; ///< under "managedfiles", else naked under "deploy"
    bool missing = false; ///< in the manifest, but not on disk
};

/// A project as a solution binds it.
struct SolutionProject
{
    std::string name;
    std::string version;
    std::uint32_t priority = 0;
};

/// The number of a dotted version.
std::uint32_t VersionNumber(const std::string &text);

/// A deployment tree on the real disk, below a directory of its own: `<temporary>/MORV/projects` and so on. Each call
/// gives the absolute path of the release directory that it has made, which is a working directory to start from.
class TestTree
{
public:
    const TempTree &Disk() const { return mDisk; }

    /// The root directory named "MORV".
    std::string Root() const { return mDisk.Path("MORV"); }
    std::string Path(const std::string &belowRoot) const { return Root() + "/" + belowRoot; }

    /// Writes a release manifest and the files that it lists.
    std::string Project(const std::string &name, const std::string &version,
                        const std::vector<ReleaseFile> &files) const;

    /// Writes both manifests of a solution whose configuration names all of its projects.
    std::string Solution(const std::string &name, const std::string &version,
                         const std::vector<SolutionProject> &projects) const;

    /// The same with the projects that the configuration names, in that order.
    std::string Solution(const std::string &name, const std::string &version,
                         const std::vector<SolutionProject> &projects,
                         const std::vector<std::string> &configuration) const;

private:
    TempTree mDisk;
};

/// The lines of a text manifest, each ended as in the file.
std::string ManifestLines(const std::vector<std::string> &lines, const std::string &lineEnd = "\n");

/// Makes a directory the process's working directory for as long as this object lives.
class WorkingDirectory
{
public:
    explicit WorkingDirectory(const std::string &path);
    ~WorkingDirectory();

    WorkingDirectory(const WorkingDirectory &) = delete;
    WorkingDirectory &operator=(const WorkingDirectory &) = delete;

private:
    int mPrevious; ///< an open directory: its path may be too long to ask for
};
} // namespace Keld::Test
