#pragma once

#include "Tools/TreeReader/Storage.h"
#include "Tools/TreeReader/View.h"

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace Keld::TreeChecker
{
/// One thing that a check found, as a value: what is wrong, where on disk, which virtual paths it concerns and who uses
/// them.
struct Finding
{
    /// `path` is the file or directory on disk; `offset` and `size` are the bytes of it, where `size` is not 0.
    TreeReader::Fault fault;
    std::vector<std::string> files = {};             ///< virtual paths; none where a file on disk is wrong as a whole
    std::optional<TreeReader::Storage> storage = {}; ///< of these files
    std::string archive = {};                        ///< path of the index, for what lies in an archive
    std::vector<uint32> users = {};                  ///< places in CheckReport::releases, ascending
};

/// What a check of a tree found.
struct CheckReport
{
    /// The releases and solutions that were looked at: whom findings may name as users.
    std::vector<TreeReader::ReleaseName> releases;

    std::vector<Finding> faults; ///< what somebody who reads would see, or is in danger to see
    std::vector<Finding> notes;  ///< what is worth knowing and hurts no reader

    uint64 files = 0;        ///< that the manifests of all releases list
    uint64 archives = 0;     ///< whose indexes were checked
    uint64 ranges = 0;       ///< stored files, each counted once however many releases use it
    uint64 storedBytes = 0;  ///< of them
    uint64 contentBytes = 0; ///< that they hold, uncompressed

    bool IsWhole() const { return faults.empty(); }

    /// Adds a fault; users go to the one that was added so already where another release has met the same.
    void AddFault(Finding finding);

    /// By place on disk, so that the order does not depend on which thread found what.
    void Sort();

private:
    using FaultKey = std::tuple<TreeReader::FaultKind, std::string, std::string, std::vector<std::string>>;

    std::map<FaultKey, std::size_t> mAdded; ///< place in `faults` by kind, path, text and files; empty once sorted
};

/// Adds those that are not there yet. Both are ascending.
void MergeUsers(std::vector<uint32> &users, const std::vector<uint32> &more);
} // namespace Keld::TreeChecker
