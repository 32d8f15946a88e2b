#include "Support/ManifestImage.h"

#include <algorithm>
#include <stdexcept>

namespace Keld::Test
{
namespace
{
std::string Join(const std::string &directory, const std::string &name)
{
    return directory.empty() ? name : directory + "/" + name;
}

template <class Numbered>
std::uint32_t IndexOf(const std::vector<Numbered> &records, std::string_view path)
{
    const auto found = std::find_if(records.begin(), records.end(),
                                    [path](const Numbered &record)
                                    {
                                        return record.path == path;
                                    });
    if (found == records.end())
    {
        throw std::invalid_argument("the manifest has no record of " + std::string(path));
    }
    return static_cast<std::uint32_t>(found - records.begin());
}
} // namespace

ManifestImage::ManifestImage(std::string project, std::uint32_t releaseVersion, Record record)
    : mProject(std::move(project)), mReleaseVersion(releaseVersion), mRecord(record), mNodes(1)
{
}

ManifestImage &ManifestImage::File(std::string_view path, ManifestFile file)
{
    const std::size_t slash = path.rfind('/');
    const bool isInRoot = slash == std::string_view::npos;
    const std::size_t node = NodeOf(isInRoot ? std::string_view() : path.substr(0, slash));
    const std::string_view name = isInRoot ? path : path.substr(slash + 1);
    mNodes[node].files.emplace_back(name, std::move(file));
    return *this;
}

ManifestImage &ManifestImage::Directory(std::string_view path)
{
    NodeOf(path);
    return *this;
}

ManifestImage &ManifestImage::RootName(std::string name)
{
    mNodes[0].name = std::move(name);
    return *this;
}

ManifestImage &ManifestImage::Patch(std::size_t offset, std::uint32_t word)
{
    mPatches.emplace_back(offset, word);
    return *this;
}

ManifestImage &ManifestImage::Append(std::string_view bytes)
{
    mAppended += bytes;
    return *this;
}

std::size_t ManifestImage::NodeOf(std::string_view path)
{
    std::size_t node = 0;
    while (!path.empty())
    {
        const std::size_t slash = std::min(path.find('/'), path.size());
        const std::string name(path.substr(0, slash));
        path.remove_prefix(std::min(slash + 1, path.size()));

        const std::vector<std::size_t> &children = mNodes[node].directories;
        const auto found = std::find_if(children.begin(), children.end(),
                                        [&](std::size_t child)
                                        {
                                            return mNodes[child].name == name;
                                        });
        if (found != children.end())
        {
            node = *found;
            continue;
        }
        mNodes.push_back({name, {}, {}});
        mNodes[node].directories.push_back(mNodes.size() - 1);
        node = mNodes.size() - 1;
    }
    return node;
}

ManifestImage::Numbering ManifestImage::Number() const
{
    Numbering numbering;
    numbering.directories.push_back({"", 0, 0, 0});
    for (std::size_t index = 0; index < numbering.directories.size(); ++index)
    {
        const std::string path = numbering.directories[index].path;
        const Node &node = mNodes[numbering.directories[index].node];
        numbering.directories[index].firstSubdirectory = static_cast<std::uint32_t>(numbering.directories.size());
        numbering.directories[index].firstFile = static_cast<std::uint32_t>(numbering.files.size());
        for (const std::size_t child : node.directories)
        {
            numbering.directories.push_back({Join(path, mNodes[child].name), child, 0, 0});
        }
        for (const auto &file : node.files)
        {
            numbering.files.push_back({Join(path, file.first), &file});
        }
    }
    return numbering;
}

std::uint32_t ManifestImage::DirectoryIndex(std::string_view path) const
{
    return IndexOf(Number().directories, path);
}

std::uint32_t ManifestImage::FileIndex(std::string_view path) const
{
    return IndexOf(Number().files, path);
}

std::string ManifestImage::Strings(const Numbering &numbering) const
{
    std::string strings = mNodes[0].name + '\0' + mProject + '\0';
    for (std::size_t index = 1; index < numbering.directories.size(); ++index)
    {
        strings += mNodes[numbering.directories[index].node].name + '\0';
    }
    for (const NumberedFile &file : numbering.files)
    {
        strings += file.file->first + '\0';
    }
    return strings;
}

std::string ManifestImage::Bytes() const
{
    const Numbering numbering = Number();
    const auto directoryCount = static_cast<std::uint32_t>(numbering.directories.size());
    const auto fileCount = static_cast<std::uint32_t>(numbering.files.size());

    ByteImage image;
    image.Raw(0, "QVMF").Word(4, mRecord == Record::V0 ? 0x10001 : 0x10002).Word(8, 1).Word(12, mReleaseVersion);
    image.Word(16, directoryCount);
    std::size_t offset = 20;
    for (std::uint32_t index = 0; index < directoryCount; ++index, offset += 20)
    {
        const NumberedDirectory &directory = numbering.directories[index];
        const Node &node = mNodes[directory.node];
        image.Word(offset, index == 0 ? 0 : index + 1);
        image.Word(offset + 4, directory.firstSubdirectory);
        image.Word(offset + 8, static_cast<std::uint32_t>(node.directories.size()));
        image.Word(offset + 12, directory.firstFile);
        image.Word(offset + 16, static_cast<std::uint32_t>(node.files.size()));
    }
    image.Word(offset, fileCount);
    offset += 4;
    for (std::uint32_t index = 0; index < fileCount; ++index, offset += FileRecordSize())
    {
        const ManifestFile &file = numbering.files[index].file->second;
        std::string digest = file.digest;
        std::string trailing = file.trailing;
        digest.resize(16);
        trailing.resize(FileRecordSize() - 32);
        image.Word(offset, directoryCount + 1 + index).Word(offset + 4, file.version).Raw(offset + 8, digest);
        image.Word(offset + 24, file.flags).Word(offset + 28, file.size).Raw(offset + 32, trailing);
    }
    const std::string strings = Strings(numbering);
    image.Word(offset, directoryCount + 1 + fileCount).Word(offset + 4, static_cast<std::uint32_t>(strings.size()));
    image.Raw(offset + 8, strings + mAppended);
    for (const auto &[place, word] : mPatches)
    {
        image.Word(place, word);
    }
    return image.Bytes();
}
} // namespace Keld::Test
