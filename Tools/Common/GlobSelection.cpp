#include "Tools/Common/GlobSelection.h"

namespace Keld::Common
{
GlobSelection::GlobSelection(const std::vector<std::string> &patterns)
    : mGlobs(patterns.begin(), patterns.end()), mMatched(std::make_unique<std::atomic<bool>[]>(patterns.size()))
{
}

/// All patterns are tried, so that GetIdle names those alone that are of no use.
bool GlobSelection::TakesItself(std::string_view path, bool isDirectory) const
{
    bool taken = mGlobs.empty();
    for (std::size_t index = 0; index < mGlobs.size(); ++index)
    {
        if ((isDirectory || !mGlobs[index].IsForDirectories()) && mGlobs[index].Matches(path))
        {
            mMatched[index] = true;
            taken = true;
        }
    }
    return taken;
}

bool GlobSelection::Takes(std::string_view path, bool isDirectory) const
{
    bool taken = TakesItself(path, isDirectory);
    for (std::size_t end = path.rfind('/'); end != std::string_view::npos && end > 0; end = path.rfind('/', end - 1))
    {
        taken |= TakesItself(path.substr(0, end), true);
    }
    return taken;
}

std::vector<std::string> GlobSelection::GetIdle() const
{
    std::vector<std::string> idle;
    for (std::size_t index = 0; index < mGlobs.size(); ++index)
    {
        if (!mMatched[index])
        {
            idle.push_back(mGlobs[index].GetPattern());
        }
    }
    return idle;
}
} // namespace Keld::Common
