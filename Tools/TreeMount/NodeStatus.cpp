#include "Tools/TreeMount/NodeStatus.h"

#include "Tools/TreeMount/DirectoryWalk.h"

#include "KeldFoundation/CStd/PathLimit.h"
#include "KeldMorvIO/TreeWords.h"

namespace Keld::TreeMount
{
using TreeReader::Hit;

namespace
{
constexpr uint64 BlockSize = 4096;
constexpr uint64 CountedBlockSize = 512; // of st_blocks, whatever the file system
constexpr mode_t DirectoryBits = 0555;
constexpr mode_t FileBits = 0444;

struct timespec TimeOf(const TreeReader::Release &release)
{
    struct stat status = {};
    stat((release.GetDirectory() + "/" + MORV::Reader::ReleaseManifestName).c_str(), &status);
    return status.st_mtim;
}
} // namespace

NodeStatus::NodeStatus(const MountedTree &tree, const Ownership &ownership) : mTree(tree), mOwnership(ownership)
{
    for (const TreeReader::Layer &layer : tree.GetView().GetLayers())
    {
        mTimes.push_back(TimeOf(*layer.release));
    }
}

struct stat NodeStatus::Get(const Hit &node) const
{
    const bool isDirectory = mTree.IsDirectory(node);
    const uint64 size = isDirectory ? 0 : uint64{mTree.GetManifest(node).GetFields(node.entry).size};
    struct stat status = {};
    status.st_ino = mTree.GetNumber(node);
    status.st_mode = (isDirectory ? S_IFDIR | DirectoryBits : S_IFREG | FileBits) & ~mOwnership.umask;
    status.st_nlink = 1; // of a directory: how many subdirectories there are is not told
    status.st_uid = mOwnership.user;
    status.st_gid = mOwnership.group;
    status.st_size = static_cast<off_t>(size);
    status.st_blocks = static_cast<blkcnt_t>((size + CountedBlockSize - 1) / CountedBlockSize);
    status.st_blksize = BlockSize;
    status.st_atim = mTimes[node.layer];
    status.st_mtim = mTimes[node.layer];
    status.st_ctim = mTimes[node.layer];
    return status;
}

void NodeStatus::CountTotals() const
{
    std::vector<Hit> directories{mTree.GetRoot()};
    while (!directories.empty())
    {
        const Hit directory = directories.back();
        directories.pop_back();
        ++mNodeCount;
        for (DirectoryWalk walk(mTree, directory); walk.IsValid(); walk.Next())
        {
            const Hit &child = walk.GetCurrent();
            if (mTree.IsDirectory(child))
            {
                directories.push_back(child);
                continue;
            }
            ++mNodeCount;
            mFileBytes += mTree.GetManifest(child).GetFields(child.entry).size;
        }
    }
}

struct statvfs NodeStatus::GetTotals() const
{
    std::call_once(mTotalsCounted,
                   [this]
                   {
                       CountTotals();
                   });
    struct statvfs totals = {};
    totals.f_bsize = BlockSize;
    totals.f_frsize = BlockSize;
    totals.f_blocks = (mFileBytes + BlockSize - 1) / BlockSize;
    totals.f_files = mNodeCount;
    totals.f_namemax = PathBufferSize - 1;
    totals.f_flag = ST_RDONLY;
    return totals;
}
} // namespace Keld::TreeMount
