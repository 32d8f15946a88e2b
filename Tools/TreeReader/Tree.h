#pragma once

#include "Tools/TreeReader/DiskFileCache.h"
#include "Tools/TreeReader/Fault.h"
#include "Tools/TreeReader/ProjectArchives.h"
#include "Tools/TreeReader/Release.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace Keld::TreeReader
{
/// A deployment tree, opened for reading: its projects, solutions and releases. Several releases are open at once and
/// share what they have in common, the archives of a project and the open files. Any thread may ask; nothing on disk is
/// ever changed. Lives longer than everything that it gives out.
class Tree
{
public:
    /// \param root the directory named "MORV". It is looked at when something in it is asked for.
    explicit Tree(std::string root);

    Tree(const Tree &) = delete;
    Tree &operator=(const Tree &) = delete;

    /// The tree around a directory: everything up to the last "MORV" on its path, or nothing when there is none.
    static std::string FindRoot(const std::string &directory);

    const std::string &GetRoot() const { return mRoot; }

    /// What the system did not let a listing look at, so that something may be there which is not listed.
    using Doubts = std::vector<Fault>;

    /// The names of the directories below "projects" or "solutions", ascending. A tree without one has none.
    /// \param doubts gets what is in doubt, and the rest is listed; without it the first doubt is the whole answer
    Result<std::vector<std::string>> ListProjects(Doubts *doubts = nullptr) const;
    Result<std::vector<std::string>> ListSolutions(Doubts *doubts = nullptr) const;

    /// The versions that are there, ascending: directories of that name that hold a manifest.
    Result<std::vector<MorvVersion>> ListReleases(const std::string &project, Doubts *doubts = nullptr) const;
    Result<std::vector<MorvVersion>> ListSolutionReleases(const std::string &solution, Doubts *doubts = nullptr) const;

    /// Empty where the library would refuse the path as too long.
    std::string GetReleaseDirectory(const std::string &project, MorvVersion version) const;
    std::string GetSolutionDirectory(const std::string &solution, MorvVersion version) const;

    /// A release, loaded when it is first asked for and kept. A failure is not kept.
    Result<std::shared_ptr<const Release>> OpenRelease(const std::string &project, MorvVersion version);

    /// A manifest that somebody has parsed already: where the file of the release holds these bytes, it is not parsed
    /// once more. To be told before anybody asks for the release.
    /// \param image must outlive the tree
    void KnowManifest(const std::string &project, MorvVersion version, const LargeVector<char> &image,
                      std::shared_ptr<const ManifestTree> manifest);

    DiskFileCache &GetFiles() { return mFiles; }

private:
    struct KnownManifest
    {
        const LargeVector<char> *image;
        std::shared_ptr<const ManifestTree> manifest;
    };

    using ReleaseName = std::pair<std::string, MorvVersion>;

    const ProjectArchives &GetArchives(const std::string &project, const std::string &projectRoot);
    Result<std::shared_ptr<const Release>> Load(const std::string &project, MorvVersion version);
    Result<std::shared_ptr<const ManifestTree>> LoadManifest(const ReleaseName &name, const std::string &path) const;

    const std::string mRoot;
    DiskFileCache mFiles;
    std::map<ReleaseName, KnownManifest> mKnown;
    std::mutex mMutex;                                                 ///< guards both maps
    std::map<std::string, std::unique_ptr<ProjectArchives>> mArchives; ///< by project
    std::map<ReleaseName, std::shared_ptr<const Release>> mReleases;
};
} // namespace Keld::TreeReader
