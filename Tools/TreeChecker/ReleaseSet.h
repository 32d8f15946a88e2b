#pragma once

#include "Tools/TreeChecker/CheckReport.h"

#include "Tools/TreeReader/Tree.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Keld::TreeChecker
{
/// A project release under check.
struct CheckedRelease
{
    std::shared_ptr<const TreeReader::Release> release;
    std::string project;       ///< the directory under "projects" that it was opened by
    MorvVersion version = 0;   ///< of its directory
    std::vector<uint32> users; ///< itself and the solutions that bring it in, as places in CheckReport::releases
};

/// The releases under check, each opened once. What keeps one from being opened goes into the report.
class ReleaseSet
{
public:
    /// Both must outlive the set.
    ReleaseSet(TreeReader::Tree &tree, CheckReport &report) : mTree(tree), mReport(report) {}

    /// A release of a project, or a solution with all the releases that it uses.
    void Add(const TreeReader::ReleaseName &name);

    const std::vector<CheckedRelease> &GetReleases() const { return mReleases; }

private:
    uint32 AddName(const TreeReader::ReleaseName &name);
    void AddProject(const TreeReader::ReleaseName &name, uint32 user);
    void AddSolution(const TreeReader::ReleaseName &name);
    void CheckServable(const TreeReader::View &view, uint32 user);

    TreeReader::Tree &mTree;
    CheckReport &mReport;
    std::vector<CheckedRelease> mReleases;
};
} // namespace Keld::TreeChecker
