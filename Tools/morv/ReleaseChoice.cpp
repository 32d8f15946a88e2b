#include "Tools/morv/ReleaseChoice.h"

#include "Tools/TreeReader/TreeError.h"

namespace Keld::Morv
{
namespace
{
template <class Value>
Value RequireResult(TreeReader::Result<Value> result)
{
    if (!result)
    {
        throw TreeReader::TreeError(result.GetFault().GetMessage());
    }
    return std::move(*result);
}

/// Solutions last.
std::vector<TreeReader::ReleaseName> ListEverything(const std::string &root)
{
    const TreeReader::Tree tree(root);
    std::vector<TreeReader::ReleaseName> names;
    for (const std::string &project : RequireResult(tree.ListProjects()))
    {
        for (const MorvVersion version : RequireResult(tree.ListReleases(project)))
        {
            names.push_back({false, project, version});
        }
    }
    for (const std::string &solution : RequireResult(tree.ListSolutions()))
    {
        for (const MorvVersion version : RequireResult(tree.ListSolutionReleases(solution)))
        {
            names.push_back({true, solution, version});
        }
    }
    return names;
}
} // namespace

std::string RequireTree(const std::string &typedRoot, const CommonOptions &common)
{
    std::string root = ChooseTree(typedRoot, common.GetDirectory());
    if (root.empty())
    {
        throw TreeReader::TreeError(common.GetDirectory() +
                                    " lies in no tree, as there is no directory named MORV around it: name one with "
                                    "--root");
    }
    return root;
}

NamedReleases ResolveReleases(const std::vector<std::string> &texts, const CommonOptions &common,
                              const std::string &typedRoot)
{
    NamedReleases named;
    if (texts.empty())
    {
        named.root = RequireTree(typedRoot, common);
        named.names = ListEverything(named.root);
        if (named.names.empty())
        {
            throw TreeReader::TreeError(named.root + " holds no release and no solution");
        }
    }
    for (const std::string &text : texts)
    {
        const auto reference = RequireResult(ResolveNamed(text, common, typedRoot));
        if (!named.root.empty() && named.root != reference.root)
        {
            throw UsageError(text + " lies in another tree than " + texts.front() + ": name releases of one tree");
        }
        named.root = reference.root;
        named.names.push_back(reference.name);
    }
    return named;
}
} // namespace Keld::Morv
