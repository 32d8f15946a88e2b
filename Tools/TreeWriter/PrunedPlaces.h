#pragma once

#include "Tools/TreeReader/View.h"

#include <string>
#include <vector>

namespace Keld::TreeWriter
{
/// What lies in the projects that are pruned, wherever links lead.
class PrunedPlaces
{
public:
    /// \param root of the tree
    explicit PrunedPlaces(std::string root) : mRoot(std::move(root)) {}

    void AddProject(const std::string &project);

    bool Hold(const std::string &path) const;

    /// Whether a release may be served from there: its directory was copied or renamed, so that its manifest names
    /// another project, or links lead there.
    bool Serve(const TreeReader::View &release) const;

private:
    std::vector<std::string> DirectoriesOf(const std::string &project) const;

    const std::string mRoot;
    std::vector<std::string> mPlaces;
};
} // namespace Keld::TreeWriter
