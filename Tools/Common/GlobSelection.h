#pragma once

#include "Tools/Common/Glob.h"

#include <atomic>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Keld::Common
{
/// Chooses virtual paths by patterns: whatever matches one of them, and everything below a directory that does. Without
/// patterns it chooses all. Any thread may ask.
class GlobSelection
{
public:
    /// Throws GlobError.
    explicit GlobSelection(const std::vector<std::string> &patterns);

    bool TakesAll() const { return mGlobs.empty(); }

    /// Whether a path is chosen by its own name or path.
    bool TakesItself(std::string_view path, bool isDirectory) const;

    /// Whether a path is chosen, be it for a directory above it.
    bool Takes(std::string_view path, bool isDirectory) const;

    /// The patterns that chose nothing of what was asked so far.
    std::vector<std::string> GetIdle() const;

private:
    std::vector<Glob> mGlobs;
    std::unique_ptr<std::atomic<bool>[]> mMatched; ///< by pattern
};
} // namespace Keld::Common
