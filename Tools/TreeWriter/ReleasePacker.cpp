#include "Tools/TreeWriter/ReleasePacker.h"

#include "Tools/Common/ParallelWork.h"
#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeWriter/FolderSource.h"
#include "Tools/TreeWriter/LargeDigests.h"
#include "Tools/TreeWriter/ReleaseManifestWriter.h"
#include "Tools/TreeWriter/ReleaseStorer.h"
#include "Tools/TreeWriter/SourceContent.h"
#include "Tools/TreeWriter/StaleShipLists.h"
#include "Tools/TreeWriter/StoredFormCheck.h"
#include "Tools/TreeWriter/TarSource.h"
#include "Tools/TreeWriter/TreeNames.h"
#include "Tools/TreeWriter/WriteLock.h"

#include <algorithm>
#include <span>

namespace Keld::TreeWriter
{
namespace fs = std::filesystem;
using Common::CutIntoStretches;
using Common::ForEachInParallel;
using Common::OrderedWork;
using Common::Stretch;
using TreeReader::TreeError;
using TreeReader::TreePlaces;

namespace
{
constexpr uint64 MemoryPerThread = uint64{16} << 20; // of content that is being packed or waits to be written

bool LiesInside(const fs::path &inner, const fs::path &outer)
{
    return std::mismatch(outer.begin(), outer.end(), inner.begin(), inner.end()).first == outer.end();
}

void RequireSeparate(const fs::path &root, const fs::path &source)
{
    const fs::path folder = fs::weakly_canonical(fs::absolute(source));
    if (LiesInside(root, folder) || LiesInside(folder, root))
    {
        throw TreeError("the source " + folder.string() + " and the tree " + root.string() +
                        " lie inside each other: keep them apart");
    }
}

/// Says once that it waits, and stays ready to be interrupted.
std::function<void()> WaitForOthers(const PackRequest &request)
{
    return [&request, told = false]() mutable
    {
        if (!told)
        {
            request.note("waiting for another process that writes to the project " + request.project);
            told = true;
        }
        request.checkpoint();
    };
}

uint64 SumOfSizes(const std::vector<PlannedFile> &plan)
{
    uint64 sum = 0;
    for (const PlannedFile &planned : plan)
    {
        sum += planned.entry.size;
    }
    return sum;
}

void StoreFiles(const PackRequest &request, std::vector<PlannedFile> &plan, ContentMaker &maker, ReleaseStorer &storer)
{
    const std::vector<ContentTask> tasks = maker.ListTasks();
    request.begin(PackPhase::Packing, SumOfSizes(plan));
    // Their number says nothing about the release: the batches are taken apart again, in order.
    const std::vector<Stretch> batches = CutIntoStretches(tasks.size(), {BatchSize, MostInBatch, request.threadCount},
                                                          [&](std::size_t index)
                                                          {
                                                              return maker.SizeInBatch(tasks[index]);
                                                          });
    const auto tasksOf = [&](std::size_t batch)
    {
        return std::span(tasks).subspan(batches[batch].begin, batches[batch].end - batches[batch].begin);
    };
    OrderedWork<std::vector<MadeContent>>(request.threadCount, (request.threadCount + 1) * MemoryPerThread)
        .Run(
            batches.size(),
            [&](std::size_t batch)
            {
                uint64 weight = 0;
                for (const ContentTask &task : tasksOf(batch))
                {
                    weight += ContentMaker::Weigh(task);
                }
                return weight;
            },
            [&](std::size_t batch)
            {
                return maker.MakeAll(tasksOf(batch));
            },
            [&](std::size_t batch, std::vector<MadeContent> &&made)
            {
                for (std::size_t at = 0; at < made.size(); ++at)
                {
                    storer.Take(tasksOf(batch)[at], std::move(made[at]));
                    made[at] = {}; // what was stored needs no memory any more
                }
            });
    storer.Finish();
}

std::string BuildManifest(const PackRequest &request, const SourceTree &source, const std::vector<PlannedFile> &plan)
{
    TreeReader::ReleaseContents contents;
    contents.project = request.project;
    contents.release = request.release;
    contents.directories = source.directories;
    contents.formatVersion =
        request.longRecords ? MORV::Reader::ReleaseManifestVersionV0 : MORV::Reader::ReleaseManifestVersion;
    for (const PlannedFile &planned : plan)
    {
        contents.files.push_back(planned.entry);
    }
    return BuildReleaseManifest(contents);
}

/// Tells which files a delta would keep, and the rest by what was planned for it.
void TryOut(const PackRequest &request, std::vector<PlannedFile> &plan)
{
    std::vector<PlannedFile *> candidates;
    uint64 size = 0;
    for (PlannedFile &planned : plan)
    {
        if (planned.inBase != nullptr)
        {
            candidates.push_back(&planned);
            size += planned.entry.size;
        }
    }
    request.begin(PackPhase::Comparing, size);
    ForEachInParallel(request.threadCount, candidates.size(),
                      [&](std::size_t index)
                      {
                          PlannedFile &planned = *candidates[index];
                          planned.entry.digest = DigestOfFile(planned, request.checkpoint);
                          planned.kept = planned.canBeKept && planned.IsUnchanged(planned.entry.digest);
                          if (!planned.kept && planned.choice.storage != TreeReader::Storage::Archive)
                          {
                              RequireHeldPlain(planned);
                          }
                          request.advance(planned.entry.size);
                      });
}

void NoteDelta(const PackRequest &request, const PackReport &report)
{
    if (report.nakedAgain > 0)
    {
        request.note(std::to_string(report.nakedAgain) +
                     (report.nakedAgain == 1 ? " unchanged naked file is" : " unchanged naked files are") +
                     " stored again, " + std::to_string(report.nakedAgainSize) +
                     (report.nakedAgainSize == 1 ? " byte" : " bytes") +
                     ": a later release can share managed and archived files, but no naked ones");
    }
    if (report.moved > 0)
    {
        request.note(std::to_string(report.moved) +
                     (report.moved == 1 ? " file only moved but is" : " files only moved but are") +
                     " stored again: a file is found under the path that it was stored with");
    }
}

/// All that one packing holds on to while it works.
class Packing
{
public:
    Packing(const PackRequest &request, TreePlaces tree) : mRequest(request), mTree(std::move(tree)) {}

    PackReport TryOutAll()
    {
        RequireFreeRelease(mTree, mRequest.project, mRequest.release, mRequest.replace);
        if (mRequest.tarStream >= 0)
        {
            throw TreeError("a tar stream can be read only once: a dry run needs a folder");
        }
        BaseRelease base(mRequest, mTree);
        const SourceTree source = ScanSource(mRequest.source, mRequest.sourceOptions, mRequest.checkpoint);
        std::vector<PlannedFile> plan = PlanAll(source, base);
        TryOut(mRequest, plan);
        PackReport report = CountPlan(plan, source, base);
        NoteDelta(mRequest, report);
        return report;
    }

    PackReport Run()
    {
        const WriteLock lock(mTree.Project(mRequest.project), WaitForOthers(mRequest));
        for (const std::string &name : RemoveLeftovers(mTree, mRequest.project, mRequest.sync))
        {
            mRequest.note("removed " + name + ", which a pack that did not end left behind");
        }
        RequireFreeRelease(mTree, mRequest.project, mRequest.release, mRequest.replace);
        BaseRelease base(mRequest, mTree);
        ReleaseStaging staging(mTree, mRequest.project, mRequest.release,
                               {mRequest.sync, mRequest.protect, mRequest.publishStep});
        const SourceTree source =
            mRequest.tarStream >= 0
                ? SpoolTar(mRequest.tarStream, staging.Spool(), mRequest.sourceOptions, mRequest.checkpoint)
                : ScanSource(mRequest.source, mRequest.sourceOptions, mRequest.checkpoint);
        std::vector<PlannedFile> plan = PlanAll(source, base);
        ReadLargeDigests(mRequest, plan);

        ContentMaker maker(mRequest, staging, plan);
        ReleaseStorer storer(mRequest, staging, plan, maker);
        StoreFiles(mRequest, plan, maker, storer);
        staging.RemoveSpool();
        CheckStoredForms(mRequest, plan, storer.GetForms());
        PackReport report = CountPlan(plan, source, base);
        report.archives = storer.GetArchiveCount();
        report.storedSize = storer.GetStoredSize();
        report.shared = storer.GetSharedCount();
        report.sharedSize = storer.GetSharedSize();
        ForgetShipLists(); // first: a list of the release before would have every fetch of the new one refused
        staging.Publish(BuildManifest(mRequest, source, plan));
        NoteDelta(mRequest, report);
        return report;
    }

private:
    std::vector<PlannedFile> PlanAll(const SourceTree &source, BaseRelease &base) const
    {
        for (const std::string &note : source.notes)
        {
            mRequest.note(note);
        }
        return PlanRelease(mRequest, mTree, source, base);
    }

    /// The release's own list went with the old release.
    void ForgetShipLists() const
    {
        if (!mRequest.replace)
        {
            return;
        }
        for (const std::string &note : RemoveStaleShipLists(mTree, mRequest.project, mRequest.release, mRequest.sync))
        {
            mRequest.note(note);
        }
    }

    const PackRequest &mRequest;
    TreePlaces mTree;
};
} // namespace

PackReport PackRelease(const PackRequest &request)
{
    RequireUsableName("project", request.project);
    const TreePlaces tree(RequireUsableRoot(request.root));
    if (request.tarStream < 0)
    {
        RequireSeparate(tree.GetRoot(), request.source);
    }
    Packing packing(request, tree);
    return request.dryRun ? packing.TryOutAll() : packing.Run();
}
} // namespace Keld::TreeWriter
