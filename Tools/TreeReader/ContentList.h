#pragma once

#include "Tools/TreeReader/ReleaseContents.h"
#include "Tools/TreeReader/View.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Keld::TreeReader
{
/// The order of a ContentList: by names from the root on, without regard to ASCII case. What a directory holds stands
/// right behind it. Negative, 0 or positive.
int ComparePaths(std::string_view left, std::string_view right);

/// One file or directory of a ContentList.
struct ContentItem
{
    uint64 pathOffset = 0; ///< in the list's own text
    uint32 pathLength = 0;
    bool isDirectory = false;
    bool hasDigest = false; ///< false where nobody knows: the manifest holds zeros, or nobody has read the file
    uint32 layer = 0;       ///< of the view, and the entry there; of a folder, nothing
    EntryIndex entry = NoEntry;
    MorvVersion version = 0; ///< that stored the bytes; 0 for a folder
    uint32 flags = 0;        ///< of the manifest's record
    uint64 size = 0;         ///< bytes of the content
    Digest digest = {};
};

/// All paths that a program sees in a release, or that a folder holds, in one sorted list without the root. Costs one
/// walk, and holds no more than a text for all paths and a record for each.
class ContentList
{
public:
    enum class Files
    {
        Listed, ///< all that the manifests list, whether they are there or not: the disk is not asked
        Present ///< those that the library finds
    };

    /// Of several layers that have a path, the first one wins, as for a program. Paths that are too long to be asked
    /// for are left out.
    static ContentList OfView(const View &view, Files files);

    void Add(std::string_view path, ContentItem item);

    /// To be called behind the last Add.
    void Sort();

    const std::vector<ContentItem> &GetItems() const { return mItems; }
    std::vector<ContentItem> &GetItems() { return mItems; }

    std::string_view GetPath(const ContentItem &item) const
    {
        return std::string_view(mText).substr(item.pathOffset, item.pathLength);
    }

    /// Whether an item of this list and one of another are the same entry of the same release, opened once for both.
    bool IsSameEntry(const ContentItem &item, const ContentList &other, const ContentItem &otherItem) const;

    /// Of the item at an index: a directory that holds nothing.
    bool IsEmptyDirectory(uint_size index) const;

private:
    bool ComesBefore(const ContentItem &left, const ContentItem &right) const;
    void AddLayer(const Release &release, uint32 layer, Files files);
    void RemoveHidden(const View &view, Files files);
    const Release *GetRelease(const ContentItem &item) const;

    std::vector<std::shared_ptr<const Release>> mReleases; ///< of the layers; none for a folder
    std::string mText;                                     ///< all paths, one behind the other
    std::vector<ContentItem> mItems;
};
} // namespace Keld::TreeReader
