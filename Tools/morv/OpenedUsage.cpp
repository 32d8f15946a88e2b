#include "Tools/morv/OpenedUsage.h"

#include "Tools/TreeReader/Census.h"
#include "Tools/TreeReader/TreeError.h"
#include "Tools/morv/TreeChoice.h"

namespace Keld::Morv
{
using TreeReader::ContentUsage;
using TreeReader::TreeError;
using TreeReader::View;

Json OpenedUsage::GetRelease() const
{
    const TreeReader::ReleaseName &name = view->GetName();
    return {{"kind", name.isSolution ? "solution" : "project"},
            {"name", TextValue(name.name)},
            {"version", FormatVersion(name.version)}};
}

std::unique_ptr<OpenedUsage> OpenUsage(const std::string &text, const std::string &typedRoot,
                                       const CommonOptions &common)
{
    auto opened = std::make_unique<OpenedUsage>();
    const auto reference = ResolveNamed(text, common, typedRoot);
    if (!reference)
    {
        throw TreeError(reference.GetFault().GetMessage());
    }
    auto view = opened->trees.Open(*reference);
    if (!view)
    {
        throw TreeError(view.GetFault().GetMessage());
    }
    opened->root = reference->root;
    opened->view = std::make_unique<const View>(std::move(*view));
    if (const TreeReader::Failure failure = opened->view->CheckServable())
    {
        throw TreeError(failure->GetMessage());
    }
    for (const std::string &note : opened->view->GetNotes())
    {
        PrintNote(note);
    }
    const TreeReader::Census census = TreeReader::TakeCensus(*opened->view, common.GetThreadCount());
    opened->missing = census.missing;
    opened->isWhole = census.IsWhole();
    if (!census.IsWhole())
    {
        PrintError(census.GetSummary());
    }
    opened->usage = std::make_unique<const ContentUsage>(*opened->view, common.GetThreadCount());
    return opened;
}
} // namespace Keld::Morv
