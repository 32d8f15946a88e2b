#include "Trees/MemorySource.h"

#include "Tools/Delivery/Sources/BroughtFile.h"
#include "Tools/Delivery/Sources/SourceError.h"

namespace Keld::Fuzz
{
using Delivery::SourceError;
using Delivery::SourceTrouble;

MemorySource::MemorySource(const TreeInput &input, unsigned lies, std::vector<std::string> names)
    : mInput(input), mLies(lies), mNames(std::move(names))
{
}

const std::string *MemorySource::Find(const std::string &path) const
{
    const std::string *bytes = mInput.Find(Prefix + path);
    if (bytes == nullptr && (mLies & ForbidsMissing) != 0)
    {
        throw SourceError(SourceTrouble::NotAllowed, path + ": may not be read");
    }
    return bytes;
}

std::optional<LargeVector<char>> MemorySource::ReadWhole(const std::string &path, uint64 limit)
{
    const std::string *bytes = Find(path);
    if (bytes == nullptr)
    {
        return std::nullopt;
    }
    Delivery::RequireNotLarger(path, bytes->size(), limit);
    LargeVector<char> copy;
    copy.resize(bytes->size());
    std::copy(bytes->begin(), bytes->end(), copy.data());
    return copy;
}

void MemorySource::ReadRanges(const std::string &path, const std::vector<Delivery::ByteRange> &ranges,
                              const Delivery::RangeSink &sink)
{
    if ((mLies & NoRanges) != 0)
    {
        throw SourceError(SourceTrouble::NoRanges, path + ": comes whole alone");
    }
    const std::string *bytes = Find(path);
    for (std::size_t number = 0; number < ranges.size(); ++number)
    {
        const auto [offset, size] = ranges[number];
        if (bytes == nullptr || offset > bytes->size() || size > bytes->size() - offset)
        {
            throw SourceError(SourceTrouble::Untrue, path + ": ends before that");
        }
        sink(number, std::string_view(*bytes).substr(static_cast<std::size_t>(offset), static_cast<std::size_t>(size)));
    }
}

std::optional<uint64> MemorySource::GetSize(const std::string &path)
{
    const std::string *bytes = Find(path);
    return bytes != nullptr ? std::optional<uint64>(bytes->size() + ((mLies & WrongSizes) != 0 ? 1 : 0)) : std::nullopt;
}

std::optional<std::vector<std::string>> MemorySource::ListNames(const std::string &directory)
{
    if ((mLies & NoNames) != 0)
    {
        return std::nullopt;
    }
    const std::string prefix = Prefix + directory + "/";
    std::vector<std::string> names = mNames;
    for (const TreeEntry &entry : mInput.entries)
    {
        if (entry.kind == TreeEntry::File && entry.path.starts_with(prefix))
        {
            names.push_back(entry.path.substr(prefix.size()));
        }
    }
    return names;
}

void MemorySource::Bring(std::vector<Delivery::Download> &downloads, const Delivery::DownloadPlace &place,
                         const Delivery::DownloadCalls &calls)
{
    for (Delivery::Download &download : downloads)
    {
        calls.checkpoint();
        if (!IsBrought(download, place, calls))
        {
            BringOne(download, place, calls);
        }
    }
}

void MemorySource::BringOne(Delivery::Download &download, const Delivery::DownloadPlace &place,
                            const Delivery::DownloadCalls &calls) const
{
    const std::string *bytes = Find(download.path);
    if (bytes == nullptr)
    {
        RequireMayLack(download, download.path);
        return;
    }
    RequireExpectedSize(download, download.path, bytes->size());
    Delivery::PartFile part(place, download.path);
    part.Restart("");
    part.Append(*bytes);
    calls.advance(bytes->size());
    part.Close();
    download.isThere = true;
}
} // namespace Keld::Fuzz
