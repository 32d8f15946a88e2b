#include "Tools/morv/Manual/TreeCandidates.h"

#include "Tools/TreeReader/TreeSet.h"

#include "KeldFoundation/version/MorvVersion.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace Keld::Morv
{
namespace
{
namespace fs = std::filesystem;

constexpr const char *SolutionPrefix = "solution:";

std::string MakeAbsolute(const std::string &path)
{
    std::error_code error;
    const fs::path absolute = fs::canonical(path, error);
    return error ? std::string() : absolute.string();
}

std::string NamedByEnvironment()
{
    const char *const root = std::getenv("MORV_ROOT");
    return root == nullptr || *root == '\0' ? "" : MakeAbsolute(root);
}

std::vector<std::string> NamesOr(const TreeReader::Result<std::vector<std::string>> &names)
{
    return names ? *names : std::vector<std::string>();
}

std::vector<std::string> TextsOf(const TreeReader::Result<std::vector<MorvVersion>> &versions)
{
    std::vector<std::string> texts;
    if (versions)
    {
        for (const MorvVersion version : *versions)
        {
            texts.push_back(FormatVersion(version));
        }
    }
    return texts;
}
} // namespace

TreeCandidates::TreeCandidates(const std::string &root, const std::string &directory, TreeSearch search)
    : mDirectory(MakeAbsolute(directory.empty() ? "." : directory))
{
    const std::string named = search == TreeSearch::Around ? "" : NamedByEnvironment();
    const std::string around = TreeReader::Tree::FindRoot(mDirectory);
    const bool takesNamed = around.empty() || (search == TreeSearch::NamedFirst && !named.empty());
    mRoot = !root.empty() ? MakeAbsolute(root) : takesNamed ? named : around;
}

std::vector<std::string> TreeCandidates::ListProjects() const
{
    return mRoot.empty() ? std::vector<std::string>() : NamesOr(TreeReader::Tree(mRoot).ListProjects(&mUnseen));
}

std::vector<std::string> TreeCandidates::ListSolutions() const
{
    return mRoot.empty() ? std::vector<std::string>() : NamesOr(TreeReader::Tree(mRoot).ListSolutions(&mUnseen));
}

std::vector<std::string> TreeCandidates::ListVersions(const std::string &project) const
{
    return mRoot.empty() ? std::vector<std::string>()
                         : TextsOf(TreeReader::Tree(mRoot).ListReleases(project, &mUnseen));
}

std::vector<std::string> TreeCandidates::ListSolutionVersions(const std::string &solution) const
{
    return mRoot.empty() ? std::vector<std::string>()
                         : TextsOf(TreeReader::Tree(mRoot).ListSolutionReleases(solution, &mUnseen));
}

std::vector<std::string> TreeCandidates::ListReferences() const
{
    std::vector<std::string> references;
    for (const std::string &project : ListProjects())
    {
        for (const std::string &version : ListVersions(project))
        {
            references.push_back(project + "/" + version);
        }
    }
    for (const std::string &solution : ListSolutions())
    {
        for (const std::string &version : ListSolutionVersions(solution))
        {
            references.push_back(SolutionPrefix + solution + "/" + version);
        }
    }
    return references;
}

std::vector<std::string> TreeCandidates::ListPaths(const std::string &reference, const std::string &word) const
{
    TreeReader::TreeSet trees;
    const TreeReader::Result<TreeReader::View> view =
        trees.Open(reference, mDirectory, reference.empty() ? std::string() : mRoot);
    if (!view)
    {
        return {};
    }
    const std::size_t slash = word.rfind('/');
    const std::string typed = slash == std::string::npos ? "" : word.substr(0, slash + 1);
    std::string directory = view->ResolveTyped(typed).path;
    while (directory.ends_with('/'))
    {
        directory.pop_back();
    }
    std::vector<std::string> paths;
    const auto iterator = view->Enumerate(directory);
    for (; iterator != nullptr && iterator->IsValid(); iterator->Next())
    {
        const TreeReader::LayerIterator &entry = iterator->GetCurrent();
        paths.push_back(typed + entry.GetName() + (entry.IsDirectory() ? "/" : ""));
    }
    return paths;
}
} // namespace Keld::Morv
