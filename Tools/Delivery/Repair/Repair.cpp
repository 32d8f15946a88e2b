#include "Tools/Delivery/Repair/Repair.h"

#include "Tools/Delivery/Arrival/DownloadPlace.h"
#include "Tools/Delivery/Arrival/FileWriting.h"
#include "Tools/Delivery/Fetch/Fetch.h"
#include "Tools/Delivery/Repair/DamageSurvey.h"
#include "Tools/Delivery/Repair/RepairLists.h"
#include "Tools/Delivery/Sources/SourceCatalogue.h"
#include "Tools/Delivery/Sources/SourceError.h"
#include "Tools/Delivery/Sums/FileSums.h"
#include "Tools/Delivery/Sums/SameRelease.h"
#include "Tools/TreeReader/DiskFile.h"
#include "Tools/TreeReader/TreePlaces.h"
#include "Tools/TreeWriter/DirectoryProtection.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>

namespace Keld::Delivery
{
using TreeReader::ReleaseName;
using TreeReader::Result;
using TreeReader::TreeError;

namespace
{
constexpr uint_size MendBufferSize = uint_size(1) << 20; // bytes

/// What stands in the way of a file, in the tree, is told in a sentence.
std::function<void(const std::string &, const std::string &)> NoteAside(std::vector<std::string> &notes)
{
    return [&notes](const std::string &path, const std::string &aside)
    {
        notes.push_back(path + " was in the way: what stood there is now " + aside);
    };
}

/// Gets files back that lists tell of.
class Mender
{
public:
    Mender(const RepairRequest &request, const RepairLists &lists)
        : mRequest(request), mLists(lists), mArrival(PlanOf(lists, request), OptionsOf(request, mAside)),
          mPlace(mArrival)
    {
        mArrival.Discard(); // what an earlier run collected may be of another source
    }

    void Run(const DamageSurvey &survey, RepairReport &report)
    {
        const std::vector<RepairNeed> needs =
            CompareWithList(mRequest.root, mLists.GetFiles(), survey, mRequest.threadCount, mRequest.calls);
        uint64 total = 0;
        for (const RepairNeed &need : needs)
        {
            total += need.GetNeededBytes();
        }
        mRequest.calls.begin("fetching", total);
        try
        {
            for (const RepairNeed &need : needs)
            {
                if (need.ranges.empty() || !MendRanges(need))
                {
                    mWhole.push_back(need.path);
                }
            }
            BringWhole();
            TakeTexts();
            mArrival.Publish(mComing, mLists.GetWithdrawn());
        }
        catch (...)
        {
            Forget();
            throw;
        }
        report.broughtFiles += mComing.size();
        report.broughtBytes += mBytes;
        report.notes.insert(report.notes.end(), mAside.begin(), mAside.end());
        report.needs.insert(report.needs.end(), needs.begin(), needs.end());
    }

private:
    static ArrivalPlan PlanOf(const RepairLists &lists, const RepairRequest &request)
    {
        std::set<std::string> projects;
        std::set<std::string> solutions;
        for (const ShippedFile &file : lists.GetFiles())
        {
            const TreePath path = *ReadTreePath(file.path); // lists have refused all others
            (path.name.isSolution ? solutions : projects).insert(path.name.name);
        }
        return {request.root, "repair", {projects.begin(), projects.end()}, {solutions.begin(), solutions.end()}};
    }

    static ArrivalOptions OptionsOf(const RepairRequest &request, std::vector<std::string> &aside)
    {
        ArrivalOptions options;
        options.sync = request.sync;
        options.step = request.step;
        options.whileWaiting = request.calls.checkpoint;
        options.putAside = NoteAside(aside);
        return options;
    }

    void Forget()
    {
        try
        {
            mArrival.Discard();
        }
        catch (const std::exception &)
        {
            // The next run removes it, and what hindered this one is worth more to tell.
        }
    }

    const ShippedFile &Shipped(const std::string &path) const
    {
        const std::vector<ShippedFile> &files = mLists.GetFiles();
        return *std::lower_bound(files.begin(), files.end(), path,
                                 [](const ShippedFile &file, const std::string &searched)
                                 {
                                     return file.path < searched;
                                 });
    }

    /// Takes a file where it is the one that is wanted, else away.
    bool AcceptIfRight(const std::string &path)
    {
        const ShippedFile &wanted = Shipped(path);
        const Result<ShippedFile> came = SumFile(mPlace.GetPlace(path), path, mQuiet);
        if (!came || came->size != wanted.size || came->sum != wanted.sum)
        {
            mPlace.Remove(path);
            return false;
        }
        mArrival.Accept(path);
        mComing.push_back(path);
        return true;
    }

    /// Makes a copy of a damaged file, and fetches only what is damaged of it. False where that does not give the right
    /// file: more is damaged than was seen, or the source gives whole files alone.
    bool MendRanges(const RepairNeed &need)
    {
        const bool fits = std::all_of(need.ranges.begin(), need.ranges.end(),
                                      [&need](const ByteRange &range)
                                      {
                                          return range.offset < need.size && range.size <= need.size - range.offset;
                                      });
        if (!fits)
        {
            return false;
        }
        {
            const Common::Descriptor file = mArrival.OpenPartial(need.path);
            CopyPresent(need, file.Get());
            std::vector<uint64> done(need.ranges.size());
            const RangeSink sink = [&](std::size_t range, std::string_view bytes)
            {
                WriteAllAt(file.Get(), need.ranges[range].offset + done[range], bytes,
                           "what is mended of " + need.path);
                done[range] += bytes.size();
                mBytes += bytes.size();
                mRequest.calls.advance(bytes.size());
            };
            try
            {
                mRequest.source->ReadRanges(need.path, need.ranges, sink);
            }
            catch (const SourceError &error)
            {
                if (error.GetTrouble() != SourceTrouble::NoRanges)
                {
                    throw;
                }
            }
        }
        return AcceptIfRight(need.path);
    }

    void CopyPresent(const RepairNeed &need, int descriptor) const
    {
        const Result<TreeReader::DiskFile> present = TreeReader::DiskFile::Open(mRequest.root + "/" + need.path);
        if (!present)
        {
            throw TreeError(present.GetFault().GetMessage());
        }
        std::vector<char> buffer(std::min<uint64>(MendBufferSize, need.size));
        for (uint64 offset = 0; offset < need.size;)
        {
            mRequest.calls.checkpoint();
            const Result<uint_size> count =
                present->ReadAt(offset, buffer.data(), std::min<uint64>(buffer.size(), need.size - offset));
            if (!count || *count == 0)
            {
                return; // the rest of the copy has holes, and is not taken
            }
            WriteAllAt(descriptor, offset, {buffer.data(), *count}, "a copy of " + need.path);
            offset += *count;
        }
    }

    void BringWhole()
    {
        std::vector<Download> downloads;
        for (const std::string &path : mWhole)
        {
            downloads.push_back({path, Shipped(path).size, Shipped(path).size});
        }
        DownloadCalls calls;
        calls.checkpoint = mRequest.calls.checkpoint;
        calls.advance = [this](uint64 bytes)
        {
            mBytes += bytes;
            mRequest.calls.advance(bytes);
        };
        mRequest.source->Bring(downloads, mPlace, calls);
        for (const std::string &path : mWhole)
        {
            if (!AcceptIfRight(path))
            {
                throw SourceError(SourceTrouble::Untrue, mRequest.source->GetName() + "/" + path +
                                                             ": is not the file that its shiplist tells of");
            }
        }
    }

    /// The lists themselves, where those of the tree are others.
    void TakeTexts()
    {
        for (const auto &[path, text] : mLists.GetTexts())
        {
            if (HoldsText(mRequest.root + "/" + path, text))
            {
                continue;
            }
            mPlace.Write(path, text);
            mArrival.Accept(path);
            mComing.push_back(path);
        }
    }

    const RepairRequest &mRequest;
    const RepairLists &mLists;
    std::vector<std::string> mAside; ///< what stood in the way, one sentence each
    Arrival mArrival;
    const DownloadPlace mPlace;
    const WorkCalls mQuiet;           ///< for what is read again
    std::vector<std::string> mWhole;  ///< files to be fetched as a whole
    std::vector<std::string> mComing; ///< accepted
    std::atomic<uint64> mBytes{0};    ///< from the source
};

/// What a server gives without a list: held against digests alone.
void FetchUnlisted(const RepairRequest &request, const ReleaseName &release, RepairReport &report)
{
    FetchRequest fetch;
    fetch.wanted = release;
    fetch.root = request.root;
    fetch.sync = request.sync;
    fetch.threadCount = request.threadCount;
    fetch.advance = request.calls.advance;
    fetch.checkpoint = request.calls.checkpoint;
    fetch.step = request.step;
    fetch.putAside = NoteAside(report.notes);
    fetch.mayReplace = [&request](const ReleaseName &name, const LargeVector<char> &theirs)
    {
        return !IsAnotherRelease(request.root, name, theirs, request.threadCount, request.calls);
    };
    fetch.begin = [&request](FetchPhase, uint64 total)
    {
        request.calls.begin("fetching", total);
    };
    const FetchReport fetched = Fetch(*request.source, fetch);
    report.broughtFiles += fetched.numbers.downloads;
    report.broughtBytes += fetched.numbers.downloadedBytes;
}

/// By the tree's own lists, and what a check finds.
void TellNeeds(const RepairRequest &request, RepairReport &report)
{
    DamageSurvey survey = SurveyDamage(request.root, request.releases, request.threadCount, request.calls);
    for (const ReleaseName &release :
         AddOtherThanListed(request.root, request.releases, survey, request.threadCount, request.calls))
    {
        report.notes.push_back(release.GetText() +
                               " has no shiplist here: damage that no reader sees was not looked for");
    }
    for (auto &[path, need] : survey.needs)
    {
        report.needs.push_back(std::move(need));
    }
    report.remaining = std::move(survey.faults);
}

/// What is wrong still. Of releases that the source gives no list of, the tree's own lists tell more than a check.
void TellRemaining(const RepairRequest &request, const RepairLists &lists, RepairReport &report)
{
    DamageSurvey survey = SurveyDamage(request.root, request.releases, request.threadCount, request.calls);
    AddOtherThanListed(request.root, lists.GetLacking(), survey, request.threadCount, request.calls);
    for (const ReleaseName &release :
         AddOtherThanListed(request.root, lists.GetUnlisted(), survey, request.threadCount, request.calls))
    {
        report.notes.push_back(request.source->GetName() + " has no shiplist of " + release.GetText() +
                               ": damage that no reader sees was not looked for");
    }
    report.remaining = std::move(survey.faults);
}

/// Of all archives that the releases are served from, whether or not something came.
void ProtectAll(const RepairRequest &request)
{
    TreeReader::Tree tree(request.root);
    for (const ReleaseName &name : request.releases)
    {
        const auto view = TreeReader::View::Open(tree, name);
        for (const TreeReader::Layer &layer : view ? view->GetLayers() : std::vector<TreeReader::Layer>())
        {
            for (const MorvVersion version : layer.release->GetArchiveVersions())
            {
                const auto directory =
                    TreeReader::TreePlaces(request.root).Archives(layer.release->GetProject(), version);
                if (std::filesystem::is_directory(directory) && !TreeWriter::IsProtected(directory))
                {
                    TreeWriter::Protect(directory);
                }
            }
        }
    }
}
} // namespace

uint64 RepairNeed::GetNeededBytes() const
{
    uint64 bytes = 0;
    for (const ByteRange &range : ranges)
    {
        bytes += range.size;
    }
    return ranges.empty() ? size : bytes;
}

RepairReport Repair(const RepairRequest &request)
{
    RepairReport report;
    if (request.source == nullptr)
    {
        TellNeeds(request, report);
        return report;
    }
    const RepairLists lists(request);
    report.notes = lists.GetNotes();
    if (!lists.GetFiles().empty())
    {
        Mender mender(request, lists);
        mender.Run(SurveyDamage(request.root, request.releases, request.threadCount, request.calls), report);
    }
    for (const ReleaseName &release : lists.GetUnlisted())
    {
        FetchUnlisted(request, release, report);
    }
    if (request.protect)
    {
        ProtectAll(request);
    }
    const std::string others = request.isWholeTree ? TellOfOthers(*request.source, request.releases) : "";
    if (!others.empty())
    {
        report.notes.push_back(others);
    }
    TellRemaining(request, lists, report);
    return report;
}
} // namespace Keld::Delivery
