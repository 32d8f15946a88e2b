#include "Tools/Delivery/Arrival/DownloadPlace.h"

#include "Tools/TreeReader/ContentDigest.h"

#include <array>
#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Keld::Delivery
{
namespace
{
constexpr std::size_t LongestTag = 2048;

/// A path of any length, with names of any kind, as one name.
std::string NameOfTag(const std::string &path)
{
    return TreeReader::DigestText(TreeReader::DigestOf(path));
}
} // namespace

DownloadPlace::DownloadPlace(Arrival &arrival) : mArrival(arrival), mStaging(arrival.GetStaging()) {}

std::string DownloadPlace::GetPlace(const std::string &path) const
{
    return mArrival.IsAccepted(path) ? mArrival.GetAcceptedPlace(path) : mArrival.GetPartialPlace(path);
}

std::optional<uint64> DownloadPlace::GetSize(const std::string &path) const
{
    struct stat status = {};
    if (lstat(GetPlace(path).c_str(), &status) != 0 || !S_ISREG(status.st_mode))
    {
        return std::nullopt;
    }
    return static_cast<uint64>(status.st_size);
}

std::string DownloadPlace::GetTag(const std::string &path) const
{
    const Common::Descriptor tags = OpenTags();
    const Common::Descriptor tag(openat(tags.Get(), NameOfTag(path).c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    std::array<char, LongestTag> text;
    const ssize_t count = tag.IsOpen() ? read(tag.Get(), text.data(), text.size()) : 0;
    return {text.data(), count > 0 ? static_cast<std::size_t>(count) : 0};
}

void DownloadPlace::SetTag(const std::string &path, const std::string &tag) const
{
    const Common::Descriptor tags = OpenTags();
    const std::string name = NameOfTag(path);
    if (tag.empty() || tag.size() > LongestTag)
    {
        unlinkat(tags.Get(), name.c_str(), 0); // what is not there need not go
        return;
    }
    Common::NewFile file(tags.Get(), name);
    file.Write(tag);
    file.Publish();
}

void DownloadPlace::Remove(const std::string &path) const
{
    SetTag(path, "");
    mArrival.RemovePartial(path);
}

void DownloadPlace::Write(const std::string &path, std::string_view bytes) const
{
    PartFile file(*this, path);
    file.Restart("");
    file.Append(bytes);
    file.Close();
}

PartFile::PartFile(const DownloadPlace &place, std::string path)
    : mPlace(place), mPath(std::move(path)), mFile(place.GetArrival().OpenPartial(mPath))
{
    const off_t end = lseek(mFile.Get(), 0, SEEK_END);
    if (end < 0)
    {
        Fail();
    }
    mSize = static_cast<uint64>(end);
}

void PartFile::Restart(const std::string &tag)
{
    // Never bytes of one file under the tag of another, wherever the process ends.
    if (mSize != 0 && (ftruncate(mFile.Get(), 0) != 0 || lseek(mFile.Get(), 0, SEEK_SET) != 0))
    {
        Fail();
    }
    mSize = 0;
    mPlace.SetTag(mPath, tag);
}

void PartFile::Append(std::string_view bytes)
{
    while (!bytes.empty())
    {
        const ssize_t count = write(mFile.Get(), bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR)
        {
            Fail();
        }
        const std::size_t written = count > 0 ? static_cast<std::size_t>(count) : 0;
        bytes.remove_prefix(written);
        mSize += written;
    }
}

void PartFile::Close()
{
    if (!mFile.Close())
    {
        Fail();
    }
}

void PartFile::Fail() const
{
    throw std::system_error(errno, std::generic_category(), "cannot write what comes of " + mPath);
}
} // namespace Keld::Delivery
