#include "Tools/Delivery/RepairLists.h"

#include "Tools/Delivery/DamageSurvey.h"
#include "Tools/Delivery/FileSums.h"
#include "Tools/Delivery/SameRelease.h"
#include "Tools/Delivery/SourceError.h"

#include "KeldMorvIO/TreeWords.h"

#include <algorithm>
#include <optional>

namespace Keld::Delivery
{
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
} // namespace

RepairLists::RepairLists(const RepairRequest &request) : mRequest(request)
{
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
    RequireSameRelease(*list);
    Add(*list);
    mTexts[PathOfShipList(release)] = text;
    if (signature)
    {
        mTexts[PathOfShipListSignature(release)] = *signature;
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
    RequireSameRelease(list);
    Add(list);
}

/// A manifest here that its own list vouches for is no damaged one: if the source's differs, it is of another release.
void RepairLists::RequireSameRelease(const ShipList &list) const
{
    const std::string path = ManifestPathOf(list.GetRelease());
    const ShippedFile *theirs = list.Find(path);
    if (theirs == nullptr)
    {
        throw TreeError(mRequest.source->GetName() + ": the list of " + list.GetRelease().GetText() +
                        " does not tell of its manifest");
    }
    const std::optional<ShipList> ownList = ReadOwnList(mRequest.root, list.GetRelease());
    const ShippedFile *own = ownList ? ownList->Find(path) : nullptr;
    if (own == nullptr)
    {
        RequireNoOther(list.GetRelease(), *theirs);
    }
    if (own == nullptr || own->sum == theirs->sum)
    {
        return;
    }
    const Result<ShippedFile> present = SumFile(mRequest.root + "/" + path, path, mRequest.calls);
    if (present && present->sum == own->sum)
    {
        throw TreeError(mRequest.source->GetName() + " holds another " + list.GetRelease().GetText() +
                        " than the tree, whose shiplist vouches for its manifest: nothing of it is taken");
    }
}

/// Where no list here tells what is right, a release that is whole by itself and lists other files is another one.
void RepairLists::RequireNoOther(const ReleaseName &release, const ShippedFile &theirs) const
{
    const WorkCalls quiet;
    const Result<ShippedFile> present = SumFile(mRequest.root + "/" + theirs.path, theirs.path, quiet);
    if (release.isSolution || !present || present->sum == theirs.sum)
    {
        return;
    }
    const auto manifest = mRequest.source->ReadWhole(theirs.path, theirs.size);
    if (manifest && IsAnotherRelease(mRequest.root, release, *manifest, mRequest.threadCount, mRequest.calls))
    {
        throw TreeError(mRequest.source->GetName() + " holds another " + release.GetText() +
                        " than the tree, which is whole by itself: nothing of it is taken");
    }
}

void RepairLists::Add(const ShipList &list)
{
    mFiles.insert(mFiles.end(), list.GetFiles().begin(), list.GetFiles().end());
}
} // namespace Keld::Delivery
