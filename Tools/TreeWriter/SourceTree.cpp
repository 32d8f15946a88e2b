#include "Tools/TreeWriter/SourceTree.h"

namespace Keld::TreeWriter
{
std::string SourceTree::DiskPath(const SourceFile &file) const
{
    if (!file.disk.empty())
    {
        return file.disk;
    }
    std::string place = root.native(); // as a text: a path would be taken apart into its names for every file
    if (!place.empty() && place.back() != '/')
    {
        place += '/';
    }
    return place += file.path;
}
} // namespace Keld::TreeWriter
