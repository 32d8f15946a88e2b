#include "Tools/Delivery/Sums/SameRelease.h"

#include "Tools/Delivery/Sums/CheckedReleases.h"
#include "Tools/TreeReader/ManifestTree.h"
#include "Tools/TreeReader/TreePlaces.h"

#include "KeldFoundation/file/StreamCloser.h"
#include "KeldMorvIO/LogCapture.h"
#include "KeldMorvIO/TreeWords.h"
#include "KeldMorvIO/environment/SolutionManifest.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace Keld::Delivery
{
using MORV::Reader::SolutionManifest;
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

/// Whether two solutions bind the same releases in the same order, and know the same sets of them.
bool BindTheSame(const SolutionManifest &left, const SolutionManifest &right)
{
    const auto ourProjects = left.GetProjects();
    const auto theirProjects = right.GetProjects();
    const auto ours = left.GetConfigurations();
    const auto theirs = right.GetConfigurations();
    return std::equal(ourProjects.begin(), ourProjects.end(), theirProjects.begin(), theirProjects.end(),
                      [](const SolutionManifest::PROJECT &one, const SolutionManifest::PROJECT &other)
                      {
                          return one.name == other.name && one.version == other.version &&
                                 one.priority == other.priority && one.flags == other.flags;
                      }) &&
           std::equal(ours.begin(), ours.end(), theirs.begin(), theirs.end(),
                      [](const SolutionManifest::CONFIGURATION &one, const SolutionManifest::CONFIGURATION &other)
                      {
                          return one.name == other.name && one.flags == other.flags && one.projects == other.projects;
                      });
}

/// False for one that the library would not take.
bool ParseSolution(LargeVector<char> text, SolutionManifest &solution)
{
    const Stream stream(text.empty() ? nullptr : fmemopen(text.data(), text.size(), "r"));
    return stream != nullptr && solution.LoadHeader(stream.get()) >= 0 && solution.LoadProjects(stream.get()) >= 0 &&
           solution.LoadConfigurations(stream.get()) >= 0;
}

bool ListsOthers(const std::string &root, const TreeReader::ReleaseName &name, const LargeVector<char> &theirs)
{
    const TreeReader::TreePlaces places(root);
    if (name.isSolution)
    {
        const std::string place = places.Solution(name.name, name.version) / MORV::Reader::SolutionManifestName;
        const MORV::Reader::LogCapture quiet;
        SolutionManifest own;
        SolutionManifest other;
        return own.Load(place) >= 0 && ParseSolution(theirs, other) && !BindTheSame(own, other);
    }
    const auto own = ManifestTree::Load(places.ReleaseManifest(name.name, name.version).string());
    LargeVector<char> image = theirs; // the parser takes it
    const auto other = ManifestTree::Parse(image, name.GetText());
    return own && other && !ListTheSame(**own, **other);
}
} // namespace

bool IsAnotherRelease(const std::string &root, const TreeReader::ReleaseName &name, const LargeVector<char> &theirs,
                      unsigned threadCount, const WorkCalls &calls)
{
    return ListsOthers(root, name, theirs) && CheckReleases(root, {name}, threadCount, calls).IsWhole();
}
} // namespace Keld::Delivery
