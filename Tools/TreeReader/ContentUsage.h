#pragma once

#include "Tools/TreeReader/ContentList.h"
#include "Tools/TreeReader/Storage.h"

#include <map>
#include <string>
#include <vector>

namespace Keld::TreeReader
{
/// Files, the bytes that programs read from them, and the bytes that they take on disk. Bytes that several files share
/// on disk count once, for the first of them.
struct UsageTotal
{
    uint64 files = 0;
    uint64 bytes = 0;
    uint64 storedBytes = 0;

    void Add(const UsageTotal &other);
};

/// What a release takes on disk, file by file: those that a program finds. Looks at each plain file and at the
/// archives' indexes, and reads no content.
class ContentUsage
{
public:
    static constexpr uint32 Root = 0xFFFFFFFF; ///< stands for the root where an index of the list is told

    /// The view must outlive it.
    ContentUsage(const View &view, unsigned threadCount);

    const ContentList &GetList() const { return mList; }

    /// Of the file at an index of the list, and of a directory with all that is in it; `Root` is one.
    UsageTotal GetTotal(uint32 index) const;

    /// The directory that holds an item, or Root.
    uint32 GetParent(uint32 index) const { return mParents[index]; }

    /// The item of a path without regard to case, Root for the empty one, or nothing.
    std::optional<uint32> Find(const std::string &path) const;

    /// By the text behind the last dot of a name, in lower case; none for a name without one, or with one in front
    /// alone.
    std::map<std::string, UsageTotal> GetByExtension() const;

    /// By the path of the archive's index below the root of the tree.
    std::map<std::string, UsageTotal> GetByArchive(const std::string &root) const;

    /// By how the bytes are stored. Compression means something for archives alone.
    std::map<std::pair<Storage, Compression>, UsageTotal> GetByStorage() const;

private:
    void FindParents();
    void MeasureStored(unsigned threadCount);
    void AddUp();

    template <class Key, class KeyOf>
    std::map<Key, UsageTotal> GroupBy(KeyOf keyOf) const;

    const View &mView;
    ContentList mList;
    std::vector<uint32> mParents;           ///< by index
    std::vector<UsageTotal> mTotals;        ///< by index; the root's behind them all
    std::vector<const Archive *> mArchives; ///< by index; null where none is concerned
};
} // namespace Keld::TreeReader
