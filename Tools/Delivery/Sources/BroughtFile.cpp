#include "Tools/Delivery/Sources/BroughtFile.h"

#include <charconv>

namespace Keld::Delivery
{
namespace
{
constexpr uint64 SmallSize = 64 << 10; // bytes; what is no larger comes again from its start
}

bool IsBrought(Download &download, const DownloadPlace &place, const DownloadCalls &calls)
{
    const std::optional<uint64> size = place.GetSize(download.path);
    if (!size)
    {
        return false;
    }
    const std::optional<TagContent> tag = ReadTag(download.size ? "" : place.GetTag(download.path));
    const bool isWhole = place.GetArrival().IsAccepted(download.path) || size == download.size ||
                         (tag && tag->size == *size && *size <= download.largest);
    if (isWhole)
    {
        download.isThere = true;
        download.isPieced = true;
        calls.found(*size);
        calls.grown(download.path, *size);
    }
    else if (download.size && *size > *download.size)
    {
        place.Remove(download.path);
    }
    return isWhole;
}

std::string MakeTag(const Download &download, uint64 size, const std::string &identity)
{
    const bool isSmall = download.size && *download.size <= SmallSize;
    return isSmall || identity.empty() ? "" : std::to_string(size) + " " + identity;
}

std::optional<TagContent> ReadTag(const std::string &tag)
{
    TagContent content;
    const char *end = tag.data() + tag.size();
    const auto [behind, error] = std::from_chars(tag.data(), end, content.size);
    if (error != std::errc() || behind == end || *behind != ' ')
    {
        return std::nullopt;
    }
    content.identity.assign(behind + 1, end);
    return content;
}

void RequireExpectedSize(const Download &download, const std::string &name, uint64 size)
{
    if (!download.size)
    {
        RequireNotLarger(name, size, download.largest);
        return;
    }
    if (size != *download.size)
    {
        throw SourceError(SourceTrouble::Untrue, name + ": it has " + std::to_string(size) +
                                                     " bytes there instead of " + std::to_string(*download.size));
    }
}

void RequireNotLarger(const std::string &name, uint64 size, uint64 limit)
{
    if (size > limit)
    {
        throw SourceError(SourceTrouble::Untrue, name + ": it has " + std::to_string(size) +
                                                     " bytes there, and no more than " + std::to_string(limit) +
                                                     " are taken for it");
    }
}

void RequireMayLack(const Download &download, const std::string &name)
{
    if (!download.mayLack)
    {
        throw SourceError(SourceTrouble::NotThere, name + ": it is not there");
    }
}
} // namespace Keld::Delivery
