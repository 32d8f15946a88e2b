#include "Tools/TreeChecker/StoredFiles.h"

#include "Tools/Common/ParallelWork.h"

#include "KeldMorvIO/archive/ArchiveFormat.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <map>
#include <tuple>

namespace Keld::TreeChecker
{
using TreeReader::EntryIndex;
using TreeReader::Failure;
using TreeReader::Fault;
using TreeReader::FaultKind;
using TreeReader::Release;
using TreeReader::Storage;
using TreeReader::StoredFile;

namespace
{
constexpr uint32 FilesAtOnce = 2048; // that a thread looks up before it asks for more

int Sign(auto left, auto right)
{
    return left < right ? -1 : left > right ? 1 : 0;
}

/// A version without archives is one fault, however many files it concerns, and so is a data file. A path that the
/// archives do not know is one by itself.
Fault MissingFault(const Release &release, EntryIndex file, Fault fault)
{
    const auto &fields = release.GetTree().GetFields(file);
    if (fault.kind == FaultKind::NoArchives)
    {
        const auto &archives = release.GetArchives(fields.version);
        fault.path = archives.GetDirectory();
        const Fault &cause = archives.GetFaults().front();
        fault.text =
            "holds no archive that can be used: " + (cause.path == fault.path ? cause.text : cause.GetMessage());
    }
    else if (fault.kind == FaultKind::NotInArchives)
    {
        const auto &archives = release.GetArchives(fields.version);
        fault.path = archives.GetDirectory();
        fault.text = archives.GetFaults().empty()
                         ? "holds no archive that knows the path"
                         : "holds no archive that knows the path, and an index that cannot be used";
    }
    else if (fault.kind == FaultKind::BadManifest || fault.kind == FaultKind::PathTooLong)
    {
        fault.path = release.GetDirectory();
        fault.text = "lists a file that " + fault.text;
    }
    return fault;
}

bool IsToldByFile(const Fault &fault)
{
    return fault.kind == FaultKind::NotInArchives || fault.kind == FaultKind::BadManifest ||
           fault.kind == FaultKind::PathTooLong;
}

std::string IndexOf(const Fault &fault)
{
    const std::string ending = std::string(".") + MORV::Reader::ArchiveDataExtension;
    return fault.path.ends_with(ending) ? fault.path.substr(0, fault.path.size() - ending.size()) : "";
}
} // namespace

void StoredFiles::Collect(unsigned threadCount, const std::function<void()> &checkpoint, CheckReport &report)
{
    struct Stretch
    {
        uint32 release;
        uint32 firstFile;
        uint32 endFile;
    };
    std::vector<Stretch> stretches;
    for (uint32 release = 0; release < mReleases.size(); ++release)
    {
        const uint32 count = mReleases[release].release->GetTree().GetFileCount();
        report.files += count;
        for (uint32 first = 0; first < count; first += std::min(FilesAtOnce, count - first))
        {
            stretches.push_back({release, first, first + std::min(FilesAtOnce, count - first)});
        }
    }
    std::vector<Part> parts(stretches.size());
    Common::ForEachInParallel(threadCount, stretches.size(),
                              [&](std::size_t index)
                              {
                                  checkpoint();
                                  const Stretch &stretch = stretches[index];
                                  parts[index] = CollectSome(stretch.release, stretch.firstFile, stretch.endFile);
                              });
    std::vector<Missing> missing;
    mUses.reserve(report.files);
    for (Part &part : parts)
    {
        std::move(part.uses.begin(), part.uses.end(), std::back_inserter(mUses));
        std::move(part.missing.begin(), part.missing.end(), std::back_inserter(missing));
    }
    AddMissing(std::move(missing), report);
    MakeUnits();
}

StoredFiles::Part StoredFiles::CollectSome(uint32 release, uint32 firstFile, uint32 endFile) const
{
    const Release &source = *mReleases[release].release;
    Part part;
    part.uses.reserve(endFile - firstFile);
    for (uint32 number = firstFile; number < endFile; ++number)
    {
        const EntryIndex file = source.GetTree().GetFileEntry(number);
        auto stored = source.Locate(file);
        if (stored)
        {
            part.uses.push_back({std::move(*stored), release, file});
        }
        else
        {
            part.missing.push_back({release, file, MissingFault(source, file, stored.GetFault())});
        }
    }
    return part;
}

void StoredFiles::AddMissing(std::vector<Missing> missing, CheckReport &report) const
{
    using Key = std::tuple<FaultKind, std::string, std::string, std::string>;
    std::map<Key, Finding> findings;
    for (Missing &one : missing)
    {
        const CheckedRelease &checked = mReleases[one.release];
        const auto &tree = checked.release->GetTree();
        const std::string path = tree.GetPath(one.file);
        const Key key(one.fault.kind, one.fault.path, one.fault.text, IsToldByFile(one.fault) ? path : "");
        Finding &finding = findings[key];
        finding.storage = TreeReader::StorageOf(tree.GetFields(one.file).flags);
        finding.archive = finding.storage == Storage::Archive ? IndexOf(one.fault) : "";
        finding.fault = std::move(one.fault);
        finding.files.push_back(path);
        MergeUsers(finding.users, checked.users);
    }
    for (auto &[key, finding] : findings)
    {
        std::sort(finding.files.begin(), finding.files.end());
        finding.files.erase(std::unique(finding.files.begin(), finding.files.end()), finding.files.end());
        report.faults.push_back(std::move(finding));
    }
}

/// By file on disk and place in it.
int StoredFiles::ComparePlaces(const StoredUse &left, const StoredUse &right) const
{
    const StoredFile &first = left.stored;
    const StoredFile &second = right.stored;
    const bool isOneFile = first.archive != nullptr && first.archive == second.archive;
    const int order = isOneFile ? 0 : first.path.compare(second.path);
    if (order != 0)
    {
        return order;
    }
    const int offsets = Sign(first.offset, second.offset);
    return offsets != 0 ? offsets : Sign(first.storedSize, second.storedSize);
}

/// And by the content that is expected there.
int StoredFiles::CompareUses(const StoredUse &left, const StoredUse &right) const
{
    const int places = ComparePlaces(left, right);
    if (places != 0)
    {
        return places;
    }
    const auto &first = GetFields(left);
    const auto &second = GetFields(right);
    const int sizes = Sign(uint32{first.size}, uint32{second.size});
    const int forms = Sign(left.stored.compression, right.stored.compression);
    return sizes != 0 ? sizes : forms != 0 ? forms : std::memcmp(first.digest, second.digest, sizeof first.digest);
}

void StoredFiles::MakeUnits()
{
    std::sort(mUses.begin(), mUses.end(),
              [this](const StoredUse &left, const StoredUse &right)
              {
                  const int order = CompareUses(left, right);
                  return order != 0 ? order < 0
                                    : std::tie(left.release, left.file) < std::tie(right.release, right.file);
              });
    for (auto first = mUses.cbegin(); first != mUses.cend();)
    {
        const auto end = std::find_if(first, mUses.cend(),
                                      [&](const StoredUse &use)
                                      {
                                          return CompareUses(*first, use) != 0;
                                      });
        mUnits.emplace_back(first, end);
        first = end;
    }
}

Finding StoredFiles::MakeFinding(const StoredUnit &unit, Fault fault) const
{
    const StoredFile &stored = unit.front().stored;
    Finding finding{
        std::move(fault), {}, stored.storage, stored.archive != nullptr ? stored.archive->GetIndexPath() : "", {}};
    for (const StoredUse &use : unit)
    {
        finding.files.push_back(GetPath(use));
        MergeUsers(finding.users, mReleases[use.release].users);
    }
    std::sort(finding.files.begin(), finding.files.end());
    finding.files.erase(std::unique(finding.files.begin(), finding.files.end()), finding.files.end());
    return finding;
}

std::vector<StoredUnit> StoredFiles::CheckPlaces(bool willRead, CheckReport &report) const
{
    std::vector<StoredUnit> good;
    good.reserve(mUnits.size());
    std::string dataPath;
    uint64 dataSize = 0;
    for (uint_size index = 0; index < mUnits.size(); ++index)
    {
        const StoredUse &use = mUnits[index].front();
        if (use.stored.archive != nullptr && use.stored.path != dataPath)
        {
            dataPath = use.stored.path;
            const auto file = GetRelease(use).GetFiles().Open(dataPath);
            dataSize = file ? (*file)->GetSize() : 0;
        }
        Failure failure = CheckPlace(use, dataSize);
        if (!failure && !willRead && index > 0)
        {
            failure = CheckAgreement(mUnits[index - 1], mUnits[index]);
        }
        if (failure)
        {
            report.faults.push_back(MakeFinding(mUnits[index], *failure));
            continue;
        }
        good.push_back(mUnits[index]);
    }
    return good;
}

Failure StoredFiles::CheckPlace(const StoredUse &use, uint64 dataSize) const
{
    const StoredFile &stored = use.stored;
    const uint32 size = GetFields(use).size;
    if (stored.archive == nullptr)
    {
        return stored.storedSize == size ? Failure()
                                         : Fault{FaultKind::WrongSize, stored.path,
                                                 "has " + std::to_string(stored.storedSize) +
                                                     " bytes, and the manifest says " + std::to_string(size)};
    }
    if (stored.storedSize != 0 && stored.offset + stored.storedSize > dataSize)
    {
        return Fault{FaultKind::EndsEarly, stored.path,
                     "ends at byte " + std::to_string(dataSize) + ", and the index places a file at bytes " +
                         std::to_string(stored.offset) + " to " + std::to_string(stored.offset + stored.storedSize),
                     stored.offset, stored.storedSize};
    }
    if (stored.compression == TreeReader::Compression::None && stored.storedSize != size)
    {
        return Fault{FaultKind::WrongSize, stored.path,
                     "holds " + std::to_string(stored.storedSize) + " bytes of a file that has " +
                         std::to_string(size) + " by the manifest; the library does not open it",
                     stored.offset, stored.storedSize};
    }
    return std::nullopt;
}

/// Two units lie side by side when the same bytes are to be two different contents. Which of them is right, only
/// reading tells; that one is wrong is sure, unless they differ in what does not matter.
Failure StoredFiles::CheckAgreement(const StoredUnit &first, const StoredUnit &second) const
{
    const StoredUse &left = first.front();
    const StoredUse &right = second.front();
    if (left.stored.storedSize == 0 || ComparePlaces(left, right) != 0)
    {
        return std::nullopt;
    }
    return Fault{FaultKind::WrongDigest, right.stored.path,
                 "is to be another content for these releases than for " + mReleases[left.release].project + " " +
                     FormatVersion(mReleases[left.release].version) + ", whose manifest says so of " + GetPath(left),
                 right.stored.offset, right.stored.storedSize};
}
} // namespace Keld::TreeChecker
