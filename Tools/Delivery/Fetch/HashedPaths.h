#pragma once

#include "Tools/TreeReader/ManifestTree.h"

#include "KeldFoundation/CStd/Hash.h"
#include "KeldMorvIO/listing/ManifestFileIterator.h"

#include <cstring>
#include <string>

namespace Keld::Delivery
{
/// Paths of files of a manifest, and the hashes that archives have of them. Those of one directory, one after the
/// other, share what is in front.
class HashedPaths
{
public:
    explicit HashedPaths(const TreeReader::ManifestTree &tree) : mTree(tree) {}

    void Take(TreeReader::EntryIndex file)
    {
        const TreeReader::EntryIndex parent = mTree.GetParent(file);
        if (parent != mParent)
        {
            mParent = parent;
            mPath = parent == TreeReader::RootEntry ? "" : mTree.GetPath(parent) + "/";
            mPrefixSize = mPath.size();
            mPrefixHash = HashName(mPath.c_str());
        }
        const char *name = mTree.GetName(file);
        mPath.resize(mPrefixSize);
        mPath.append(name, strnlen(name, MORV::Reader::ManifestPathLimit));
        mHash = HashName(mPrefixHash, mPath.c_str() + mPrefixSize);
    }

    const char *GetPath() const { return mPath.c_str(); }
    uint32 GetHash() const { return mHash; }

private:
    const TreeReader::ManifestTree &mTree;
    TreeReader::EntryIndex mParent = TreeReader::NoEntry;
    std::string mPath;
    std::size_t mPrefixSize = 0;
    uint32 mPrefixHash = 0;
    uint32 mHash = 0;
};
} // namespace Keld::Delivery
