#pragma once

#include "Tools/morv/ExtractPlan.h"

#include "Tools/Common/OutputDirectory.h"

#include <functional>
#include <string>
#include <vector>

namespace Keld::Morv
{
struct ExtractOptions
{
    unsigned threadCount = 1;
    bool update = false;      ///< leaves a file that is there already with the size and digest of the manifest
    bool checkDigests = true; ///< of what is written; --update compares digests in any case

    std::function<void(uint64)> advance = [](uint64) {}; ///< so many more bytes are done; from any thread
    std::function<void()> checkpoint = [] {}; ///< may throw, which ends all and is passed on; from any thread
};

struct ExtractCount
{
    uint64 files = 0;
    uint64 bytes = 0;
};

struct ExtractReport
{
    ExtractCount written;
    ExtractCount kept;                    ///< by --update
    std::vector<ExtractFailure> failures; ///< those of the plan included, by path
    uint64 leftovers = 0;                 ///< temporary files of killed extractions that were removed
    uint64 notBegun = 0;                  ///< files, after what is told in `stopped`
    std::string stopped;                  ///< why no further file was begun, as a full disk; empty when all were
};

/// Writes what a plan says. A file appears whole or not at all; what fails is told, and the others are written. A file
/// of the same name is replaced. In the directories of the plan, temporary files that killed extractions left are
/// removed.
ExtractReport Extract(const TreeReader::View &view, ExtractPlan plan, const Common::OutputDirectory &target,
                      const ExtractOptions &options);
} // namespace Keld::Morv
