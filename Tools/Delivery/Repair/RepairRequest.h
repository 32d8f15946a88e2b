#pragma once

#include "Tools/Delivery/Keys/PublicKey.h"
#include "Tools/Delivery/Sources/Source.h"
#include "Tools/Delivery/Sums/WorkCalls.h"
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
    bool isWholeTree = false;       ///< nobody named releases: what the source has besides is told
    Source *source = nullptr;       ///< null: only tell what would be needed
    const PublicKey *key = nullptr; ///< with one, only what a signed shiplist tells of is taken
    bool protect = false;           ///< leave all archives of the releases in directories that nobody may write
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
} // namespace Keld::Delivery
