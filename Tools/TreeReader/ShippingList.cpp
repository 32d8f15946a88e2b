#include "Tools/TreeReader/ShippingList.h"

#include "Tools/TreeReader/DiskFile.h"

#include "KeldFoundation/CStd/Hash.h"
#include "KeldMorvIO/listing/ReleaseManifestFormat.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <map>
#include <unordered_map>

namespace Keld::TreeReader
{
namespace
{
using PartsByPath = std::unordered_map<std::string, const ReleasePart *>;

bool HaveSameDigest(const MORV::Reader::FileTableFields &left, const MORV::Reader::FileTableFields &right)
{
    constexpr unsigned char unknown[sizeof left.digest] = {};
    return left.size == right.size && left.flags == right.flags &&
           std::memcmp(left.digest, right.digest, sizeof left.digest) == 0 &&
           std::memcmp(left.digest, unknown, sizeof unknown) != 0;
}

bool HaveSameBytes(const std::string &left, const std::string &right)
{
    constexpr uint64 largest = std::numeric_limits<uint32>::max();
    const Result<LargeVector<char>> leftImage = ReadFileImage(left, largest);
    const Result<LargeVector<char>> rightImage = ReadFileImage(right, largest);
    return leftImage && rightImage && *leftImage == *rightImage;
}

/// Compares the parts of a wanted release with those of a held one that lies in another tree.
class OtherTree
{
public:
    OtherTree(const HeldRelease &held, const ReleaseParts &heldParts, const HeldRelease &wanted,
              const ReleaseParts &wantedParts)
        : mHeld(held), mWanted(wanted)
    {
        for (const ReleasePart &part : heldParts.parts)
        {
            mByPath.emplace(part.path, &part);
        }
        FindSameArchives(wantedParts);
    }

    bool Holds(const ReleasePart &part) const
    {
        const auto found = mByPath.find(part.path);
        if (found == mByPath.end() || found->second->size != part.size || found->second->kind != part.kind)
        {
            return false;
        }
        switch (part.kind)
        {
        case PartKind::ManagedFile:
        case PartKind::NakedFile:
            return HaveSameDigest(FieldsOf(mHeld, *found->second), FieldsOf(mWanted, part));
        case PartKind::ArchiveData:
        case PartKind::ArchiveIndex:
        {
            const auto isSame = mIsSameArchive.find(part.archive);
            return isSame != mIsSameArchive.end() && isSame->second;
        }
        case PartKind::ReleaseManifest:
        case PartKind::ConfigurationManifest:
        case PartKind::SolutionManifest:
            break;
        }
        return HaveSameBytes(mHeld.root + "/" + part.path, mWanted.root + "/" + part.path);
    }

private:
    static const MORV::Reader::FileTableFields &FieldsOf(const HeldRelease &release, const ReleasePart &part)
    {
        return release.view->GetRelease(part.layer).GetTree().GetFields(part.entry);
    }

    /// An archive is the same when its index is, its data file has the same size, and the held release knows every
    /// file that the wanted one takes from it, with the same digest.
    void FindSameArchives(const ReleaseParts &wantedParts)
    {
        for (const ReleasePart &part : wantedParts.parts)
        {
            if (part.kind == PartKind::ArchiveIndex)
            {
                mIsSameArchive[part.archive] =
                    mByPath.count(part.path) != 0 &&
                    HaveSameBytes(mHeld.root + "/" + part.path, mWanted.root + "/" + part.path);
            }
        }
        for (const Layer &layer : mWanted.view->GetLayers())
        {
            CompareArchived(*layer.release);
        }
    }

    void CompareArchived(const Release &wanted)
    {
        const ManifestTree &tree = wanted.GetTree();
        for (uint32 number = 0; number < tree.GetFileCount(); ++number)
        {
            const EntryIndex file = tree.GetFileEntry(number);
            const auto &fields = tree.GetFields(file);
            if (!MORV::Reader::IsArchivedFile(fields.flags))
            {
                continue;
            }
            const std::string path = tree.GetPath(file);
            if (KnowsArchived(wanted.GetProject(), path, fields))
            {
                continue;
            }
            const uint32 hash = HashName(path.c_str());
            for (const std::unique_ptr<const Archive> &archive : wanted.GetArchives(fields.version).GetArchives())
            {
                if (archive->GetIndex().FindEntryIndex(hash, path.c_str()) >= 0)
                {
                    mIsSameArchive[archive.get()] = false;
                }
            }
        }
    }

    bool KnowsArchived(const std::string &project, const std::string &path,
                       const MORV::Reader::FileTableFields &wanted) const
    {
        for (const Layer &layer : mHeld.view->GetLayers())
        {
            if (layer.release->GetProject() != project)
            {
                continue;
            }
            const ManifestTree &tree = layer.release->GetTree();
            for (const EntryIndex entry : layer.release->FindListed(path))
            {
                if (!tree.IsDirectory(entry) && tree.GetFields(entry).version == wanted.version &&
                    HaveSameDigest(tree.GetFields(entry), wanted))
                {
                    return true;
                }
            }
        }
        return false;
    }

    const HeldRelease &mHeld;
    const HeldRelease &mWanted;
    PartsByPath mByPath;
    std::map<const Archive *, bool> mIsSameArchive; ///< of the wanted release
};

void RemoveHeld(const HeldRelease &held, const HeldRelease &wanted, const ReleaseParts &wantedParts,
                unsigned threadCount, std::vector<ReleasePart> &parts)
{
    const ReleaseParts heldParts = GatherParts(*held.view, held.root, threadCount);
    if (held.root == wanted.root)
    {
        PartsByPath byPath;
        for (const ReleasePart &part : heldParts.parts)
        {
            byPath.emplace(part.path, &part);
        }
        std::erase_if(parts,
                      [&byPath](const ReleasePart &part)
                      {
                          return byPath.count(part.path) != 0;
                      });
        return;
    }
    const OtherTree other(held, heldParts, wanted, wantedParts);
    std::erase_if(parts,
                  [&other](const ReleasePart &part)
                  {
                      return other.Holds(part);
                  });
}
} // namespace

ShippingList::ShippingList(const std::vector<HeldRelease> &held, const HeldRelease &wanted, unsigned threadCount)
{
    ReleaseParts wantedParts = GatherParts(*wanted.view, wanted.root, threadCount);
    mOutside = std::move(wantedParts.outside);
    mDoubts = std::move(wantedParts.doubts);
    mParts = wantedParts.parts;
    for (const HeldRelease &one : held)
    {
        RemoveHeld(one, wanted, wantedParts, threadCount, mParts);
    }
}
} // namespace Keld::TreeReader
