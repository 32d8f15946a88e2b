#include "Tools/TreeMount/LayerNames.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/CStd/PathLimit.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <vector>

namespace Keld::TreeMount
{
using TreeReader::EntryIndex;
using TreeReader::EntryRange;
using TreeReader::NoEntry;

namespace
{
bool CanStandInDirectory(const char *name)
{
    const std::string_view text(name, strnlen(name, PathBufferSize));
    return !text.empty() && text != "." && text != ".." && text.find('/') == std::string_view::npos;
}
} // namespace

LayerNames::LayerNames(const TreeReader::Release &release)
    : mRelease(&release), mTree(&release.GetTree()), mArePlain(FindPlainness())
{
}

bool LayerNames::FindPlainness() const
{
    if (mTree->HasOddities())
    {
        return false;
    }
    // Bytes of each directory's path with a separator behind it; a parent comes before its children.
    std::vector<uint64> pathSizes(mTree->GetDirectoryCount());
    const auto isPlain = [&](EntryIndex directory)
    {
        if (directory != TreeReader::RootEntry)
        {
            const uint64 parentSize = pathSizes[mTree->GetParent(directory)];
            pathSizes[directory] = parentSize + strnlen(mTree->GetName(directory), PathBufferSize) + 1;
        }
        return HasPlainChildren(directory, pathSizes[directory]);
    };
    const std::vector<uint32> &directories = mTree->GetDirectoriesByLevel();
    return std::all_of(directories.begin(), directories.end(), isPlain);
}

/// \param pathSize of the directory's path, with the separator behind it.
bool LayerNames::HasPlainChildren(EntryIndex directory, uint64 pathSize) const
{
    const auto isPlainRange = [&](const EntryRange &range)
    {
        for (EntryIndex entry = range.first; entry < range.first + range.count; ++entry)
        {
            const char *name = mTree->GetName(entry);
            const bool isBehindLast = entry == range.first || std_stricmp(mTree->GetName(entry - 1), name) < 0;
            if (!isBehindLast || !CanStandInDirectory(name) ||
                pathSize + strnlen(name, PathBufferSize) >= PathBufferSize)
            {
                return false;
            }
        }
        return true;
    };
    return isPlainRange(mTree->GetSubdirectories(directory)) && isPlainRange(mTree->GetFiles(directory)) &&
           !HasTwinsOfBothKinds(directory);
}

bool LayerNames::HasTwinsOfBothKinds(EntryIndex directory) const
{
    const EntryRange subdirectories = mTree->GetSubdirectories(directory);
    const EntryRange files = mTree->GetFiles(directory);
    EntryIndex file = files.first;
    for (EntryIndex entry = subdirectories.first; entry < subdirectories.first + subdirectories.count; ++entry)
    {
        while (file < files.first + files.count)
        {
            const int order = std_stricmp(mTree->GetName(file), mTree->GetName(entry));
            if (order == 0)
            {
                return true;
            }
            if (order > 0)
            {
                break;
            }
            ++file;
        }
    }
    return false;
}

EntryIndex LayerNames::FindBound(const EntryRange &range, const char *name, bool behind) const
{
    EntryIndex first = range.first;
    EntryIndex end = range.first + range.count;
    while (first < end)
    {
        const EntryIndex middle = first + (end - first) / 2;
        const int order = std_stricmp(mTree->GetName(middle), name);
        const bool isBefore = order < 0 || (behind && order == 0);
        first = isBefore ? middle + 1 : first;
        end = isBefore ? end : middle;
    }
    return first;
}

EntryIndex LayerNames::FindInRange(const EntryRange &range, const char *name) const
{
    const EntryIndex entry = FindBound(range, name, false);
    const bool isFound = entry < range.first + range.count && std_stricmp(mTree->GetName(entry), name) == 0;
    return isFound ? entry : NoEntry;
}

EntryIndex LayerNames::FindChild(EntryIndex directory, const char *name) const
{
    if (!mArePlain)
    {
        return FindByPath(directory, name);
    }
    const EntryIndex subdirectory = FindInRange(mTree->GetSubdirectories(directory), name);
    if (subdirectory != NoEntry)
    {
        return subdirectory;
    }
    const EntryIndex file = FindInRange(mTree->GetFiles(directory), name);
    return file != NoEntry && mRelease->IsPresent(file) ? file : NoEntry;
}

EntryIndex LayerNames::FindByPath(EntryIndex directory, const char *name) const
{
    std::string path = mTree->GetPath(directory);
    path += path.empty() ? "" : "/";
    return mRelease->Find(path + name);
}

bool LayerNames::IsShown(EntryIndex entry) const
{
    if (mArePlain)
    {
        return mTree->IsDirectory(entry) || mRelease->IsPresent(entry);
    }
    return CanStandInDirectory(mTree->GetName(entry)) && mRelease->Find(mTree->GetPath(entry)) == entry;
}

uint64 LayerNames::CountUnshown() const
{
    uint64 count = 0;
    for (EntryIndex entry = TreeReader::RootEntry + 1; !mArePlain && entry < mTree->GetEntryCount(); ++entry)
    {
        const bool isThere = mTree->IsDirectory(entry) || (mTree->IsHeld(entry) && mRelease->IsPresent(entry));
        count += uint64{isThere && !IsShown(entry)};
    }
    return count;
}
} // namespace Keld::TreeMount
