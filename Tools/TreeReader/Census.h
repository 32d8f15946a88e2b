#pragma once

#include "Tools/TreeReader/View.h"

#include <string>
#include <vector>

namespace Keld::TreeReader
{
/// What is wrong with a file system before anybody reads from it: files that are missing, and archive indexes that
/// cannot be used. The contents are not looked at.
struct Census
{
    uint64 files = 0;            ///< that the manifests list
    uint64 missing = 0;          ///< of them
    std::vector<Fault> examples; ///< of missing files, the first few; each path is the virtual one
    std::vector<Fault> indexes;  ///< every unusable index of the archives that are needed

    bool IsWhole() const { return missing == 0 && indexes.empty(); }

    /// Lines for a person: a count, then the examples. Empty when all is whole.
    std::string GetSummary() const;
};

inline constexpr uint_size CensusExamples = 3;

/// Takes a census of all layers. Costs one look at each directory and each archive index; what is found out is kept in
/// the releases, so that whoever serves from them afterwards asks the disk no more.
Census TakeCensus(const View &view, unsigned threadCount);
} // namespace Keld::TreeReader
