#pragma once

#include "Tools/Delivery/Sums/ContentBench.h"

#include <functional>
#include <string>
#include <vector>

namespace Keld::Delivery
{
struct ProofOptions
{
    unsigned threadCount = 1;
    std::function<void(uint64)> advance = [](uint64) {}; ///< told of bytes that were read; by any thread
    std::function<void()> checkpoint = [] {};            ///< by any thread; what it throws ends the work
};

/// Decodes contents of a release on all threads, in the given order, many small ones side by side.
/// \param ownerCount how many files on disk they are parts of
/// \returns of each such file why it is not as it should be, by its first content that is wrong; else an empty text
std::vector<std::string> ProveContents(const TreeReader::Release &release, const std::vector<ContentToProve> &contents,
                                       std::size_t ownerCount, const ProofOptions &options);
} // namespace Keld::Delivery
