#include "Tools/TreeMount/FuseReplies.h"

#include <cerrno>

namespace Keld::TreeMount
{
using TreeReader::Hit;

Hit NodeOf(fuse_req_t request, fuse_ino_t number)
{
    const Hit node = FileSystemOf(request).GetTree().GetNode(number);
    if (!node)
    {
        fuse_reply_err(request, ESTALE);
    }
    return node;
}

Hit DirectoryOf(fuse_req_t request, fuse_ino_t number)
{
    const Hit node = NodeOf(request, number);
    if (node && !FileSystemOf(request).GetTree().IsDirectory(node))
    {
        fuse_reply_err(request, ENOTDIR);
        return {};
    }
    return node;
}

fuse_entry_param EntryOf(const MountedFileSystem &fileSystem, const Hit &node)
{
    fuse_entry_param entry = {};
    entry.entry_timeout = KeepSeconds;
    if (node)
    {
        entry.ino = fileSystem.GetTree().GetNumber(node);
        entry.attr = fileSystem.GetStatus().Get(node);
        entry.attr_timeout = KeepSeconds;
    }
    return entry;
}
} // namespace Keld::TreeMount
