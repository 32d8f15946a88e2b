#include "Tools/morv/OpenView.h"

#include "Tools/TreeReader/TreeError.h"
#include "Tools/morv/Console.h"

#include <CLI/CLI.hpp>

namespace Keld::Morv
{
using TreeReader::TreeError;

void AddReleaseOption(CLI::App &command, std::string &reference)
{
    command
        .add_option("-r,--release", reference,
                    "Look into this release of the tree around the working directory, as client/1.0.0.0 or "
                    "solution:suite/0.0.1.0 (default: the release around the working directory)")
        ->type_name("RELEASE");
}

TreeReader::Reference ResolveRelease(const std::string &reference, const CommonOptions &common)
{
    if (!reference.empty() && reference.find('/') == std::string::npos)
    {
        throw UsageError("\"" + reference + "\" names no release: say it as client/1.0.0.0 or solution:suite/0.0.1.0");
    }
    const auto resolved = TreeReader::ResolveReference(reference, common.GetDirectory());
    if (!resolved)
    {
        throw TreeError(resolved.GetFault().GetMessage());
    }
    return *resolved;
}

OpenedView OpenView(TreeReader::TreeSet &trees, const std::string &reference, const CommonOptions &common)
{
    const TreeReader::Reference resolved = ResolveRelease(reference, common);
    auto view = trees.Open(resolved);
    if (!view)
    {
        throw TreeError(view.GetFault().GetMessage());
    }
    if (const TreeReader::Failure failure = view->CheckServable())
    {
        throw TreeError(failure->GetMessage());
    }
    for (const std::string &note : view->GetNotes())
    {
        PrintNote(note);
    }
    return {resolved, std::move(*view)};
}

Common::GlobSelection MakeSelection(const std::vector<std::string> &globs)
{
    try
    {
        return Common::GlobSelection(globs);
    }
    catch (const Common::GlobError &error)
    {
        throw UsageError(error.what());
    }
}
} // namespace Keld::Morv
