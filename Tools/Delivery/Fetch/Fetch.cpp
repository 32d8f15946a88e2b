#include "Tools/Delivery/Fetch/Fetch.h"

#include "Tools/Delivery/Arrival/ArrivalJournal.h"
#include "Tools/Delivery/Arrival/DownloadPlace.h"
#include "Tools/Delivery/Fetch/FetchBounds.h"
#include "Tools/Delivery/Fetch/WantedSet.h"
#include "Tools/TreeReader/TreeError.h"

#include "KeldMorvIO/TreeWords.h"

#include <algorithm>
#include <atomic>

namespace Keld::Delivery
{
using TreeReader::ReleaseName;
using TreeReader::TreeError;

namespace
{
constexpr uint64 LargestKept = uint64{1} << 31; // bytes, of a manifest that an earlier run brought

ArrivalPlan MakeArrivalPlan(const WantedSet &wanted, const std::string &root)
{
    ArrivalPlan plan;
    plan.root = root;
    plan.purpose =
        (wanted.name.isSolution ? "solution-" : "") + wanted.name.name + "-" + FormatVersion(wanted.name.version);
    plan.projects = wanted.GetProjects();
    if (wanted.name.isSolution)
    {
        plan.solutions.push_back(wanted.name.name);
    }
    return plan;
}

ArrivalOptions MakeArrivalOptions(const FetchRequest &request)
{
    ArrivalOptions options;
    options.sync = request.sync;
    options.step = request.step;
    options.whileWaiting = request.checkpoint;
    options.putAside = request.putAside;
    return options;
}

class FetchRun
{
public:
    FetchRun(Source &source, const FetchRequest &request, const WantedSet &wanted, const SourceProof &proof)
        : mSource(source), mRequest(request), mWanted(wanted), mProof(proof),
          mArrival(MakeArrivalPlan(wanted, request.root), MakeArrivalOptions(request)), mPlace(mArrival),
          mTree(request.root)
    {
    }

    FetchReport Run();

private:
    void TakeUp();
    bool CompareAll();
    void RequireNoOther(const WantedRelease &wanted, ManifestState state) const;
    void BringAll();
    void PlanAndBring();
    bool BringAgain(const std::vector<std::string> &failed, const DownloadCalls &calls);
    void BringParts(const DownloadCalls &calls);
    void AddShipList(std::vector<std::string> &paths);
    std::vector<std::string> CheckAll(std::string &reason);
    void Publish();
    void RequireRoom(const std::vector<Download> &downloads) const;
    std::unique_ptr<EarlyProof> MakeEarlyProof() const;
    FetchReport MakeReport(bool wasThere) const;

    Source &mSource;
    const FetchRequest &mRequest;
    const WantedSet &mWanted;
    const SourceProof &mProof;
    Arrival mArrival;
    DownloadPlace mPlace;
    TreeReader::Tree mTree;
    std::vector<std::unique_ptr<ReleaseFetch>> mReleases;
    std::vector<bool> mWereWhole; ///< by release
    std::vector<Download> mDownloads;
    std::unique_ptr<EarlyProof> mEarly = MakeEarlyProof();
    std::atomic<uint64> mCameBytes{0};
    std::atomic<uint64> mFoundBytes{0};
};

FetchReport FetchRun::Run()
{
    const bool isWhole = CompareAll();
    if (isWhole)
    {
        mArrival.Discard();
    }
    else
    {
        TakeUp();
        BringAll();
        Publish();
        RequireServed(mRequest.root, mWanted, mRequest.threadCount);
    }
    if (mRequest.protect)
    {
        for (const auto &release : mWanted.releases)
        {
            ProtectArchives(mRequest.root, *release);
        }
    }
    return MakeReport(isWhole);
}

/// What an earlier run brought is for the manifests that it had, and checked as it was asked to. Where these differ,
/// nothing of it counts. Nor does what nobody will check, where it came in another run of the machine, or nobody knows
/// in which: it may never have reached the disk.
void FetchRun::TakeUp()
{
    const bool isChecked = mRequest.decode || mRequest.key != nullptr;
    const std::string boot = isChecked ? "" : IdentifyBoot();
    const std::string way = (mRequest.decode ? "decoded" : "taken on trust " + boot) +
                            (mRequest.key != nullptr ? " signed " + FormatIdentity(mRequest.key->GetIdentity()) : "");
    bool isSame = isChecked || !boot.empty();
    const auto compare = [&](const std::string &path, const LargeVector<char> &bytes)
    {
        const auto kept = TreeReader::ReadFileImage(mPlace.GetPlace(path), LargestKept);
        isSame = isSame && kept && *kept == bytes && mPlace.GetTag(path) == way;
    };
    const auto forAll = [&](const auto &work)
    {
        for (const auto &release : mWanted.releases)
        {
            work(release->GetManifestPath(), release->GetManifest());
        }
        for (const WantedText &text : mWanted.texts)
        {
            work(text.path, text.bytes);
        }
    };
    forAll(compare);
    if (isSame)
    {
        return;
    }
    mArrival.Discard();
    forAll(
        [&](const std::string &path, const LargeVector<char> &bytes)
        {
            mPlace.Write(path, {bytes.data(), bytes.size()});
            mPlace.SetTag(path, way);
        });
}

bool FetchRun::CompareAll()
{
    mRequest.begin(FetchPhase::Comparing, 0);
    bool isWhole = true;
    for (const auto &wanted : mWanted.releases)
    {
        mReleases.push_back(std::make_unique<ReleaseFetch>(
            mTree, *wanted, mPlace, mProof,
            FetchTrust{mRequest.decode || mRequest.key != nullptr, mRequest.allowPartial && mRequest.key == nullptr},
            CompareOptions{mRequest.decode, mRequest.threadCount, mRequest.advance, mRequest.checkpoint}));
        RequireNoOther(*wanted, mReleases.back()->GetManifestState());
        mReleases.back()->FindLacking();
        mWereWhole.push_back(mReleases.back()->IsWhole());
        isWhole = isWhole && mWereWhole.back();
    }
    for (const WantedText &text : mWanted.texts)
    {
        const ManifestState state = GetTextState(mRequest.root, text);
        if (state == ManifestState::Other && !(mRequest.mayReplace && mRequest.mayReplace(mWanted.name, text.bytes)))
        {
            throw TreeError(mRequest.root + "/" + text.path +
                            ": is another here than the source has; a published release never changes");
        }
        isWhole = isWhole && state == ManifestState::Same;
    }
    return isWhole;
}

void FetchRun::RequireNoOther(const WantedRelease &wanted, ManifestState state) const
{
    if (state == ManifestState::Other &&
        !(mRequest.mayReplace && mRequest.mayReplace(wanted.GetName(), wanted.GetManifest())))
    {
        throw TreeError(mRequest.root + "/" + wanted.GetManifestPath() + ": " + wanted.GetName().GetText() +
                        " is here with another manifest than the source has; a published release never changes. Where "
                        "it is damaged (morv verify), morv repair gets it back");
    }
}

/// What does not fit may do so for a wrong index.
void FetchRun::BringAll()
{
    try
    {
        PlanAndBring();
    }
    catch (const SourceError &error)
    {
        if (error.GetTrouble() == SourceTrouble::Untrue)
        {
            for (const auto &release : mReleases)
            {
                release->ForgetIndexes();
            }
        }
        throw;
    }
}

void FetchRun::PlanAndBring()
{
    DownloadCalls calls;
    calls.advance = [&](uint64 bytes)
    {
        mCameBytes += bytes;
        mRequest.advance(bytes);
    };
    calls.checkpoint = mRequest.checkpoint;
    calls.found = [&](uint64 bytes)
    {
        mFoundBytes += bytes;
        mRequest.advance(bytes);
    };
    calls.grown = [&](const std::string &path, uint64 size)
    {
        mEarly->Note(path, size);
    };
    mRequest.begin(FetchPhase::Downloading, 0);
    for (const auto &release : mReleases)
    {
        release->Plan(mSource, calls);
        release->AddDownloads(mDownloads);
        release->Foretell(*mEarly);
    }
    RequireRoom(mDownloads);
    uint64 size = 0;
    for (const Download &download : mDownloads)
    {
        size += download.size.value_or(download.likely);
    }
    mRequest.begin(FetchPhase::Downloading, size);
    mSource.Bring(mDownloads, mPlace, calls);
    BringParts(calls);

    std::string reason;
    std::vector<std::string> failed = CheckAll(reason);
    if (!failed.empty() && BringAgain(failed, calls))
    {
        failed = CheckAll(reason);
    }
    if (!failed.empty())
    {
        throw SourceError(SourceTrouble::Untrue, mSource.GetName() + "/" + reason +
                                                     (failed.size() > 1 ? "; it is not the only one: " : "; ") +
                                                     "the source is damaged, or gives something else");
    }
}

/// Pieces that came at different times need not be of one file; what comes in one piece is.
/// \returns whether there were any among the files that failed
bool FetchRun::BringAgain(const std::vector<std::string> &failed, const DownloadCalls &calls)
{
    const bool isPieced = std::any_of(mDownloads.begin(), mDownloads.end(),
                                      [&](const Download &download)
                                      {
                                          return download.isPieced &&
                                                 std::find(failed.begin(), failed.end(), download.path) != failed.end();
                                      });
    if (isPieced)
    {
        mRequest.begin(FetchPhase::Downloading, 0);
        DownloadCalls again = calls;
        again.found = [](uint64) {}; // what this run brought
        mSource.Bring(mDownloads, mPlace, again);
    }
    bool isAny = isPieced;
    for (const auto &release : mReleases)
    {
        isAny = release->BringPartsAgain(mSource, calls, failed) || isAny;
    }
    return isAny;
}

/// Archives that do not come in parts come whole.
void FetchRun::BringParts(const DownloadCalls &calls)
{
    std::vector<Download> whole;
    for (const auto &release : mReleases)
    {
        release->BringParts(mSource, calls, whole);
    }
    mSource.Bring(whole, mPlace, calls);
    mDownloads.insert(mDownloads.end(), whole.begin(), whole.end());
}

std::unique_ptr<EarlyProof> FetchRun::MakeEarlyProof() const
{
    return std::make_unique<EarlyProof>(mRequest.threadCount, mRequest.checkpoint);
}

std::vector<std::string> FetchRun::CheckAll(std::string &reason)
{
    mEarly->Finish();
    uint64 bytes = 0;
    for (const auto &release : mReleases)
    {
        bytes += release->GetCheckedBytes();
    }
    bytes -= std::min(bytes, mEarly->GetProvedBytes());
    mRequest.begin(FetchPhase::Checking, mRequest.decode ? bytes : 0);
    std::vector<std::string> failed;
    for (const auto &release : mReleases)
    {
        const std::vector<std::string> some = release->Check(*mEarly, reason);
        failed.insert(failed.end(), some.begin(), some.end());
    }
    mEarly = MakeEarlyProof(); // what comes once more is proved when it is there
    return failed;
}

void FetchRun::RequireRoom(const std::vector<Download> &downloads) const
{
    uint64 needed = 0;
    for (const Download &download : downloads)
    {
        const uint64 size = download.size.value_or(download.likely);
        needed += size - std::min(size, mPlace.GetSize(download.path).value_or(0));
    }
    RequireDiskRoom(mRequest.root, needed);
}

void FetchRun::Publish()
{
    std::vector<std::string> paths;
    for (const auto &release : mReleases)
    {
        release->Accept(paths);
    }
    for (const WantedText &text : mWanted.texts)
    {
        if (GetTextState(mRequest.root, text) != ManifestState::Same)
        {
            if (!mArrival.IsAccepted(text.path))
            {
                mArrival.Accept(text.path);
            }
            paths.push_back(text.path);
        }
    }
    AddShipList(paths);
    // The places that programs start in are there also where no file lies in them.
    const Common::OutputDirectory root(mRequest.root);
    for (const auto &release : mWanted.releases)
    {
        const std::string manifest = release->GetManifestPath();
        root.OpenBelow(manifest.substr(0, manifest.rfind('/') + 1) + MORV::Reader::DeployDirectory);
    }
    mArrival.Publish(paths);
}

/// So that others can fetch from this tree as well as from its source. Not where files are held in other archives than
/// the list tells of, as in those that are made of parts.
void FetchRun::AddShipList(std::vector<std::string> &paths)
{
    if (!HasAllListed(mRequest.root, mProof, paths))
    {
        return;
    }
    for (const WantedText &text : mProof.GetTexts())
    {
        if (!mArrival.IsAccepted(text.path))
        {
            mPlace.Write(text.path, {text.bytes.data(), text.bytes.size()});
            mArrival.Accept(text.path);
        }
        paths.push_back(text.path);
    }
}

FetchReport FetchRun::MakeReport(bool wasThere) const
{
    FetchReport report;
    for (std::size_t index = 0; index < mReleases.size(); ++index)
    {
        report.releases.push_back({mWanted.releases[index]->GetName(), mWereWhole[index]});
        mReleases[index]->AddNumbers(report.numbers);
    }
    if (mWanted.name.isSolution)
    {
        report.releases.push_back({mWanted.name, wasThere});
    }
    report.numbers.downloads = mDownloads.size();
    report.numbers.downloadedBytes = mCameBytes;
    report.numbers.foundBytes = mFoundBytes;
    return report;
}
} // namespace

bool FetchReport::WasThere() const
{
    return std::all_of(releases.begin(), releases.end(),
                       [](const FetchedRelease &release)
                       {
                           return release.wasThere;
                       });
}

FetchReport Fetch(Source &source, const FetchRequest &request)
{
    const WantedSet wanted = ReadWantedSet(source, request.root, request.wanted);
    const SourceProof proof(source, wanted, request.key);
    return FetchRun(source, request, wanted, proof).Run();
}
} // namespace Keld::Delivery
