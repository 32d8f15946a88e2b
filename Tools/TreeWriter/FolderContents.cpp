#include "Tools/TreeWriter/FolderContents.h"

#include "Tools/Common/ParallelWork.h"
#include "Tools/TreeWriter/PackPlan.h"
#include "Tools/TreeWriter/SourceContent.h"

namespace Keld::TreeWriter
{
using TreeReader::ContentItem;
using TreeReader::ContentList;

ContentList ListFolder(const SourceTree &source)
{
    ContentList list;
    for (const std::string &directory : source.directories)
    {
        ContentItem item;
        item.isDirectory = true;
        list.Add(directory, item);
    }
    for (std::size_t index = 0; index < source.files.size(); ++index)
    {
        ContentItem item;
        item.entry = static_cast<TreeReader::EntryIndex>(index);
        item.size = source.files[index].size;
        list.Add(source.files[index].path, item);
    }
    list.Sort();
    return list;
}

void DigestFolder(ContentList &list, const SourceTree &source, const std::set<uint64> &sizes, unsigned threadCount,
                  const DigestWatch &watch)
{
    std::vector<ContentItem *> items;
    for (ContentItem &item : list.GetItems())
    {
        if (!item.isDirectory && sizes.count(item.size) != 0)
        {
            items.push_back(&item);
        }
    }
    Common::ForEachInParallel(threadCount, items.size(),
                              [&](std::size_t index)
                              {
                                  ContentItem &item = *items[index];
                                  PlannedFile file;
                                  file.source = source.DiskPath(source.files[item.entry]);
                                  file.entry.size = static_cast<uint32>(item.size);
                                  item.digest = DigestOfFile(file, watch.checkpoint);
                                  item.hasDigest = true;
                                  watch.advance(item.size);
                              });
}
} // namespace Keld::TreeWriter
