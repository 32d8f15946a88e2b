#include "Tools/Delivery/SameRelease.h"

#include "Tools/Delivery/CheckedReleases.h"
#include "Tools/TreeReader/ManifestTree.h"
#include "Tools/TreeReader/TreePlaces.h"

#include <cstring>

namespace Keld::Delivery
{
using TreeReader::EntryIndex;
using TreeReader::ManifestTree;

namespace
{
/// Whether two manifests list the same paths with the same contents, in the same order.
bool ListTheSame(const ManifestTree &left, const ManifestTree &right)
{
    if (left.GetFileCount() != right.GetFileCount())
    {
        return false;
    }
    for (uint32 number = 0; number < left.GetFileCount(); ++number)
    {
        const EntryIndex ours = left.GetFileEntry(number);
        const EntryIndex theirs = right.GetFileEntry(number);
        const auto &fields = left.GetFields(ours);
        const auto &others = right.GetFields(theirs);
        if (fields.size != others.size || std::memcmp(fields.digest, others.digest, sizeof fields.digest) != 0 ||
            left.GetPath(ours) != right.GetPath(theirs))
        {
            return false;
        }
    }
    return true;
}
} // namespace

bool IsAnotherRelease(const std::string &root, const TreeReader::ReleaseName &name, const LargeVector<char> &theirs,
                      unsigned threadCount, const WorkCalls &calls)
{
    const auto own = ManifestTree::Load(TreeReader::TreePlaces(root).ReleaseManifest(name.name, name.version).string());
    LargeVector<char> image = theirs; // the parser takes it
    const auto other = ManifestTree::Parse(image, name.GetText());
    return own && other && !ListTheSame(**own, **other) && CheckReleases(root, {name}, threadCount, calls).IsWhole();
}
} // namespace Keld::Delivery
