#include "Tools/morv/DiffSide.h"

#include "Tools/morv/Interrupt.h"
#include "Tools/morv/Progress.h"
#include "Tools/morv/TreeChoice.h"

#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeWriter/FolderContents.h"
#include "Tools/TreeWriter/FolderSource.h"

#include <filesystem>
#include <set>

namespace Keld::Morv
{
namespace fs = std::filesystem;
using TreeReader::ContentItem;
using TreeReader::FaultKind;
using TreeReader::TreeError;

namespace
{
void NoteAll(const std::vector<std::string> &notes)
{
    for (const std::string &note : notes)
    {
        PrintNote(note);
    }
}

/// The folder of that name, where the text names no release. Else throws what hinders.
std::string RequireFolder(const std::string &text, const std::string &directory, const TreeReader::Fault &fault)
{
    std::error_code error;
    const fs::path folder = fs::path(directory) / text;
    if (fault.kind == FaultKind::NoRelease && fs::is_directory(folder, error))
    {
        return folder.lexically_normal();
    }
    throw TreeError(fault.GetMessage());
}
} // namespace

DiffSide::DiffSide(TreeReader::TreeSet &trees, const std::string &text, const CommonOptions &common,
                   const std::string &root)
{
    const auto reference = ResolveNamed(text, common, root);
    if (!reference)
    {
        mFolder = RequireFolder(text, common.GetDirectory(), reference.GetFault());
        return;
    }
    mReference = *reference;
    auto view = trees.Open(*reference);
    if (!view)
    {
        throw TreeError(view.GetFault().GetMessage());
    }
    mView = std::move(*view);
    NoteAll(mView->GetNotes());
}

void DiffSide::List()
{
    if (!IsFolder())
    {
        mList = TreeReader::ContentList::OfView(*mView, TreeReader::ContentList::Files::Listed);
        return;
    }
    TreeWriter::SourceOptions options;
    options.links = TreeWriter::LinkPolicy::Skip;
    mSource = TreeWriter::ScanSource(mFolder, options);
    NoteAll(mSource.notes);
    if (mSource.skippedLinks > 0)
    {
        PrintNote(mFolder + ": symbolic links are left out of the comparison, as no release holds any");
    }
    mList = TreeWriter::ListFolder(mSource);
}

void DiffSide::DigestLike(const DiffSide &other, const CommonOptions &common)
{
    if (!IsFolder())
    {
        return;
    }
    std::set<uint64> sizes;
    for (const ContentItem &item : other.GetList().GetItems())
    {
        if (!item.isDirectory)
        {
            sizes.insert(item.size);
        }
    }
    uint64 total = 0;
    for (const ContentItem &item : mList.GetItems())
    {
        total += item.isDirectory || sizes.count(item.size) == 0 ? 0 : item.size;
    }
    const InterruptGuard guard;
    Progress progress("reading", total, !common.quiet);
    TreeWriter::DigestWatch watch;
    watch.checkpoint = InterruptGuard::Check;
    watch.advance = [&progress](uint64 bytes)
    {
        progress.Add(bytes);
    };
    TreeWriter::DigestFolder(mList, mSource, sizes, common.GetThreadCount(), watch);
}

std::string DiffSide::GetText() const
{
    return IsFolder() ? mFolder : mView->GetName().GetText();
}

Json DiffSide::GetDocument() const
{
    if (IsFolder())
    {
        return {{"kind", "folder"}, {"path", TextValue(mFolder)}};
    }
    const TreeReader::ReleaseName &name = mView->GetName();
    return {{"kind", name.isSolution ? "solution" : "project"},
            {"name", TextValue(name.name)},
            {"version", FormatVersion(name.version)},
            {"root", TextValue(mReference.root)}};
}
} // namespace Keld::Morv
