#include "Tools/Delivery/Repair/RepairLists.h"

#include "Tools/Delivery/Repair/DamageSurvey.h"
#include "Tools/Delivery/Sources/SourceError.h"
#include "Tools/Delivery/Sums/FileSums.h"
#include "Tools/Delivery/Sums/SameRelease.h"
#include "Tools/Delivery/Text/TreePath.h"

#include "KeldMorvIO/TreeWords.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <system_error>

namespace Keld::Delivery
{
namespace fs = std::filesystem;
using TreeReader::ReleaseName;
using TreeReader::Result;
using TreeReader::TreeError;

namespace
{
std::string ManifestPathOf(const ReleaseName &release)
{
    const std::string list = PathOfShipList(release);
    return list.substr(0, list.rfind('/') + 1) +
           (release.isSolution ? MORV::Reader::SolutionManifestName : MORV::Reader::ReleaseManifestName);
}

std::optional<std::string> ReadFrom(Source &source, const std::string &path, uint64 limit)
{
    const auto bytes = source.ReadWhole(path, limit);
    if (!bytes)
    {
        return std::nullopt;
    }
    return std::string(bytes->begin(), bytes->end());
}

bool IsThere(const std::string &place)
{
    std::error_code error;
    return fs::exists(fs::symlink_status(place, error));
}
} // namespace

RepairLists::RepairLists(const RepairRequest &request) : mRequest(request)
{
    mQuiet.checkpoint = request.calls.checkpoint;
    for (const ReleaseName &release : request.releases)
    {
        Ask(release);
    }
    std::sort(mFiles.begin(), mFiles.end(),
              [](const ShippedFile &left, const ShippedFile &right)
              {
                  return left.path < right.path;
              });
    const auto isSame = [this](const ShippedFile &left, const ShippedFile &right)
    {
        if (left.path == right.path && (left.size != right.size || left.sum != right.sum))
        {
            throw TreeError(mRequest.source->GetName() + ": its shiplists contradict each other: they tell of " +
                            left.path + " with different bytes");
        }
        return left.path == right.path;
    };
    mFiles.erase(std::unique(mFiles.begin(), mFiles.end(), isSame), mFiles.end());
}

void RepairLists::Ask(const ReleaseName &release)
{
    Source &source = *mRequest.source;
    const std::optional<std::string> text = ReadFrom(source, PathOfShipList(release), ShipList::SizeLimit);
    if (text)
    {
        TakePublished(release, *text);
    }
    else if (!source.GetSize(ManifestPathOf(release)))
    {
        mLacking.push_back(release);
        mNotes.push_back(source.GetName() + " has no " + release.GetText() + ", which was left as it is");
    }
    else if (mRequest.key != nullptr)
    {
        throw TreeError(source.GetName() + ": " + release.GetText() +
                        " has no shiplist, and only what a signed one tells of is taken");
    }
    else if (!source.GetDirectory().empty())
    {
        TakeMade(release);
    }
    else
    {
        mUnlisted.push_back(release);
    }
}

void RepairLists::TakePublished(const ReleaseName &release, const std::string &text)
{
    const std::string where = mRequest.source->GetName() + "/" + PathOfShipList(release);
    const Result<ShipList> list = ShipList::Parse(text, where);
    if (!list)
    {
        throw TreeError(list.GetFault().GetMessage());
    }
    if (list->GetRelease() != release)
    {
        throw TreeError(where + ": is the list of " + list->GetRelease().GetText());
    }
    const std::optional<std::string> signature =
        ReadFrom(*mRequest.source, PathOfShipListSignature(release), SignatureSizeLimit);
    if (mRequest.key != nullptr)
    {
        const Result<std::string> comment = mRequest.key->Check(text, signature.value_or(""), where + ".minisig");
        if (!comment)
        {
            throw TreeError(comment.GetFault().GetMessage());
        }
    }
    RequireSameReleases(*list);
    Add(*list);
    const std::string ownSignature = PathOfShipListSignature(release);
    mTexts[PathOfShipList(release)] = text;
    if (signature)
    {
        mTexts[ownSignature] = *signature;
    }
    if (!HoldsText(mRequest.root + "/" + PathOfShipList(release), text))
    {
        mWithdrawn.push_back(ownSignature);
        if (!signature && IsThere(mRequest.root + "/" + ownSignature))
        {
            mNotes.push_back("removed the signature of " + release.GetText() +
                             ", which was over another shiplist than " + mRequest.source->GetName() + " has");
        }
    }
}

/// From the release itself, where the source is a directory.
void RepairLists::TakeMade(const ReleaseName &release)
{
    const std::string root = mRequest.source->GetDirectory();
    RequireUndamaged(root, {release}, mRequest.threadCount, mRequest.calls);
    TreeReader::Tree tree(root);
    const Result<TreeReader::View> view = TreeReader::View::Open(tree, release);
    if (!view)
    {
        throw TreeError(view.GetFault().GetMessage());
    }
    mRequest.calls.begin("summing", 0);
    FileSums sums(root, mRequest.threadCount, mRequest.calls);
    const ShipList list = ListRelease(*view, sums, root, mRequest.threadCount);
    RequireSameReleases(list);
    Add(list);
    const std::string place = mRequest.root + "/" + PathOfShipList(release);
    if (IsThere(place) && !HoldsText(place, list.GetText()))
    {
        mWithdrawn.insert(mWithdrawn.end(), {PathOfShipListSignature(release), PathOfShipList(release)});
        mNotes.push_back("removed the shiplist of " + release.GetText() + ", which tells of other files than " +
                         mRequest.source->GetName() + " has: publish it again");
    }
}

/// Of a solution, the releases that it uses are looked at as well.
void RepairLists::RequireSameReleases(const ShipList &list) const
{
    const ReleaseName &whole = list.GetRelease();
    if (list.Find(ManifestPathOf(whole)) == nullptr)
    {
        throw TreeError(mRequest.source->GetName() + ": the list of " + whole.GetText() +
                        " does not tell of its manifest");
    }
    for (const ShippedFile &file : list.GetFiles())
    {
        const TreePath path = *ReadTreePath(file.path); // lists have refused all others
        if (path.role == FileRole::ReleaseManifest || path.role == FileRole::SolutionManifest)
        {
            RequireSameRelease(path.name, file, whole);
        }
    }
}

/// A manifest here that a list of the tree vouches for is no damaged one: if the source's differs, it is of another
/// release.
/// \param whole what the source's list is of, which here may have a list where the release has none
void RepairLists::RequireSameRelease(const ReleaseName &release, const ShippedFile &theirs,
                                     const ReleaseName &whole) const
{
    const Result<ShippedFile> present = SumFile(mRequest.root + "/" + theirs.path, theirs.path, mQuiet);
    if (!present || present->sum == theirs.sum)
    {
        return;
    }
    for (const ReleaseName &listed : {release, whole})
    {
        const std::optional<ShipList> list = ReadOwnList(mRequest.root, listed);
        const ShippedFile *own = list ? list->Find(theirs.path) : nullptr;
        if (own != nullptr && own->sum == present->sum)
        {
            RefuseOther(release, "whose shiplist vouches for its manifest");
        }
        if (own != nullptr)
        {
            return;
        }
    }
    RequireNoOther(release, theirs);
}

/// Where no list here tells what is right, a release that is whole by itself and lists other files is another one.
void RepairLists::RequireNoOther(const ReleaseName &release, const ShippedFile &theirs) const
{
    const auto manifest = mRequest.source->ReadWhole(theirs.path, theirs.size);
    if (manifest && IsAnotherRelease(mRequest.root, release, *manifest, mRequest.threadCount, mRequest.calls))
    {
        RefuseOther(release, "which is whole by itself");
    }
}

void RepairLists::RefuseOther(const ReleaseName &release, const std::string &why) const
{
    throw TreeError(mRequest.source->GetName() + " holds another " + release.GetText() + " than the tree, " + why +
                    ": nothing of it is taken");
}

void RepairLists::Add(const ShipList &list)
{
    mFiles.insert(mFiles.end(), list.GetFiles().begin(), list.GetFiles().end());
}
} // namespace Keld::Delivery
