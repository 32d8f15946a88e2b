#include "Tools/TreeReader/ReleaseContents.h"

#include "Tools/TreeReader/ManifestTree.h"
#include "Tools/TreeReader/TreeError.h"

#include "KeldFoundation/CStd/PathLimit.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <optional>
#include <utility>

namespace Keld::TreeReader
{
namespace
{
/// Paths grow with each level: without a limit a small damaged file could fill the memory.
bool CanBeAskedFor(const std::string &prefix, const char *name)
{
    return prefix.size() + strnlen(name, PathBufferSize) < PathBufferSize;
}

/// The entries of one manifest as values, level by level.
class ContentsMaker
{
public:
    explicit ContentsMaker(const ManifestTree &tree) : mTree(tree), mPrefixes(tree.GetDirectoryCount())
    {
        mContents.project = tree.GetProjectName();
        mContents.release = tree.GetReleaseVersion();
        mContents.formatVersion = tree.GetFormatVersion();
        mPrefixes[RootEntry] = "";
    }

    ReleaseContents Make()
    {
        for (const EntryIndex directory : mTree.GetDirectoriesByLevel())
        {
            if (const std::optional<std::string> prefix = std::exchange(mPrefixes[directory], std::nullopt))
            {
                AddFiles(directory, *prefix);
                AddSubdirectories(directory, *prefix);
            }
        }
        return std::move(mContents);
    }

private:
    void AddSubdirectories(EntryIndex directory, const std::string &prefix)
    {
        const EntryRange range = mTree.GetSubdirectories(directory);
        for (EntryIndex child = range.first; child < range.first + range.count; ++child)
        {
            if (CanBeAskedFor(prefix, mTree.GetName(child)))
            {
                mContents.directories.push_back(prefix + mTree.GetName(child));
                mPrefixes[child] = mContents.directories.back() + "/";
            }
        }
    }

    void AddFiles(EntryIndex directory, const std::string &prefix)
    {
        const EntryRange range = mTree.GetFiles(directory);
        for (EntryIndex child = range.first; child < range.first + range.count; ++child)
        {
            if (!CanBeAskedFor(prefix, mTree.GetName(child)))
            {
                continue;
            }
            const auto &record = mTree.GetFields(child);
            ReleaseFile &file = mContents.files.emplace_back();
            file.path = prefix + mTree.GetName(child);
            file.version = record.version;
            std::copy(std::begin(record.digest), std::end(record.digest), file.digest.begin());
            file.flags = record.flags;
            file.size = record.size;
        }
    }

    const ManifestTree &mTree;
    std::vector<std::optional<std::string>> mPrefixes; // none: too long to be asked for, or done
    ReleaseContents mContents;
};
} // namespace

std::string DigestText(const Digest &digest)
{
    constexpr const char *digits = "0123456789abcdef";
    std::string text;
    text.reserve(2 * digest.size());
    for (const unsigned char byte : digest)
    {
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

ReleaseContents MakeContents(const ManifestTree &tree)
{
    return ContentsMaker(tree).Make();
}

std::string ReadWholeFile(const std::filesystem::path &path)
{
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status))
    {
        throw TreeError("cannot read " + path.string() + ": it is no regular file"); // and a pipe would not even open
    }
    errno = 0;
    std::ifstream stream(path, std::ios::binary | std::ios::ate);
    const auto size = stream.tellg();
    std::string bytes(size > 0 ? static_cast<uint_size>(size) : 0, '\0');
    stream.seekg(0);
    stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!stream)
    {
        throw TreeError("cannot read " + path.string() + ": " + (errno != 0 ? std::strerror(errno) : "it ended early"));
    }
    return bytes;
}
} // namespace Keld::TreeReader
