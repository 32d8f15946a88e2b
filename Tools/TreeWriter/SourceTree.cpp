#include "Tools/TreeWriter/SourceTree.h"

namespace Keld::TreeWriter
{
std::string SourceTree::DiskPath(const SourceFile &file) const
{
    return file.disk.empty() ? (root / file.path).string() : file.disk;
}
} // namespace Keld::TreeWriter
