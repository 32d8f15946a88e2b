#pragma once

#include "Tools/Delivery/Sums/ShipList.h"
#include "Tools/Delivery/Sums/WorkCalls.h"
#include "Tools/TreeReader/View.h"

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Keld::Delivery
{
/// Reads a file as it lies on disk.
/// \param place on disk
/// \param path  below the tree's root, for the result
TreeReader::Result<ShippedFile> SumFile(const std::string &place, const std::string &path, const WorkCalls &calls);

/// Whether this is all that a file holds.
bool HoldsText(const std::string &place, std::string_view text);

/// Sums of files of one tree, each of which is read once.
class FileSums
{
public:
    FileSums(std::string root, unsigned threadCount, const WorkCalls &calls);

    /// Reads what is not known yet. Throws TreeError for what cannot be read.
    void Read(const std::vector<std::string> &paths);

    /// Of a file that was read.
    const ShippedFile &Get(const std::string &path) const { return mFiles.at(path); }

private:
    const std::string mRoot;
    const unsigned mThreadCount;
    const WorkCalls &mCalls;
    std::unordered_map<std::string, ShippedFile> mFiles; ///< by path below the root
};

/// Everything that a release is served from. Throws TreeError for a release that is not whole or leads out of the tree.
ShipList ListRelease(const TreeReader::View &view, FileSums &sums, const std::string &root, unsigned threadCount);

/// Throws TreeError, with the first faults, unless all that these releases need is there and undamaged.
void RequireUndamaged(const std::string &root, const std::vector<TreeReader::ReleaseName> &releases,
                      unsigned threadCount, const WorkCalls &calls);
} // namespace Keld::Delivery
