#include "Tools/Delivery/Arrival/RangeProgress.h"

#include "Tools/Delivery/Arrival/ArrivalJournal.h"
#include "Tools/Delivery/Arrival/FileWriting.h"
#include "Tools/Delivery/Text/TextLines.h"
#include "Tools/TreeReader/ContentDigest.h"
#include "Tools/TreeReader/DiskFile.h"

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace Keld::Delivery
{
namespace
{
constexpr uint64 LargestProgress = uint64(1) << 30; // bytes

std::string HeadFor(const std::string &state)
{
    std::string boot = IdentifyBoot();
    while (boot.ends_with('\n'))
    {
        boot.pop_back();
    }
    return "ranges " + boot + " " + state + "\n";
}
} // namespace

RangeProgress::RangeProgress(const DownloadPlace &place, const std::string &path, const std::vector<uint64> &sizes,
                             const std::string &state)
    : mDone(sizes.size(), 0), mHead(HeadFor(state))
{
    const Common::Descriptor directory = place.OpenStaging("ranges");
    const std::string name = TreeReader::DigestText(TreeReader::DigestOf(path));
    const std::string file = place.GetArrival().GetStaging() + "/ranges/" + name;
    const auto image = TreeReader::ReadFileImage(file, LargestProgress);
    if (!image || !place.GetSize(path) || !Read({image->data(), image->size()}, sizes))
    {
        place.Remove(path);
        mDone.assign(sizes.size(), 0);
        mFound = 0;
    }
    // What was half written by a process that was killed goes.
    constexpr int flags = O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC;
    mFile = Common::Descriptor(openat(directory.Get(), name.c_str(), flags, 0666));
    if (!mFile.IsOpen())
    {
        throw std::system_error(errno, std::generic_category(), "cannot make " + file);
    }
    std::string text = mHead;
    for (std::size_t range = 0; range < mDone.size(); ++range)
    {
        text += mDone[range] != 0 ? std::to_string(range) + " " + std::to_string(mDone[range]) + "\n" : "";
    }
    Write(text);
}

/// Each line tells a range and bytes more of it. The last one may be cut off.
bool RangeProgress::Read(std::string_view text, const std::vector<uint64> &sizes)
{
    TextLines lines(text);
    std::string_view line;
    if (!lines.Next(line) || std::string(line) + "\n" != mHead)
    {
        return false;
    }
    while (lines.Next(line))
    {
        uint64 range = 0;
        uint64 bytes = 0;
        const bool isRead = ReadCountAndSize(line, range, bytes) && range < sizes.size() &&
                            bytes <= sizes[static_cast<std::size_t>(range)] - mDone[static_cast<std::size_t>(range)];
        if (!isRead)
        {
            return false;
        }
        mDone[static_cast<std::size_t>(range)] += bytes;
        mFound += bytes;
    }
    return true;
}

void RangeProgress::Note(std::size_t range, uint64 bytes)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    mDone[range] += bytes;
    Write(std::to_string(range) + " " + std::to_string(bytes) + "\n");
}

void RangeProgress::Write(std::string_view text)
{
    WriteAllAt(mFile.Get(), mEnd, text, "how far a download is");
    mEnd += text.size();
}
} // namespace Keld::Delivery
