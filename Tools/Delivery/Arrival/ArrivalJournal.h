#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace Keld::Delivery
{
/// How a file looks on disk; a rename keeps it so.
struct FileMark
{
    uint64 inode = 0;
    uint64 size = 0;
    int64_t modified = 0; ///< nanoseconds

    bool operator==(const FileMark &other) const = default;
};

/// Nothing for what is not there or is no plain file.
/// \throws TreeError if it cannot be looked at: what arrived would else be taken for missing, and removed.
std::optional<FileMark> FindFileMark(const std::string &place);

/// A text that differs between any two runs of the machine, or an empty one where the system does not tell. What was
/// written in another run of it may never have reached the disk.
std::string IdentifyBoot();

/// What a publication is to bring to its places, and how each file looked when all was ready. It is written before the
/// first file moves and stays until the last one has, so that the next run knows what a killed one has moved already.
class ArrivalJournal
{
public:
    /// \param file where it stands; what does not read well is no journal
    explicit ArrivalJournal(std::string file);

    /// The mark of a file below the root, or null.
    const FileMark *Find(const std::string &path) const;

    const std::unordered_map<std::string, FileMark> &GetMarks() const { return mMarks; }

    /// Replaces what stands there, in one step, and what was read.
    void Write(std::unordered_map<std::string, FileMark> marks);

    /// Forgets what was read.
    void Forget() { mMarks.clear(); }

private:
    const std::string mFile;
    std::unordered_map<std::string, FileMark> mMarks; ///< of a publication that has not ended, by path
};
} // namespace Keld::Delivery
