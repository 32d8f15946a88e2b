#include "Tools/TreeMount/NodeProperties.h"

#include "Tools/TreeReader/ReleaseContents.h"

#include <algorithm>
#include <iterator>

namespace Keld::TreeMount
{
using TreeReader::Hit;
using TreeReader::Storage;

namespace
{
constexpr std::string_view Prefix = "user.morv.";

class PropertyList
{
public:
    void Add(std::string_view name, std::string value)
    {
        mProperties.push_back({std::string(Prefix).append(name), std::move(value)});
    }

    std::vector<NodeProperty> Take() { return std::move(mProperties); }

private:
    std::vector<NodeProperty> mProperties;
};

void AddPlace(const TreeReader::StoredFile &stored, PropertyList &list)
{
    list.Add("path", stored.path);
    if (stored.storage == Storage::Archive)
    {
        list.Add("archive", stored.archive->GetName());
        list.Add("compression", NameOf(stored.compression));
        list.Add("offset", std::to_string(stored.offset));
    }
    list.Add("stored_size", std::to_string(stored.storedSize));
}
} // namespace

std::vector<NodeProperty> GetProperties(const MountedTree &tree, const Hit &node)
{
    const TreeReader::Release &release = tree.GetRelease(node);
    PropertyList list;
    list.Add("project", release.GetProject());
    list.Add("release", FormatVersion(release.GetVersion()));
    if (tree.IsDirectory(node))
    {
        return list.Take();
    }
    const auto &fields = release.GetTree().GetFields(node.entry);
    list.Add("version", FormatVersion(fields.version));
    list.Add("storage", NameOf(TreeReader::StorageOf(fields.flags)));
    TreeReader::Digest digest;
    std::copy(std::begin(fields.digest), std::end(fields.digest), digest.begin());
    list.Add("digest", TreeReader::DigestText(digest));
    if (const auto stored = release.Locate(node.entry))
    {
        AddPlace(*stored, list);
    }
    return list.Take();
}

std::optional<std::string> FindProperty(const MountedTree &tree, const Hit &node, std::string_view name)
{
    if (!name.starts_with(Prefix))
    {
        return std::nullopt;
    }
    for (NodeProperty &property : GetProperties(tree, node))
    {
        if (property.name == name)
        {
            return std::move(property.value);
        }
    }
    return std::nullopt;
}
} // namespace Keld::TreeMount
