#pragma once

#include "KeldFoundation/CStd/FileStatus.h"

namespace Keld
{
/// Notices when another file, or another content, lies at a path. It allocates nothing and has no lock.
class FileWatch
{
public:
    /// `path` is borrowed.
    constexpr explicit FileWatch(const char *path) : mPath(path) {}

    /// Whether it has changed since the last question. At the first one: whether anything is there.
    bool HasChanged();

private:
    const char *mPath;
    FileStatus mSeen = {};
};
} // namespace Keld
