// A tree, and everything that the tools ask of one without changing it: what is there, whether it is whole, what each
// release holds and takes, what pruning would remove. Nothing may be changed, and nothing may be thrown but refusals.

#include "FuzzSupport.h"
#include "Trees/TreeCase.h"

#include "Tools/TreeChecker/TreeCheck.h"
#include "Tools/TreeReader/Census.h"
#include "Tools/TreeReader/ContentComparison.h"
#include "Tools/TreeReader/ContentUsage.h"
#include "Tools/TreeReader/ReleaseContents.h"
#include "Tools/TreeReader/ReleaseParts.h"
#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeWriter/PrunePlan.h"

#include <algorithm>

namespace
{
using namespace Keld;
using Fuzz::Require;
using TreeReader::ContentList;
using TreeReader::ReleaseName;
using TreeReader::View;

constexpr std::size_t MostReleases = 6;

std::vector<ReleaseName> ListAll(const TreeReader::Tree &tree)
{
    std::vector<ReleaseName> names;
    const auto add = [&](bool isSolution, const auto &owners, const auto &list)
    {
        for (const std::string &owner : owners ? *owners : std::vector<std::string>())
        {
            const auto versions = list(owner);
            for (const MorvVersion version : versions ? *versions : std::vector<MorvVersion>())
            {
                names.push_back({isSolution, owner, version});
            }
        }
    };
    add(false, tree.ListProjects(),
        [&](const std::string &name)
        {
            return tree.ListReleases(name);
        });
    add(true, tree.ListSolutions(),
        [&](const std::string &name)
        {
            return tree.ListSolutionReleases(name);
        });
    names.resize(std::min(names.size(), MostReleases));
    return names;
}

void Examine(const View &view, const std::string &root)
{
    const TreeReader::Census census = TakeCensus(view, 1);
    Require(census.missing <= census.files, "no more files are missing than are listed");
    Require(census.IsWhole() == census.GetSummary().empty(), "a summary tells what is wrong");
    const ContentList listed = ContentList::OfView(view, ContentList::Files::Listed);
    const ContentList present = ContentList::OfView(view, ContentList::Files::Present);
    Require(present.GetItems().size() <= listed.GetItems().size(), "no more is there than is listed");
    Require(TreeReader::ContentComparison(listed, listed).IsEqual(), "a list is equal to itself");
    const TreeReader::ContentComparison difference(present, listed);
    const TreeReader::ContentUsage usage(view, 1);
    usage.GetByExtension();
    usage.GetByArchive(root);
    usage.GetByStorage();
    for (const TreeReader::ReleasePart &part : GatherParts(view, root, 1).parts)
    {
        const std::string framed = "/" + part.path + "/";
        Require(part.path.front() != '/' && framed.find("/../") == framed.npos, "parts of a release lie in its tree");
    }
    for (const TreeReader::Layer &layer : view.GetLayers())
    {
        MakeContents(layer.release->GetTree());
    }
}

void Prune(const std::string &root, const ReleaseName &kept)
{
    TreeWriter::PruneRequest request;
    request.root = root;
    request.keep = {kept};
    request.everything = true;
    try
    {
        TreeWriter::PlanPrune(request);
    }
    catch (const TreeReader::TreeError &)
    {
        return; // what cannot be told for certain
    }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8 *data, std::size_t size)
{
    const Fuzz::TreeCase test(data, size);
    const std::string root = test.GetDisk().GetPath("MORV");
    TreeReader::Tree tree(root);
    const std::vector<ReleaseName> names = ListAll(tree);
    for (const ReleaseName &name : names)
    {
        if (const auto view = View::Open(tree, name))
        {
            Examine(*view, root);
        }
    }
    TreeChecker::CheckReport report = TreeChecker::CheckWholeTree(tree, {});
    report.Sort();
    if (!names.empty())
    {
        Prune(root, names.front());
    }
    return 0;
}
