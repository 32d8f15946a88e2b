#include "Oracle/LibraryRules.h"

#include "Oracle/PathRules.h"

namespace Keld::Test::Oracle
{
MergedWalk::MergedWalk(const std::vector<const ListedEntry *> &directories, std::string pattern)
    : mPattern(std::move(pattern))
{
    for (const ListedEntry *const directory : directories)
    {
        if (!directory->children.empty())
        {
            mPlaces.push_back({directory, 0});
        }
    }
    Choose();
}

std::optional<FoundEntry> MergedWalk::Next()
{
    while (!mPlaces.empty())
    {
        const ListedEntry &entry = mPlaces[mChosen].Entry();
        const FoundEntry found = {entry.isDirectory, entry.size, entry.name};
        Step(mChosen);
        Choose();
        if (FitsPattern(found.name, mPattern))
        {
            return found;
        }
    }
    return std::nullopt;
}

void MergedWalk::Step(std::size_t place)
{
    ++mPlaces[place].position;
    if (mPlaces[place].IsAtEnd())
    {
        mPlaces.erase(mPlaces.begin() + static_cast<std::ptrdiff_t>(place));
    }
}

// The first listing's entry is a candidate whatever it is; the others' only where their kind is that of the phase, in
// which directories are left anywhere. Of equal names the earlier listing's stays, and the later one is stepped over,
// once.
void MergedWalk::Choose()
{
    bool hasDirectory = false;
    for (const Place &place : mPlaces)
    {
        hasDirectory = hasDirectory || place.Entry().isDirectory;
    }
    mChosen = 0;
    for (std::size_t index = 1; index < mPlaces.size();)
    {
        const ListedEntry &entry = mPlaces[index].Entry();
        const int order = Folded(entry.name).compare(Folded(mPlaces[mChosen].Entry().name));
        const std::size_t before = mPlaces.size();
        if (entry.isDirectory == hasDirectory && order == 0)
        {
            Step(index);
        }
        else if (entry.isDirectory == hasDirectory && order < 0)
        {
            mChosen = index;
        }
        index += before == mPlaces.size() ? 1U : 0U;
    }
}
} // namespace Keld::Test::Oracle
