#pragma once

#include "Tools/TreeMount/ListingAdvice.h"
#include "Tools/TreeMount/MountedFileSystem.h"

#include <functional>

struct fuse_lowlevel_ops;

namespace Keld::TreeMount
{
/// What the calls of the kernel work on: the user data of a session.
struct FuseContext
{
    MountedFileSystem &fileSystem;
    std::function<void()> whenReady; ///< called once, when the kernel has begun to talk
    bool opensFiles = true;          ///< the kernel needs calls for opening and closing
    bool opensDirectories = true;
    ListingAdvice listingAdvice = {};
};

/// The calls of the kernel, each a short way to the file system. Calls that would change something are refused as a
/// read-only file system refuses them.
const fuse_lowlevel_ops &GetFuseCalls();
} // namespace Keld::TreeMount
