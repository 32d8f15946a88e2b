#include "Tools/Delivery/Repair/DamageSurvey.h"

#include "Tools/Common/ParallelWork.h"
#include "Tools/Delivery/Sums/CheckedReleases.h"
#include "Tools/Delivery/Sums/FileSums.h"
#include "Tools/Delivery/Text/TreePath.h"
#include "Tools/TreeReader/DiskFile.h"

#include <algorithm>
#include <cerrno>
#include <tuple>

#include <sys/stat.h>

namespace Keld::Delivery
{
using TreeReader::Fault;
using TreeReader::ReleaseName;
using TreeReader::Result;

namespace
{
bool IsArchiveData(const std::string &path)
{
    const Result<TreePath> place = ReadTreePath(path);
    return place && place->role == FileRole::ArchiveData;
}

/// Sorts ranges and joins those that touch.
void JoinRanges(std::vector<ByteRange> &ranges)
{
    std::sort(ranges.begin(), ranges.end(),
              [](const ByteRange &left, const ByteRange &right)
              {
                  return left.offset < right.offset;
              });
    std::vector<ByteRange> joined;
    for (const ByteRange &range : ranges)
    {
        if (!joined.empty() && range.offset <= joined.back().offset + joined.back().size)
        {
            const uint64 end = std::max(joined.back().offset + joined.back().size, range.offset + range.size);
            joined.back().size = end - joined.back().offset;
        }
        else
        {
            joined.push_back(range);
        }
    }
    ranges = std::move(joined);
}

void AddFault(const std::string &root, const Fault &fault, std::map<std::string, RepairNeed> &needs)
{
    const std::string path = fault.path.starts_with(root + "/") ? fault.path.substr(root.size() + 1) : fault.path;
    const auto [entry, isNew] = needs.try_emplace(path);
    RepairNeed &need = entry->second;
    if (isNew)
    {
        struct stat status = {};
        need.path = path;
        need.isMissing = stat(fault.path.c_str(), &status) != 0 && (errno == ENOENT || errno == ENOTDIR);
        need.size = need.isMissing || !S_ISREG(status.st_mode) ? 0 : static_cast<uint64>(status.st_size);
    }
    const bool isRange = fault.size != 0 && IsArchiveData(path);
    if (!isRange || (!isNew && need.ranges.empty()))
    {
        need.ranges.clear(); // all of it
        return;
    }
    need.ranges.push_back({fault.offset, fault.size});
}

/// The need of one file, or nothing where its bytes are the right ones.
std::optional<RepairNeed> CompareFile(const std::string &root, const ShippedFile &file, const DamageSurvey &survey,
                                      const WorkCalls &calls)
{
    const std::string place = root + "/" + file.path;
    RepairNeed need{file.path, false, file.size};
    struct stat status = {};
    if (stat(place.c_str(), &status) != 0) // programs follow links, and so what one leads to counts
    {
        need.isMissing = errno == ENOENT || errno == ENOTDIR;
        return need;
    }
    if (!S_ISREG(status.st_mode) || static_cast<uint64>(status.st_size) != file.size)
    {
        return need;
    }
    const Result<ShippedFile> present = SumFile(place, file.path, calls);
    if (present && present->size == file.size && present->sum == file.sum)
    {
        return std::nullopt;
    }
    const auto known = survey.needs.find(file.path);
    if (present && known != survey.needs.end())
    {
        need.ranges = known->second.ranges;
    }
    return need;
}
} // namespace

DamageSurvey SurveyDamage(const std::string &root, const std::vector<ReleaseName> &releases, unsigned threadCount,
                          const WorkCalls &calls)
{
    DamageSurvey survey;
    const TreeChecker::CheckReport report = CheckReleases(root, releases, threadCount, calls);
    for (const TreeChecker::Finding &finding : report.faults)
    {
        AddFault(root, finding.fault, survey.needs);
        survey.faults.push_back(finding.fault);
    }
    for (auto &[path, need] : survey.needs)
    {
        JoinRanges(need.ranges);
    }
    return survey;
}

std::optional<ShipList> ReadOwnList(const std::string &root, const ReleaseName &release)
{
    const std::string place = root + "/" + PathOfShipList(release);
    const auto image = TreeReader::ReadFileImage(place, ShipList::SizeLimit);
    if (!image)
    {
        return std::nullopt;
    }
    Result<ShipList> list = ShipList::Parse({image->data(), image->size()}, place);
    if (!list || list->GetRelease() != release)
    {
        return std::nullopt;
    }
    return std::move(*list);
}

std::vector<RepairNeed> CompareWithList(const std::string &root, const std::vector<ShippedFile> &files,
                                        const DamageSurvey &survey, unsigned threadCount, const WorkCalls &calls)
{
    uint64 total = 0;
    for (const ShippedFile &file : files)
    {
        total += file.size;
    }
    calls.begin("comparing", total);
    std::vector<std::optional<RepairNeed>> compared(files.size());
    Common::ForEachInParallel(threadCount, files.size(),
                              [&](uint_size index)
                              {
                                  compared[index] = CompareFile(root, files[index], survey, calls);
                              });
    std::vector<RepairNeed> needs;
    for (std::optional<RepairNeed> &need : compared)
    {
        if (need)
        {
            needs.push_back(std::move(*need));
        }
    }
    return needs;
}

std::vector<ReleaseName> AddOtherThanListed(const std::string &root, const std::vector<ReleaseName> &releases,
                                            DamageSurvey &survey, unsigned threadCount, const WorkCalls &calls)
{
    std::vector<ReleaseName> unlisted;
    std::vector<ShippedFile> files;
    for (const ReleaseName &release : releases)
    {
        if (const std::optional<ShipList> list = ReadOwnList(root, release))
        {
            files.insert(files.end(), list->GetFiles().begin(), list->GetFiles().end());
        }
        else
        {
            unlisted.push_back(release);
        }
    }
    if (files.empty())
    {
        return unlisted;
    }
    const auto fieldsOf = [](const ShippedFile &file)
    {
        return std::tie(file.path, file.size, file.sum);
    };
    std::sort(files.begin(), files.end(),
              [&fieldsOf](const ShippedFile &left, const ShippedFile &right)
              {
                  return fieldsOf(left) < fieldsOf(right);
              });
    const auto isSame = [&fieldsOf](const ShippedFile &left, const ShippedFile &right)
    {
        return fieldsOf(left) == fieldsOf(right);
    };
    files.erase(std::unique(files.begin(), files.end(), isSame), files.end()); // releases share files
    for (const RepairNeed &need : CompareWithList(root, files, survey, threadCount, calls))
    {
        if (survey.needs.insert({need.path, need}).second)
        {
            survey.faults.push_back({TreeReader::FaultKind::WrongDigest, root + "/" + need.path,
                                     need.isMissing ? "is missing" : "is not the file that its shiplist tells of"});
        }
    }
    return unlisted;
}
} // namespace Keld::Delivery
