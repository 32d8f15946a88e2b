#pragma once

#include "Tools/TreeChecker/StoredFiles.h"

#include <functional>
#include <vector>

namespace Keld::TreeChecker
{
struct ContentCheckOptions
{
    unsigned threadCount = 1;
    std::function<void(uint64)> advance; ///< told of bytes of content that were gone through; by any thread
    std::function<void()> checkpoint;    ///< called again and again, by any thread; what it throws ends the check
};

/// Reads every unit once, in the order in which they lie on disk, decodes it and holds it against its digest.
void CheckContents(const StoredFiles &files, std::vector<StoredUnit> units, const ContentCheckOptions &options,
                   CheckReport &report);
} // namespace Keld::TreeChecker
