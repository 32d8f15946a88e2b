#pragma once

#include "Oracle/Disk.h"
#include "Oracle/RandomArchives.h"
#include "Oracle/RandomNames.h"
#include "Support/Dice.h"
#include "Support/ManifestImage.h"

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace Keld::Test::Oracle
{
/// A deployment that nobody has thought of, the same for the same dice: projects in several releases, files in every
/// storage, solutions, and much that is damaged or missing.
class RandomDeployment
{
public:
    RandomDeployment(Disk &disk, Dice &dice);

    /// Directories to start from. Some belong to no release.
    const std::vector<std::string> &WorkingDirectories() const { return mWorkingDirectories; }

    /// Paths that some release lists.
    const std::vector<std::string> &Files() const { return mFiles; }
    const std::vector<std::string> &Directories() const { return mDirectories; }

private:
    struct Project
    {
        std::string name;
        std::vector<std::string> versions;
        std::vector<std::string> releases;
    };

    /// Paths of one release, folded.
    struct Taken
    {
        std::set<std::string> files;
        std::map<std::string, std::string> directories; ///< with their case
    };

    void AddProject(const std::string &name);
    std::string NewPath(const Taken &taken);
    void AddRelease(Project &project, RandomArchives &archives, const std::string &version, std::uint32_t fileCount);
    ManifestFile AddFile(const Project &project, RandomArchives &archives, const std::string &release,
                         const std::string &path);
    void AddArchived(RandomArchives &archives, const std::string &version, const std::string &path, ManifestFile &file);
    void AddPlain(const std::string &diskPath, const std::string &content);
    std::string WithDamage(std::string stored);
    std::string SpoiledManifest(const ManifestImage &manifest);
    void AddSolution(const std::string &name);
    void AddWorkingDirectories(const std::string &release);
    std::string Version();
    std::string ProjectRoot(const std::string &project) const { return mRoot + "/projects/" + project; }

    Disk &mDisk;
    Dice &mDice;
    std::string mRoot; ///< the directory "MORV"
    RandomNames mNames;
    std::size_t mNextContent;
    std::vector<Project> mProjects;
    std::map<std::string, ManifestFile> mStored; ///< what archives have, by project, version and path
    std::vector<std::string> mFiles;
    std::vector<std::string> mDirectories;
    std::vector<std::string> mWorkingDirectories;
};
} // namespace Keld::Test::Oracle
