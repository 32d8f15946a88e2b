#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <map>
#include <string>

namespace Keld::Test
{
/// The library, started for one working directory through its exported calls, until the end of the scope.
class ReleaseReader
{
public:
    explicit ReleaseReader(const std::string &workingDirectory);
    ~ReleaseReader();

    ReleaseReader(const ReleaseReader &) = delete;
    ReleaseReader &operator=(const ReleaseReader &) = delete;

    bool IsStarted() const { return mStarted; }
    bool Exists(const std::string &path) const;

    /// The content of a file, read in pieces of `pieceSize` bytes. A text in angle brackets when that fails.
    std::string Read(const std::string &path, uint32 pieceSize = 1 << 20) const;

    /// All files below the root with their sizes, found by walking directories.
    std::map<std::string, uint64> FindAll() const;

private:
    void FindBelow(const std::string &directory, std::map<std::string, uint64> &files) const;

    bool mStarted;
};
} // namespace Keld::Test
