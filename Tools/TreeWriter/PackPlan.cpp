#include "Tools/TreeWriter/PackPlan.h"

#include "Tools/TreeReader/FileLocator.h"
#include "Tools/TreeReader/TreeError.h"

#include "KeldFoundation/CStd/PathLimit.h"

#include <unordered_map>

#include <fnmatch.h>

namespace Keld::TreeWriter
{
namespace fs = std::filesystem;
using TreeReader::FileLocator;
using TreeReader::ReleaseContents;
using TreeReader::ReleaseFile;
using TreeReader::Storage;
using TreeReader::TreeError;
using TreeReader::TreePlaces;

namespace
{
/// The files of the base release that can be served as they are.
class BaseRelease
{
public:
    BaseRelease(const PackRequest &request, const TreePlaces &tree)
        : mContents(Load(request, tree)), mLocator(tree, request.project)
    {
        for (const ReleaseFile &file : mContents.files)
        {
            mFiles.emplace(file.path, &file);
        }
    }

    /// The base's record of an unchanged file, or null. Paths count with their case, since plain files lie on disk
    /// under the case that their manifest gives.
    const ReleaseFile *FindUnchanged(const std::string &path, const ContentSummary &content)
    {
        const auto entry = mFiles.find(path);
        if (entry == mFiles.end() || entry->second->size != content.size || entry->second->digest != content.digest)
        {
            return nullptr;
        }
        return entry->second;
    }

    /// Whether a later release can refer to the file's bytes where they are. A naked file belongs to its release.
    bool CanBeKept(const ReleaseFile &file)
    {
        return TreeReader::StorageOf(file.flags) != Storage::Naked && mLocator.Locate(file, mContents.release).found;
    }

private:
    static ReleaseContents Load(const PackRequest &request, const TreePlaces &tree)
    {
        if (!request.base)
        {
            return {};
        }
        const fs::path manifest = tree.ReleaseManifest(request.project, *request.base);
        std::error_code error;
        if (*request.base == request.release)
        {
            throw TreeError("a release cannot be its own base: give --base an earlier release");
        }
        if (!fs::exists(manifest, error))
        {
            throw TreeError("the project " + request.project + " has no release " + FormatVersion(*request.base) +
                            " to be the base: there is no " + manifest.string());
        }
        return TreeReader::ReadReleaseManifest(manifest);
    }

    ReleaseContents mContents;
    FileLocator mLocator;
    std::unordered_map<std::string, const ReleaseFile *> mFiles;
};

PlannedFile PlanFile(const PackRequest &request, const std::string &path, const ContentSummary &content,
                     BaseRelease &base)
{
    PlannedFile planned;
    const ReleaseFile *unchanged = base.FindUnchanged(path, content);
    if (unchanged != nullptr && base.CanBeKept(*unchanged))
    {
        planned.entry = *unchanged;
        planned.kept = true;
        return planned;
    }
    planned.choice = ChooseStorage(request, path);
    planned.entry.path = path;
    planned.entry.size = static_cast<uint32>(content.size);
    planned.entry.digest = content.digest;
    planned.entry.flags = TreeReader::FlagsOf(planned.choice.storage, planned.choice.compression);
    const bool staysNaked = unchanged != nullptr && planned.choice.storage == Storage::Naked;
    planned.entry.version = staysNaked ? unchanged->version : request.release;
    return planned;
}

fs::path PlaceOnDisk(const PackRequest &request, const TreePlaces &tree, const PlannedFile &planned)
{
    switch (planned.choice.storage)
    {
    case Storage::Naked:
        return tree.NakedFiles(request.project, request.release) / planned.entry.path;
    case Storage::Managed:
        return tree.ManagedFiles(request.project, request.release) / planned.entry.path;
    case Storage::Archive:
        break;
    }
    return tree.Archives(request.project, request.release) / "files-0001.vka.dat";
}

void RequireHeldByReader(const fs::path &place, const char *remedy)
{
    if (place.string().size() >= PathBufferSize)
    {
        throw TreeError("the path on disk would be longer than 1023 bytes, which the reader refuses: " +
                        std::string(remedy) + ": " + place.string());
    }
}
} // namespace

StorageChoice ChooseStorage(const PackRequest &request, const std::string &path)
{
    for (const StorageRule &rule : request.rules)
    {
        const bool wholePath = rule.glob.find('/') != std::string::npos;
        const std::string subject = wholePath ? path : path.substr(path.rfind('/') + 1);
        if (fnmatch(rule.glob.c_str(), subject.c_str(), FNM_CASEFOLD) == 0)
        {
            return rule.choice;
        }
    }
    return request.choice;
}

std::vector<PlannedFile> PlanRelease(const PackRequest &request, const TreePlaces &tree, const SourceTree &source)
{
    RequireHeldByReader(tree.ReleaseManifest(request.project, request.release), "use a root with a shorter path");
    BaseRelease base(request, tree);
    std::vector<PlannedFile> plan;
    plan.reserve(source.files.size());
    for (const SourceFile &file : source.files)
    {
        const ContentSummary content = ReadContent(source.root / file.path,
                                                   [&request](std::string_view)
                                                   {
                                                       request.checkpoint();
                                                   });
        if (content.size != file.size)
        {
            throw TreeError((source.root / file.path).string() + ": changed while it was read: pack again");
        }
        const PlannedFile &planned = plan.emplace_back(PlanFile(request, file.path, content, base));
        if (!planned.kept)
        {
            RequireHeldByReader(PlaceOnDisk(request, tree, planned), "store it in an archive, or shorten the path");
        }
    }
    return plan;
}
} // namespace Keld::TreeWriter
