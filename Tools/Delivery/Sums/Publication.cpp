#include "Tools/Delivery/Sums/Publication.h"

#include "Tools/Delivery/Sums/FileSums.h"
#include "Tools/TreeReader/DiskFile.h"
#include "Tools/TreeReader/ReleaseParts.h"
#include "Tools/TreeReader/ShipListNames.h"
#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeWriter/DiskSync.h"
#include "Tools/TreeWriter/FileOutput.h"
#include "Tools/TreeWriter/WriteLocks.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <optional>
#include <set>

namespace Keld::Delivery
{
namespace fs = std::filesystem;
using TreeReader::ReleaseName;
using TreeReader::Result;
using TreeReader::TreeError;
using TreeReader::View;

namespace
{
View OpenPublished(TreeReader::Tree &tree, const ReleaseName &name)
{
    Result<View> view = View::Open(tree, name);
    if (!view)
    {
        throw TreeError(view.GetFault().GetMessage());
    }
    return std::move(*view);
}

/// The projects whose files the releases need.
std::set<std::string> GatherProjects(const PublishRequest &request)
{
    TreeReader::Tree tree(request.root);
    std::set<std::string> projects;
    for (const ReleaseName &name : request.releases)
    {
        const View view = OpenPublished(tree, name);
        for (const TreeReader::Layer &layer : view.GetLayers())
        {
            projects.insert(layer.project);
            projects.insert(layer.release->GetProject());
        }
    }
    return projects;
}

TreeWriter::WriteLocks LockAll(const PublishRequest &request)
{
    std::vector<std::string> solutions;
    for (const ReleaseName &name : request.releases)
    {
        if (name.isSolution)
        {
            solutions.push_back(name.name);
        }
    }
    for (std::set<std::string> projects = GatherProjects(request);;)
    {
        TreeWriter::WriteLocks locks(request.root, {projects.begin(), projects.end()}, solutions,
                                     request.calls.checkpoint);
        std::set<std::string> needed = GatherProjects(request); // somebody may have written a solution anew meanwhile
        if (std::includes(projects.begin(), projects.end(), needed.begin(), needed.end()))
        {
            return locks;
        }
        projects = std::move(needed);
    }
}

std::optional<std::string> ReadIfThere(const std::string &path, uint64 limit)
{
    const auto image = TreeReader::ReadFileImage(path, limit);
    if (!image)
    {
        return std::nullopt;
    }
    return std::string(image->begin(), image->end());
}

/// Puts a file in its place, whole or not at all, and onto the disk.
void PutFile(const std::string &path, std::string_view bytes, bool sync)
{
    const std::string unfinished = path + ".new";
    TreeWriter::WriteFile(unfinished, bytes);
    const std::string directory = fs::path(path).parent_path();
    if (sync)
    {
        TreeWriter::SyncFileSystem(directory);
    }
    fs::rename(unfinished, path);
    if (sync)
    {
        TreeWriter::SyncDirectory(directory);
    }
}

std::string MakeComment(const ReleaseName &name)
{
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(now).count();
    return "timestamp:" + std::to_string(seconds) + "\tfile:" + TreeReader::ShipListName +
           "\trelease:" + (name.isSolution ? "solution:" : "") + name.name + "/" + FormatVersion(name.version) +
           "\thashed";
}

PublishedRelease PublishOne(const PublishRequest &request, const ShipList &list)
{
    const ReleaseName &name = list.GetRelease();
    const std::string place = request.root + "/" + PathOfShipList(name);
    const std::string signaturePlace = request.root + "/" + PathOfShipListSignature(name);
    const std::string text = list.GetText();
    PublishedRelease published{name, PathOfShipList(name), list.GetFiles().size(), list.GetSize()};
    published.isNew = !HoldsText(place, text);
    const bool wasSigned = ReadIfThere(signaturePlace, SignatureSizeLimit).has_value();
    if (published.isNew)
    {
        fs::remove(signaturePlace);
        PutFile(place, text, request.sync);
    }
    published.signature = !wasSigned         ? SignatureState::None
                          : !published.isNew ? SignatureState::Kept
                                             : SignatureState::Removed;
    if (request.key != nullptr)
    {
        PutFile(signaturePlace, request.key->Sign(text, MakeComment(name)), request.sync);
        published.signature = SignatureState::Made;
    }
    return published;
}

/// Bytes of all files that the releases need, each once.
uint64 SizeOfAll(const std::vector<View> &views, const PublishRequest &request)
{
    std::set<std::string> known;
    uint64 size = 0;
    for (const View &view : views)
    {
        const TreeReader::ReleaseParts gathered = GatherParts(view, request.root, request.threadCount);
        for (const TreeReader::ReleasePart &part : gathered.parts)
        {
            size += known.insert(part.path).second ? part.size : 0;
        }
    }
    return size;
}
} // namespace

const char *NameOf(SignatureState state)
{
    switch (state)
    {
    case SignatureState::None:
        return "none";
    case SignatureState::Kept:
        return "kept";
    case SignatureState::Made:
        return "made";
    case SignatureState::Removed:
        break;
    }
    return "removed";
}

std::vector<PublishedRelease> PublishShipLists(const PublishRequest &request)
{
    const TreeWriter::WriteLocks locks = LockAll(request);
    if (request.check)
    {
        RequireUndamaged(request.root, request.releases, request.threadCount, request.calls);
    }
    TreeReader::Tree tree(request.root);
    std::vector<View> views;
    for (const ReleaseName &name : request.releases)
    {
        views.push_back(OpenPublished(tree, name));
    }
    request.calls.begin("summing", SizeOfAll(views, request));
    FileSums sums(request.root, request.threadCount, request.calls);
    std::vector<ShipList> lists;
    lists.reserve(views.size());
    for (const View &view : views)
    {
        lists.push_back(ListRelease(view, sums, request.root, request.threadCount));
    }
    std::vector<PublishedRelease> published;
    published.reserve(lists.size());
    for (const ShipList &list : lists)
    {
        published.push_back(PublishOne(request, list));
    }
    return published;
}
} // namespace Keld::Delivery
