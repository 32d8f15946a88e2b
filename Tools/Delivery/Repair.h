#pragma once

#include "Tools/Delivery/Signature.h"
#include "Tools/Delivery/Source.h"
#include "Tools/Delivery/WorkCalls.h"
#include "Tools/TreeReader/Fault.h"
#include "Tools/TreeReader/TreeSet.h"

#include <functional>
#include <string>
#include <vector>

namespace Keld::Delivery
{
struct RepairRequest
{
    std::string root;
    std::vector<TreeReader::ReleaseName> releases;
    Source *source = nullptr;       ///< null: only tell what would be needed
    const PublicKey *key = nullptr; ///< with one, only what a signed shiplist tells of is taken
    bool sync = true;               ///< bring to disk what a loss of power could otherwise turn round
    unsigned threadCount = 1;
    std::function<void()> step = [] {}; ///< called before each step that changes the tree; for tests
    WorkCalls calls = {};
};

/// A file on disk that is not as it should be.
struct RepairNeed
{
    std::string path; ///< below the root; a directory where a fault concerns all of it
    bool isMissing = false;
    uint64 size = 0;                    ///< bytes that the file should have, or has where nobody knows
    std::vector<ByteRange> ranges = {}; ///< what is damaged of it, ascending; none where it is needed as a whole

    /// Bytes that are needed.
    uint64 GetNeededBytes() const;
};

struct RepairReport
{
    std::vector<RepairNeed> needs;            ///< what was found, by path
    std::vector<std::string> notes;           ///< what could not be asked or done, one sentence each
    uint64 broughtFiles = 0;                  ///< that were replaced or came back
    uint64 broughtBytes = 0;                  ///< that came from the source for them
    std::vector<TreeReader::Fault> remaining; ///< faults that are left

    bool IsWhole() const { return remaining.empty(); }
};

/// Finds what is damaged or missing of releases, and gets that back from a source, where there is one.
///
/// What is right is told by the source's shiplist of a release, over every byte of every file. Where the source is a
/// directory without one, it is made from the release there, which must be whole. Where a server has none, what is
/// fetched is held against the digests of the manifest, and damage that no reader sees stays. Without a source the
/// tree's own shiplist tells, and what a check of the tree finds.
///
/// Of an archive of which only some ranges are damaged, these alone are fetched, into a copy that is proved as a whole.
/// Files are replaced one by one, each in one step, under the locks of all projects and solutions concerned. Throws
/// TreeError where the source holds another release of the same version, SourceError and std::system_error.
RepairReport Repair(const RepairRequest &request);
} // namespace Keld::Delivery
