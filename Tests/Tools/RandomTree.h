#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <map>
#include <random>
#include <string>

namespace Keld::Test
{
/// Files of a folder by virtual path, with their contents.
using FileContents = std::map<std::string, std::string>;

/// Makes folders of random shape: names of all sorts, some depth, and sizes on both sides of every limit at which
/// reading works in pieces. The same seed gives the same folders.
class RandomTree
{
public:
    explicit RandomTree(uint32 seed) : mRandom(seed) {}

    FileContents Make(std::size_t fileCount);

    /// The next state of a folder: some files changed, some gone, some new, most as they were.
    FileContents Change(const FileContents &files);

    std::string MakeContent();
    uint32 Below(uint32 limit);

private:
    std::string MakeName();
    std::string MakePath();
    bool FitsIn(const FileContents &files, const std::string &path) const;

    std::mt19937 mRandom;
};
} // namespace Keld::Test
