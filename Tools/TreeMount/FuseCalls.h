#pragma once

struct fuse_lowlevel_ops;

namespace Keld::TreeMount
{
/// The calls of the kernel, each a short way to the file system. Calls that would change something are refused as a
/// read-only file system refuses them.
const fuse_lowlevel_ops &GetFuseCalls();
} // namespace Keld::TreeMount
