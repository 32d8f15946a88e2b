#include "Tools/morv/TypedPath.h"

#include "Tools/morv/Console.h"

namespace Keld::Morv
{
using TreeReader::View;

std::string ExplainMissing(const View &view, const std::string &path)
{
    const std::vector<TreeReader::Hit> missing = view.FindMissing(path);
    if (missing.empty())
    {
        return "";
    }
    const TreeReader::Release &release = view.GetRelease(missing.front().layer);
    return "is listed by " + release.GetProject() + " " + FormatVersion(release.GetVersion()) +
           " but cannot be served: " + view.Locate(missing.front()).GetFault().GetMessage();
}

std::string AbsenceText(const std::string &typed, const std::string &cause)
{
    return typed + ": " + (cause.empty() ? "not found; \"morv ls\" and \"morv find\" show what is there" : cause);
}

std::string ResolveTypedPath(const View &view, const std::string &typed)
{
    const TreeReader::TypedPath resolved = view.ResolveTyped(typed);
    if (!resolved.note.empty())
    {
        PrintNote(resolved.note);
    }
    return resolved.path;
}
} // namespace Keld::Morv
