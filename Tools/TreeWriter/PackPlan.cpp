#include "Tools/TreeWriter/PackPlan.h"

#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeWriter/RuleBook.h"

#include "KeldFoundation/CStd/PathLimit.h"

#include <map>

namespace Keld::TreeWriter
{
using TreeReader::Compression;
using TreeReader::Storage;
using TreeReader::TreeError;
using TreeReader::TreePlaces;

namespace
{
/// Where a release's files come to lie, as texts: paths would be taken apart into their names for every file.
class PlacesOnDisk
{
public:
    PlacesOnDisk(const PackRequest &request, const TreePlaces &tree)
        : mNaked(tree.NakedFiles(request.project, request.release).string() + '/'),
          mManaged(tree.ManagedFiles(request.project, request.release).string() + '/'),
          mArchive((tree.Archives(request.project, request.release) / "files-0001.vka.dat").string())
    {
    }

    const std::string &GetArchive() const { return mArchive; }

    /// An empty file that is planned for an archive may end as a managed one.
    bool IsTooLongPlain(const PlannedFile &planned) const
    {
        const std::string &directory = planned.choice.storage == Storage::Naked ? mNaked : mManaged;
        return directory.size() + planned.entry.path.size() >= PathBufferSize;
    }

private:
    const std::string mNaked;
    const std::string mManaged;
    const std::string mArchive;
};

void RequireHeldByReader(const std::string &place, const char *remedy)
{
    if (place.size() >= PathBufferSize)
    {
        throw TreeError("the path on disk would be longer than 1023 bytes, which the reader refuses: " +
                        std::string(remedy) + ": " + place);
    }
}

PlannedFile PlanFile(const PackRequest &request, const SourceTree &source, const SourceFile &file, BaseRelease &base,
                     const StorageChooser &chooser)
{
    PlannedFile planned;
    planned.choice = chooser.Choose(file.path);
    planned.source = source.DiskPath(file);
    planned.entry.path = file.path;
    planned.entry.size = static_cast<uint32>(file.size);
    planned.entry.flags = TreeReader::FlagsOf(planned.choice.storage, planned.choice.compression);
    planned.entry.version = request.release;
    const TreeReader::ReleaseFile *inBase = base.Find(file.path);
    if (inBase != nullptr && inBase->size == file.size)
    {
        planned.inBase = inBase;
        planned.canBeKept = base.CanBeKept(*inBase);
    }
    return planned;
}

/// One stored form may serve several files of an archive; but the first open of an LZMA file closes its archive, so
/// that each has one to itself.
void MarkPossibleTwins(std::vector<PlannedFile> &plan)
{
    std::map<std::pair<uint32, Compression>, PlannedFile *> first;
    std::size_t aloneCount = 0;
    for (PlannedFile &planned : plan)
    {
        const bool isAlone = planned.choice.compression == Compression::Lzma;
        planned.aloneNumber = isAlone ? ++aloneCount : 0;
        const bool canShare = planned.choice.storage == Storage::Archive &&
                              planned.choice.compression != Compression::Lzma && planned.entry.size > 0;
        if (canShare)
        {
            const auto [entry, inserted] =
                first.emplace(std::pair(planned.entry.size, planned.choice.compression), &planned);
            planned.mayHaveTwin = entry->second->mayHaveTwin = entry->second->mayHaveTwin || !inserted;
        }
    }
}
} // namespace

StorageChoice StorageChooser::Choose(const std::string &path) const
{
    const StorageRule *rule = mRules.Find(path);
    const std::optional<StorageChoice> inherited = mBase.InheritedChoice(path);
    StorageChoice choice = rule != nullptr ? rule->choice : mRequest.choice;
    if (rule == nullptr && mRequest.inheritStorage && inherited)
    {
        choice.storage = inherited->storage;
    }
    const bool inheritsCompression = rule != nullptr ? rule->inheritCompression : mRequest.inheritCompression;
    if (inheritsCompression && inherited && inherited->storage == Storage::Archive)
    {
        choice.compression = inherited->compression;
    }
    if (choice.storage != Storage::Archive)
    {
        choice.compression = Compression::None;
    }
    return choice;
}

void RequireHeldPlain(const PlannedFile &file)
{
    if (file.isTooLong)
    {
        throw TreeError(file.entry.path + ": the path on disk would be longer than 1023 bytes, which the reader "
                                          "refuses: shorten it, or store the file in an archive beside others that are "
                                          "not empty");
    }
}

std::vector<PlannedFile> PlanRelease(const PackRequest &request, const TreePlaces &tree, const SourceTree &source,
                                     BaseRelease &base)
{
    RequireHeldByReader(tree.ReleaseManifest(request.project, request.release).string(),
                        "use a root with a shorter path");
    RuleBook rules(request.rules);
    const StorageChooser chooser(request, base, rules);
    const PlacesOnDisk places(request, tree);
    std::vector<PlannedFile> plan;
    plan.reserve(source.files.size());
    for (const SourceFile &file : source.files)
    {
        PlannedFile &planned = plan.emplace_back(PlanFile(request, source, file, base, chooser));
        planned.isTooLong = places.IsTooLongPlain(planned);
        if (planned.choice.storage == Storage::Archive)
        {
            RequireHeldByReader(places.GetArchive(), "use a root with a shorter path");
        }
        else if (!planned.canBeKept) // of those its content decides
        {
            RequireHeldPlain(planned);
        }
    }
    MarkPossibleTwins(plan);
    for (const std::string &complaint : rules.Complaints())
    {
        request.note(complaint);
    }
    return plan;
}
} // namespace Keld::TreeWriter
