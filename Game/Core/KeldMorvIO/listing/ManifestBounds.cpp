#include "KeldMorvIO/listing/ManifestBounds.h"

#include "KeldMorvIO/listing/LevelOrder.h"

#include <algorithm>

namespace Keld::MORV::Reader
{
namespace
{
// Marks the records of a range as children. False when the range leaves the table or holds a record marked before.
bool Claim(std::vector<bool> &claimed, uint32 first, uint32 count)
{
    if (count == 0)
    {
        return true;
    }
    if (first >= claimed.size() || count > claimed.size() - first)
    {
        return false;
    }
    for (uint_size index = first; index < uint_size{first} + count; ++index)
    {
        if (claimed[index])
        {
            return false;
        }
        claimed[index] = true;
    }
    return true;
}
} // namespace

bool NamesEndInside(const ManifestTables &manifest)
{
    const char *const strings = manifest.GetStringData();
    const auto stringCount = static_cast<uint32>(std::count(strings, strings + manifest.GetStringDataSize(), '\0'));
    return manifest.GetHighestNameIndex() < stringCount;
}

bool DirectoriesFormTrees(const DirectoryTableEntry *directories, uint32 directoryCount, uint32 fileCount)
{
    if (directoryCount == 0)
    {
        return false;
    }
    std::vector<bool> isChild(directoryCount);
    std::vector<bool> hasDirectory(fileCount);
    for (uint32 index = 0; index < directoryCount; ++index)
    {
        const DirectoryTableEntry &directory = directories[index];
        if (!Claim(isChild, directory.firstSubdirectory, directory.subdirectoryCount) ||
            !Claim(hasDirectory, directory.firstFile, directory.fileCount))
        {
            return false;
        }
    }
    if (isChild[0])
    {
        return false;
    }
    // Where each record has one parent at most, a walk from those without a parent meets none twice and enters no
    // cycle.
    std::vector<uint32> reached;
    reached.reserve(directoryCount);
    for (uint32 index = 0; index < directoryCount; ++index)
    {
        if (!isChild[index])
        {
            reached.push_back(index);
        }
    }
    WalkLevelOrder(directories, reached, [](uint32) {});
    return reached.size() == directoryCount;
}
} // namespace Keld::MORV::Reader
