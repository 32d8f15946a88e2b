#pragma once

#include "Tools/TreeMount/NodeStatus.h"

#include <string>
#include <vector>

namespace Keld::Morv
{
/// What "-o" takes, in the words that mount knows.
struct MountOptions
{
    TreeMount::Ownership ownership; ///< of the user who mounts, unless the options say otherwise
    bool allowOther = false;
    bool allowNonEmpty = false;
    std::string subdirectory; ///< as it was typed
};

/// Reads the texts behind each "-o": words with commas between them; "\," is a comma in a word. Throws UsageError.
MountOptions ParseMountOptions(const std::vector<std::string> &texts);

/// A number of bytes, with K, M, G or T for powers of 1024. Throws UsageError.
uint64 ParseCacheSize(const std::string &text);
} // namespace Keld::Morv
