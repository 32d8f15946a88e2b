// A release of a hostile tree as a file system shows it: every directory walked, every name looked up again, every file
// read. Of the script, the first line is the release's directory below the tree's, the second the subdirectory that is
// mounted, further ones are names to look up.

#include "FuzzSupport.h"
#include "Trees/TreeCase.h"

#include "Tools/TreeMount/DirectoryWalk.h"
#include "Tools/TreeMount/MountedFiles.h"
#include "Tools/TreeMount/NodeProperties.h"
#include "Tools/TreeMount/NodeStatus.h"
#include "Tools/TreeReader/TreeSet.h"

#include <cstring>

namespace
{
using namespace Keld;
using Fuzz::Require;
using TreeMount::MountedTree;
using TreeReader::Hit;

constexpr int MostNodes = 128;
constexpr int DeepestDirectory = 16;
constexpr uint64 LargestFile = 1 << 20; // bytes

class MountWalk
{
public:
    explicit MountWalk(const MountedTree &tree)
        : mTree(tree), mStatus(tree, {}), mFiles(tree, {LargestFile, false, false}, [](const std::string &) {})
    {
    }

    void Walk(const Hit &directory, const std::vector<std::string> &names, int depth)
    {
        for (const std::string &name : names)
        {
            mTree.FindChild(directory, name.c_str());
        }
        for (TreeMount::DirectoryWalk at(mTree, directory); at.IsValid() && mNodesLeft-- > 0; at.Next())
        {
            const Hit child = at.GetCurrent();
            const char *name = mTree.GetName(child);
            Require(*name != '\0' && std::strchr(name, '/') == nullptr, "a name can stand in a directory");
            Require(std::strcmp(name, ".") != 0 && std::strcmp(name, "..") != 0, "no name leads up");
            Require(TreeMount::IsSameNode(mTree.FindChild(directory, name), child), "what is shown is found");
            Require(TreeMount::IsSameNode(mTree.GetNode(mTree.GetNumber(child)), child),
                    "a number leads back to its node");
            GetProperties(mTree, child);
            const struct stat status = mStatus.Get(child);
            if (!mTree.IsDirectory(child))
            {
                Read(child, static_cast<uint64>(status.st_size));
            }
            else if (depth < DeepestDirectory)
            {
                Walk(child, names, depth + 1);
            }
        }
    }

private:
    void Read(const Hit &file, uint64 size)
    {
        if (size > LargestFile)
        {
            return;
        }
        for (const uint64 offset : {uint64{0}, size / 2, size, size + 1})
        {
            bool isAnswered = false;
            mFiles.Read(file, offset, 4096,
                        [&](const TreeReader::Result<std::string_view> &bytes)
                        {
                            isAnswered = true;
                            Require(!bytes || bytes->size() <= 4096, "no more comes than was asked for");
                        });
            Require(isAnswered, "who asks alone is answered at once");
        }
    }

    const MountedTree &mTree;
    const TreeMount::NodeStatus mStatus;
    TreeMount::MountedFiles mFiles;
    int mNodesLeft = MostNodes;
};
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8 *data, std::size_t size)
{
    const Fuzz::TreeCase test(data, size);
    TreeReader::TreeSet trees;
    const auto reference = TreeReader::ResolveDirectory(test.GetDisk().GetPath(test.GetLines()[0]));
    const auto view = reference ? trees.Open(*reference) : TreeReader::Result<TreeReader::View>(reference.GetFault());
    if (!view)
    {
        return 0;
    }
    if (const auto tree = MountedTree::Make(*view, test.GetLines()[1]))
    {
        tree->CountUnshown();
        MountWalk(*tree).Walk(tree->GetRoot(), test.GetLinesBehind(2), 0);
    }
    return 0;
}
