#include "Tools/TreeReader/ContentUsage.h"

#include "Tools/Common/ParallelWork.h"
#include "Tools/TreeReader/TreeText.h"

#include <algorithm>
#include <set>

namespace Keld::TreeReader
{
namespace
{
constexpr uint_size ItemsAtOnce = 2048; // that a thread takes before it asks for more

std::string ExtensionOf(std::string_view path)
{
    const uint_size slash = path.rfind('/');
    const std::string_view name = slash == std::string_view::npos ? path : path.substr(slash + 1);
    const uint_size dot = name.rfind('.');
    return dot == std::string_view::npos || dot == 0 ? "" : FoldPath(std::string(name.substr(dot + 1)));
}

bool IsBelow(std::string_view path, std::string_view directory)
{
    return path.size() > directory.size() && path[directory.size()] == '/' &&
           ComparePaths(path.substr(0, directory.size()), directory) == 0;
}
} // namespace

void UsageTotal::Add(const UsageTotal &other)
{
    files += other.files;
    bytes += other.bytes;
    storedBytes += other.storedBytes;
}

ContentUsage::ContentUsage(const View &view, unsigned threadCount) : mView(view)
{
    for (const Layer &layer : view.GetLayers())
    {
        layer.release->SettleAll(threadCount);
    }
    mList = ContentList::OfView(view, ContentList::Files::Present);
    mTotals.resize(mList.GetItems().size() + 1);
    mArchives.resize(mList.GetItems().size());
    FindParents();
    MeasureStored(threadCount);
    AddUp();
}

void ContentUsage::FindParents()
{
    const std::vector<ContentItem> &items = mList.GetItems();
    mParents.resize(items.size(), Root);
    std::vector<uint32> open; // directories around the item, from the outermost on
    for (uint32 index = 0; index < items.size(); ++index)
    {
        while (!open.empty() && !IsBelow(mList.GetPath(items[index]), mList.GetPath(items[open.back()])))
        {
            open.pop_back();
        }
        mParents[index] = open.empty() ? Root : open.back();
        if (items[index].isDirectory)
        {
            open.push_back(index);
        }
    }
}

void ContentUsage::MeasureStored(unsigned threadCount)
{
    const std::vector<ContentItem> &items = mList.GetItems();
    std::vector<uint64> offsets(items.size());
    Common::ForEachInParallel(threadCount, (items.size() + ItemsAtOnce - 1) / ItemsAtOnce,
                              [&](uint_size run)
                              {
                                  const uint_size end = std::min((run + 1) * ItemsAtOnce, items.size());
                                  for (uint_size index = run * ItemsAtOnce; index < end; ++index)
                                  {
                                      const ContentItem &item = items[index];
                                      if (item.isDirectory)
                                      {
                                          continue;
                                      }
                                      mTotals[index] = {1, item.size, 0};
                                      const auto stored = mView.GetRelease(item.layer).Locate(item.entry);
                                      if (stored)
                                      {
                                          mTotals[index].storedBytes = stored->storedSize;
                                          mArchives[index] = stored->archive;
                                          offsets[index] = stored->offset;
                                      }
                                  }
                              });
    std::set<std::pair<const Archive *, uint64>> counted;
    for (uint_size index = 0; index < items.size(); ++index)
    {
        const bool isShared = mArchives[index] != nullptr && mTotals[index].storedBytes > 0 &&
                              !counted.insert({mArchives[index], offsets[index]}).second;
        mTotals[index].storedBytes = isShared ? 0 : mTotals[index].storedBytes;
    }
}

/// Parents stand in front of what they hold, so that from the end on each total is complete when it is handed up.
void ContentUsage::AddUp()
{
    for (uint_size index = mParents.size(); index > 0; --index)
    {
        const uint32 parent = mParents[index - 1];
        mTotals[parent == Root ? mTotals.size() - 1 : parent].Add(mTotals[index - 1]);
    }
}

UsageTotal ContentUsage::GetTotal(uint32 index) const
{
    return index == Root ? mTotals.back() : mTotals[index];
}

std::optional<uint32> ContentUsage::Find(const std::string &path) const
{
    if (path.empty())
    {
        return Root;
    }
    const std::vector<ContentItem> &items = mList.GetItems();
    const auto found = std::lower_bound(items.begin(), items.end(), path,
                                        [this](const ContentItem &item, const std::string &wanted)
                                        {
                                            return ComparePaths(mList.GetPath(item), wanted) < 0;
                                        });
    if (found == items.end() || ComparePaths(mList.GetPath(*found), path) != 0)
    {
        return std::nullopt;
    }
    return static_cast<uint32>(found - items.begin());
}

template <class Key, class KeyOf>
std::map<Key, UsageTotal> ContentUsage::GroupBy(KeyOf keyOf) const
{
    std::map<Key, UsageTotal> groups;
    for (uint32 index = 0; index < mList.GetItems().size(); ++index)
    {
        if (!mList.GetItems()[index].isDirectory)
        {
            groups[keyOf(index)].Add(mTotals[index]);
        }
    }
    return groups;
}

std::map<std::string, UsageTotal> ContentUsage::GetByExtension() const
{
    return GroupBy<std::string>(
        [this](uint32 index)
        {
            return ExtensionOf(mList.GetPath(mList.GetItems()[index]));
        });
}

std::map<std::string, UsageTotal> ContentUsage::GetByArchive(const std::string &root) const
{
    std::map<std::string, UsageTotal> byPath;
    for (const auto &[archive, total] : GroupBy<const Archive *>(
             [this](uint32 index)
             {
                 return mArchives[index];
             }))
    {
        if (archive != nullptr)
        {
            const std::string &path = archive->GetIndexPath();
            byPath[path.starts_with(root + "/") ? path.substr(root.size() + 1) : path] = total;
        }
    }
    return byPath;
}

std::map<std::pair<Storage, Compression>, UsageTotal> ContentUsage::GetByStorage() const
{
    return GroupBy<std::pair<Storage, Compression>>(
        [this](uint32 index)
        {
            const uint32 flags = mList.GetItems()[index].flags;
            return std::make_pair(StorageOf(flags), CompressionOf(flags));
        });
}
} // namespace Keld::TreeReader
