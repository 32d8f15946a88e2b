#include "Tools/TreeReader/ContentList.h"

#include "KeldFoundation/CStd/Hash.h"
#include "KeldFoundation/CStd/PathLimit.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace Keld::TreeReader
{
namespace
{
// A '/' comes before every other byte, so that a directory's content stands behind it and in front of "directory-2".
constexpr std::array<unsigned char, 256> MakeKeys()
{
    std::array<unsigned char, 256> keys{};
    for (unsigned byte = 0; byte < keys.size(); ++byte)
    {
        keys[byte] = byte == '/' ? 0 : static_cast<unsigned char>(FoldCase(static_cast<char>(byte)));
    }
    return keys;
}

constexpr std::array<unsigned char, 256> Keys = MakeKeys();

unsigned char KeyOf(char character)
{
    return Keys[static_cast<unsigned char>(character)];
}

/// Walks one layer so that its items come in order: subdirectories and files of a directory are merged by name.
class LayerWalk
{
public:
    explicit LayerWalk(const ManifestTree &tree) : mTree(tree) { Enter(RootEntry); }

    /// The next entry, or NoEntry at the end.
    EntryIndex Next()
    {
        while (!mOpen.empty())
        {
            Directory &directory = mOpen.back();
            mPath.resize(directory.prefixLength);
            const EntryIndex entry = TakeFirst(directory);
            if (entry == NoEntry)
            {
                mOpen.pop_back();
                continue;
            }
            const char *name = mTree.GetName(entry);
            mPath.append(name, strnlen(name, PathBufferSize));
            if (mPath.size() >= PathBufferSize)
            {
                continue;
            }
            mCurrent = mPath.size();
            if (mTree.IsDirectory(entry))
            {
                mPath += '/';
                Enter(entry);
            }
            return entry;
        }
        return NoEntry;
    }

    /// Of the entry that Next gave.
    std::string_view GetPath() const { return std::string_view(mPath).substr(0, mCurrent); }

private:
    struct Directory
    {
        EntryRange subdirectories; // that are still to come
        EntryRange files;
        uint_size prefixLength = 0;
    };

    void Enter(EntryIndex directory)
    {
        mOpen.push_back({mTree.GetSubdirectories(directory), mTree.GetFiles(directory), mPath.size()});
    }

    EntryIndex TakeFirst(Directory &directory) const
    {
        if (directory.subdirectories.count == 0 && directory.files.count == 0)
        {
            return NoEntry;
        }
        const bool takesDirectory =
            directory.files.count == 0 ||
            (directory.subdirectories.count != 0 &&
             ComparePaths(mTree.GetName(directory.subdirectories.first), mTree.GetName(directory.files.first)) <= 0);
        EntryRange &range = takesDirectory ? directory.subdirectories : directory.files;
        --range.count;
        return range.first++;
    }

    const ManifestTree &mTree;
    std::vector<Directory> mOpen; // from the root to where the walk is
    std::string mPath;
    uint_size mCurrent = 0; // length of the path of the entry that came last
};

bool IsZero(const Digest &digest)
{
    return digest == Digest{};
}

ContentItem MakeItem(const ManifestTree &tree, uint32 layer, EntryIndex entry)
{
    ContentItem item;
    item.layer = layer;
    item.entry = entry;
    item.isDirectory = tree.IsDirectory(entry);
    if (!item.isDirectory)
    {
        const auto &fields = tree.GetFields(entry);
        item.version = fields.version;
        item.flags = fields.flags;
        item.size = fields.size;
        std::copy(std::begin(fields.digest), std::end(fields.digest), item.digest.begin());
        item.hasDigest = !IsZero(item.digest);
    }
    return item;
}
} // namespace

int ComparePaths(std::string_view left, std::string_view right)
{
    const uint_size shorter = std::min(left.size(), right.size());
    for (uint_size index = 0; index < shorter; ++index)
    {
        const int difference = int{KeyOf(left[index])} - int{KeyOf(right[index])};
        if (difference != 0)
        {
            return difference;
        }
    }
    return left.size() == right.size() ? 0 : left.size() < right.size() ? -1 : 1;
}

ContentList ContentList::OfView(const View &view, Files files)
{
    ContentList list;
    uint_size entries = 0;
    for (const Layer &layer : view.GetLayers())
    {
        entries += layer.release->GetTree().GetEntryCount();
        list.mReleases.push_back(layer.release);
    }
    list.mItems.reserve(entries);
    for (uint32 layer = 0; layer < view.GetLayers().size(); ++layer)
    {
        list.AddLayer(view.GetRelease(layer), layer, files);
    }
    list.Sort();
    list.RemoveHidden(view, files);
    return list;
}

void ContentList::AddLayer(const Release &release, uint32 layer, Files files)
{
    const ManifestTree &tree = release.GetTree();
    LayerWalk walk(tree);
    for (EntryIndex entry = walk.Next(); entry != NoEntry; entry = walk.Next())
    {
        const bool counts = files == Files::Listed || tree.IsDirectory(entry) || release.IsPresent(entry);
        if (counts)
        {
            Add(walk.GetPath(), MakeItem(tree, layer, entry));
        }
    }
}

void ContentList::Add(std::string_view path, ContentItem item)
{
    item.pathOffset = mText.size();
    item.pathLength = static_cast<uint32>(path.size());
    mText += path;
    mItems.push_back(item);
}

bool ContentList::ComesBefore(const ContentItem &left, const ContentItem &right) const
{
    const int order = ComparePaths(GetPath(left), GetPath(right));
    return order != 0 ? order < 0 : left.layer < right.layer;
}

/// One layer comes sorted, unless its manifest has odd names.
void ContentList::Sort()
{
    const auto comesBefore = [this](const ContentItem &left, const ContentItem &right)
    {
        return ComesBefore(left, right);
    };
    if (!std::is_sorted(mItems.begin(), mItems.end(), comesBefore))
    {
        std::stable_sort(mItems.begin(), mItems.end(), comesBefore);
    }
}

/// Where one release has a path several times, as in a damaged manifest, its own lookup decides.
void ContentList::RemoveHidden(const View &view, Files files)
{
    const auto winnerOf = [&](const ContentItem &item)
    {
        const std::string path(GetPath(item));
        const Release &release = view.GetRelease(item.layer);
        if (files == Files::Present)
        {
            return release.Find(path);
        }
        const std::vector<EntryIndex> listed = release.FindListed(path);
        return listed.empty() ? item.entry : listed.front();
    };
    uint_size kept = 0;
    for (uint_size index = 0; index < mItems.size(); ++index)
    {
        const ContentItem item = mItems[index];
        const bool isHidden = kept > 0 && ComparePaths(GetPath(mItems[kept - 1]), GetPath(item)) == 0;
        if (!isHidden)
        {
            mItems[kept++] = item;
        }
        else if (mItems[kept - 1].layer == item.layer && winnerOf(item) == item.entry)
        {
            mItems[kept - 1] = item;
        }
    }
    mItems.resize(kept);
}

const Release *ContentList::GetRelease(const ContentItem &item) const
{
    return item.layer < mReleases.size() ? mReleases[item.layer].get() : nullptr;
}

bool ContentList::IsSameEntry(const ContentItem &item, const ContentList &other, const ContentItem &otherItem) const
{
    const Release *const release = GetRelease(item);
    return release != nullptr && release == other.GetRelease(otherItem) && item.entry == otherItem.entry;
}

bool ContentList::IsEmptyDirectory(uint_size index) const
{
    if (!mItems[index].isDirectory)
    {
        return false;
    }
    const std::string_view path = GetPath(mItems[index]);
    if (index + 1 == mItems.size())
    {
        return true;
    }
    const std::string_view next = GetPath(mItems[index + 1]);
    const bool isInside =
        next.size() > path.size() && next[path.size()] == '/' && ComparePaths(next.substr(0, path.size()), path) == 0;
    return !isInside;
}
} // namespace Keld::TreeReader
