#pragma once

#include "Tools/Common/OutputDirectory.h"
#include "Tools/Delivery/Arrival/DownloadPlace.h"

#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace Keld::Delivery
{
/// How much has come of each of several ranges that go into one file in the making, kept on disk, so that a later run
/// goes on with it. Bytes are noted after they were written, so never more is noted than has come. Any thread may note.
class RangeProgress
{
public:
    /// Takes up what an earlier run noted for the same file, ranges and state of the source, since the machine was
    /// started; else begins anew, and takes away what came of the file.
    /// \param path  of the file below the root
    /// \param sizes of the ranges
    /// \param state a text without a line feed that differs where the ranges would be of other bytes
    RangeProgress(const DownloadPlace &place, const std::string &path, const std::vector<uint64> &sizes,
                  const std::string &state);

    /// Bytes of a range that have come.
    uint64 GetDone(std::size_t range) const { return mDone[range]; }

    /// Of all ranges, when this was made.
    uint64 GetFound() const { return mFound; }

    void Note(std::size_t range, uint64 bytes);

private:
    bool Read(std::string_view text, const std::vector<uint64> &sizes);
    void Write(std::string_view text);

    Common::Descriptor mFile;
    std::mutex mMutex; ///< guards the two below
    uint64 mEnd = 0;   ///< of the file, in bytes
    std::vector<uint64> mDone;
    uint64 mFound = 0;
    const std::string mHead; ///< the first line
};
} // namespace Keld::Delivery
