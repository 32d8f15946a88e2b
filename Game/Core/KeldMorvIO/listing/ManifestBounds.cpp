#include "KeldMorvIO/listing/ManifestTreeCheck.h"

#include <vector>

namespace Keld::MORV::Reader
{
namespace
{
/// Marks the records of a range as children. False when it reaches outside the table or meets a child of someone else.
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

/// Adds everything below the directories that are in `reached` already. Where each record has one parent at most, a
/// walk from records without a parent meets none twice, and never enters a cycle.
void ReachDescendants(const DirectoryTableEntry *directories, std::vector<uint32> &reached)
{
    for (uint_size next = 0; next < reached.size(); ++next)
    {
        const DirectoryTableEntry &directory = directories[reached[next]];
        for (uint32 child = 0; child < directory.subdirectoryCount; ++child)
        {
            reached.push_back(directory.firstSubdirectory + child);
        }
    }
}
} // namespace

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
    std::vector<uint32> reached;
    reached.reserve(directoryCount);
    for (uint32 index = 0; index < directoryCount; ++index)
    {
        if (!isChild[index])
        {
            reached.push_back(index);
        }
    }
    ReachDescendants(directories, reached);
    return reached.size() == directoryCount;
}
} // namespace Keld::MORV::Reader
