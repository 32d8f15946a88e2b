#include "Tools/morv/Absence.h"

#include "Tools/morv/EntryText.h"
#include "Tools/morv/Terminal.h"

#include "KeldFoundation/CStd/PathLimit.h"

namespace Keld::Morv
{
using TreeReader::Hit;
using TreeReader::View;

namespace
{
std::string ShownPath(const std::string &path)
{
    return path.empty() ? "/" : EscapeForTerminal(path);
}

std::string ExplainLoss(const View &view, const Hit &missing)
{
    return "is listed by " + LayerText(view.GetLayers()[missing.layer]) +
           ", but the library leaves it out: " + EscapeForTerminal(view.ExplainMissing(missing).GetMessage()) +
           "; bring that back, or pack the release again";
}

/// Cuts one name off the path's end at a time, until something has what is left.
std::string ExplainHowFar(const View &view, const std::string &path)
{
    std::string known = path;
    std::string unknown;
    Hit hit;
    while (!hit && !known.empty())
    {
        const std::size_t cut = known.rfind('/');
        unknown = known.substr(cut == std::string::npos ? 0 : cut + 1);
        known.resize(cut == std::string::npos ? 0 : cut);
        hit = view.Find(known);
    }
    if (hit && !view.IsDirectory(hit))
    {
        return "not found: " + ShownPath(known) + " is a file";
    }
    return "not found: there is no \"" + EscapeForTerminal(unknown) + "\" in " + ShownPath(known) +
           "; \"morv ls\" and \"morv find\" show what is there";
}
} // namespace

std::string ExplainAbsence(const View &view, const std::string &path)
{
    if (path.size() >= PathBufferSize)
    {
        return "has " + std::to_string(PathBufferSize) + " bytes or more, which the library refuses";
    }
    const std::vector<Hit> missing = view.FindMissing(path);
    return missing.empty() ? ExplainHowFar(view, path) : ExplainLoss(view, missing.front());
}

std::string AbsenceText(const std::string &typed, const std::string &cause)
{
    return EscapeForTerminal(typed) + ": " + cause;
}
} // namespace Keld::Morv
