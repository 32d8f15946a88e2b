// A tree of several projects, releases and solutions, and two readers of it: the library and the tools' reading core,
// which promises to answer as the library does. One after the other is asked for every path, every directory, every
// content and what a start would delete. The script's first line is the working directory, further ones are paths.

#include "FuzzSupport.h"
#include "Trees/TreeCase.h"

#include "Tools/TreeChecker/StartDiagnosis.h"
#include "Tools/TreeReader/ContentReader.h"
#include "Tools/TreeReader/TreeSet.h"

#include "KeldFoundation/path/Path.h"
#include "KeldMorvIO/environment/MultiListingIterator.h"
#include "KeldMorvIO/environment/RuntimeEnvironment.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <new>
#include <set>
#include <stdexcept>

#include <unistd.h>

namespace
{
using namespace Keld;
using Fuzz::Require;
using MORV::Reader::ProjectListing;
using MORV::Reader::RuntimeEnvironment;
using TreeChecker::StartDiagnosis;
using TreeChecker::StartOutcome;
using TreeReader::Hit;
using TreeReader::View;

constexpr std::size_t MostPaths = 96;
constexpr uint32 LargestFile = 1 << 20; // bytes

std::unique_ptr<RuntimeEnvironment> Start(const std::string &directory)
{
    try
    {
        return std::unique_ptr<RuntimeEnvironment>(RuntimeEnvironment::Create(directory.c_str()));
    }
    catch (const std::length_error &)
    {
        return nullptr; // the way in which a string count beyond all bounds is refused
    }
    catch (const std::bad_alloc &)
    {
        return nullptr;
    }
}

/// A fault that names what both were asked for.
void RequireSame(bool condition, const std::string &path, const char *what)
{
    if (!condition)
    {
        std::fprintf(stderr, "asked for \"%s\":\n", path.c_str());
    }
    Require(condition, what);
}

std::string Canonical(const std::string &path)
{
    char buffer[1024];
    return CanonicalizePathBounded(path.c_str(), buffer, sizeof buffer, 1) ? buffer : "";
}

std::set<std::string> CollectPaths(const View &view, const std::vector<std::string> &typed)
{
    std::set<std::string> paths = {""};
    for (const std::string &path : typed)
    {
        paths.insert(Canonical(path));
    }
    for (const TreeReader::Layer &layer : view.GetLayers())
    {
        const TreeReader::ManifestTree &tree = layer.release->GetTree();
        for (TreeReader::EntryIndex entry = 0; entry < tree.GetEntryCount() && paths.size() < MostPaths; ++entry)
        {
            paths.insert(tree.GetPath(entry));
        }
    }
    return paths;
}

/// Everything that the core says of a path, before the library has changed anything.
struct Answer
{
    bool isFound = false;
    bool isDirectory = false;
    bool isHeld = true;       ///< false for a directory of a damaged manifest that no directory holds
    bool isHeldInEach = true; ///< the same, in whatever project has the path
    uint32 size = 0;
    bool isEnumerated = false;
    std::vector<std::string> names; ///< of a directory, with a '/' behind directories
    bool isRead = false;
    bool closesArchive = false; ///< its first open by the library does
    std::string content;
};

class CoreRoad
{
public:
    explicit CoreRoad(const View &view) : mView(view) {}

    Answer Ask(const std::string &path)
    {
        Answer answer;
        const Hit hit = mView.Find(path);
        answer.isFound = static_cast<bool>(hit);
        answer.isDirectory = hit && mView.IsDirectory(hit);
        answer.isHeld = !hit || IsHeld(hit);
        const std::vector<Hit> hits = mView.FindAll(path);
        answer.isHeldInEach = std::all_of(hits.begin(), hits.end(),
                                          [this](const Hit &each)
                                          {
                                              return IsHeld(each);
                                          });
        if (hit && !answer.isDirectory)
        {
            answer.size = mView.GetRelease(hit.layer).GetTree().GetFields(hit.entry).size;
            Read(hit, answer);
        }
        if (const auto at = mView.Enumerate(path))
        {
            answer.isEnumerated = true;
            for (; at->IsValid(); at->Next())
            {
                answer.names.push_back(at->GetCurrent().GetName() +
                                       std::string(at->GetCurrent().IsDirectory() ? "/" : ""));
            }
        }
        return answer;
    }

private:
    bool IsHeld(const Hit &hit) const
    {
        const TreeReader::ManifestTree &tree = mView.GetRelease(hit.layer).GetTree();
        if (hit.entry == TreeReader::RootEntry || !tree.IsDirectory(hit.entry))
        {
            return true;
        }
        const TreeReader::EntryRange siblings = tree.GetSubdirectories(tree.GetParent(hit.entry));
        return hit.entry >= siblings.first && hit.entry < siblings.first + siblings.count;
    }

    void Read(const Hit &hit, Answer &answer)
    {
        const auto stored = mView.Locate(hit);
        answer.closesArchive = stored && stored->compression == TreeReader::Compression::Lzma;
        if (answer.size > LargestFile)
        {
            return;
        }
        TreeReader::ReadOptions options;
        options.checkDigest = false;
        answer.isRead = !mReader.Read(mView.GetRelease(hit.layer), hit.entry, options,
                                      [&](std::string_view bytes)
                                      {
                                          answer.content += bytes;
                                      });
    }

    const View &mView;
    TreeReader::ContentReader mReader;
};

class LibraryRoad
{
public:
    explicit LibraryRoad(const RuntimeEnvironment &environment) : mEnvironment(environment) {}

    void Compare(const std::string &path, const Answer &expected) const
    {
        const auto [listing, entry] = mEnvironment.FindEntry(path.c_str());
        RequireSame((entry != nullptr) == expected.isFound, path, "both find a path, or none does");
        if (!expected.isHeld)
        {
            RequireSame(!listing->Open(entry), path, "what nobody holds is no file");
            return; // the library knows it for nothing, the core for a directory
        }
        if (entry != nullptr)
        {
            RequireSame(ProjectListing::IsDirectory(entry) == expected.isDirectory, path, "both know its kind");
            RequireSame(ProjectListing::GetFileSize(entry) == expected.size, path, "both know its size");
        }
        if (expected.isHeldInEach)
        {
            CompareNames(path, expected);
        }
        if (entry != nullptr && expected.isRead && !expected.closesArchive)
        {
            CompareContent(path, *listing, entry, expected.content);
        }
    }

private:
    void CompareNames(const std::string &path, const Answer &expected) const
    {
        const auto at = mEnvironment.CreateDirectoryIterator(path.c_str());
        RequireSame((at != nullptr) == expected.isEnumerated, path, "both walk it, or none does");
        std::vector<std::string> names;
        for (; at != nullptr && at->IsValid(); at->Next())
        {
            names.push_back(at->GetCurrent().GetName() + std::string(at->GetCurrent().IsDirectory() ? "/" : ""));
        }
        RequireSame(names == expected.names, path, "both list the same names in one order");
    }

    static void CompareContent(const std::string &path, ProjectListing &listing, const ProjectListing::FileEntry *entry,
                               const std::string &expected)
    {
        RequireSame(listing.Open(entry), path, "the library opens what the core has read");
        std::string content(expected.size(), '\0');
        uint32 count = 0;
        const bool isRead = listing.Read(entry, 0, static_cast<uint32>(content.size()), &count, content.data());
        RequireSame(isRead && count == content.size() && content == expected, path, "both read the same bytes");
        listing.Close(entry);
    }

    const RuntimeEnvironment &mEnvironment;
};

void CheckDiagnosis(const StartDiagnosis &diagnosis, const RuntimeEnvironment *environment)
{
    Require((diagnosis.outcome == StartOutcome::Refused) == (environment == nullptr),
            "a start is refused as it was foretold");
    if (environment != nullptr)
    {
        Require((diagnosis.outcome == StartOutcome::Empty) == environment->GetListings().empty(),
                "a start finds nothing as it was foretold");
    }
    for (const TreeChecker::DoomedIndex &index : diagnosis.archives.doomed)
    {
        Require(access(index.fault.path.c_str(), F_OK) != 0 || !index.isDeletable,
                "an index is deleted as it was foretold");
    }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8 *data, std::size_t size)
{
    const Fuzz::TreeCase test(data, size);
    const std::string directory = test.GetDisk().GetPath(test.GetLines()[0]);
    if (directory.size() >= 1000)
    {
        return 0;
    }
    const StartDiagnosis diagnosis = TreeChecker::DiagnoseStart(directory, 1);
    if (diagnosis.cause && diagnosis.cause->isThrown && diagnosis.path->name.isSolution)
    {
        return 0; // what it has loaded before the start would leave, which is known and stays so
    }
    TreeReader::TreeSet trees;
    const auto reference = TreeReader::ResolveDirectory(directory);
    const auto view = reference ? trees.Open(*reference) : TreeReader::Result<View>(reference.GetFault());
    const bool isServable = view && !view->CheckServable();
    std::vector<std::pair<std::string, Answer>> answers;
    if (isServable)
    {
        CoreRoad core(*view);
        for (const std::string &path : CollectPaths(*view, test.GetLines()))
        {
            answers.emplace_back(path, core.Ask(path));
        }
    }
    const std::unique_ptr<RuntimeEnvironment> environment = Start(directory);
    CheckDiagnosis(diagnosis, environment.get());
    Require(!reference || isServable == (environment != nullptr && !environment->GetListings().empty()),
            "both serve a release, or none does");
    for (const auto &[path, answer] : answers)
    {
        LibraryRoad(*environment).Compare(path, answer);
    }
    return 0;
}
