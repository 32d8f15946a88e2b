#pragma once

#include "Tools/TreeMount/FuseVersion.h"

#include "Tools/TreeMount/FuseContext.h"

// What several of the kernel's calls share.
namespace Keld::TreeMount
{
// Nothing that a mount shows ever changes, so the kernel may keep what it knows.
inline constexpr double KeepSeconds = 1e9;

inline FuseContext &ContextOf(fuse_req_t request)
{
    return *static_cast<FuseContext *>(fuse_req_userdata(request));
}

inline MountedFileSystem &FileSystemOf(fuse_req_t request)
{
    return ContextOf(request).fileSystem;
}

/// A node that the kernel names, or nothing after an answer that there is none.
TreeReader::Hit NodeOf(fuse_req_t request, fuse_ino_t number);

/// A directory that the kernel names, or nothing after an answer that there is none.
TreeReader::Hit DirectoryOf(fuse_req_t request, fuse_ino_t number);

/// What the kernel is told of a name. Without a node it keeps in mind that there is none.
fuse_entry_param EntryOf(const MountedFileSystem &fileSystem, const TreeReader::Hit &node);
} // namespace Keld::TreeMount
