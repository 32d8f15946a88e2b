#include "Tools/TreeWriter/PackReport.h"

#include <map>
#include <unordered_set>

namespace Keld::TreeWriter
{
using TreeReader::Compression;
using TreeReader::ReleaseFile;
using TreeReader::Storage;

namespace
{
void CountStorage(const PlannedFile &planned, PackReport &report)
{
    switch (TreeReader::StorageOf(planned.entry.flags))
    {
    case Storage::Naked:
        ++report.naked;
        return;
    case Storage::Managed:
        ++report.managed;
        return;
    case Storage::Archive:
        break;
    }
    const Compression compression = TreeReader::CompressionOf(planned.entry.flags);
    ++(compression == Compression::None ? report.stored : compression == Compression::Zlib ? report.zlib : report.lzma);
}

bool IsNakedAgain(const PlannedFile &planned)
{
    return planned.IsUnchanged(planned.entry.digest) && ChoiceOf(*planned.inBase).storage == Storage::Naked;
}

void CompareWithBase(const std::vector<PlannedFile> &plan, const BaseRelease &base, PackReport &report)
{
    std::unordered_set<std::string> paths;
    for (const PlannedFile &planned : plan)
    {
        paths.insert(planned.entry.path);
    }
    std::multimap<std::pair<TreeReader::Digest, uint32>, const ReleaseFile *> gone;
    for (const ReleaseFile &file : base.GetContents().files)
    {
        if (paths.count(file.path) == 0)
        {
            ++report.removed;
            gone.emplace(std::pair(file.digest, file.size), &file);
        }
    }
    for (const PlannedFile &planned : plan)
    {
        if (base.Find(planned.entry.path) != nullptr)
        {
            report.changed += planned.IsUnchanged(planned.entry.digest) ? 0U : 1U;
            continue;
        }
        ++report.added;
        const auto former = gone.find({planned.entry.digest, planned.entry.size});
        if (former != gone.end() && planned.entry.size > 0)
        {
            gone.erase(former);
            ++report.moved;
        }
    }
}
} // namespace

PackReport CountPlan(const std::vector<PlannedFile> &plan, const SourceTree &source, const BaseRelease &base)
{
    PackReport report;
    report.directories = source.directories.size();
    report.files = plan.size();
    report.excluded = source.excluded;
    report.skippedLinks = source.skippedLinks;
    for (const PlannedFile &planned : plan)
    {
        report.contentSize += planned.entry.size;
        if (planned.kept)
        {
            ++report.kept;
            continue;
        }
        report.packedSize += planned.entry.size;
        CountStorage(planned, report);
        if (IsNakedAgain(planned))
        {
            ++report.nakedAgain;
            report.nakedAgainSize += planned.entry.size;
        }
    }
    if (!base.IsEmpty())
    {
        CompareWithBase(plan, base, report);
    }
    return report;
}
} // namespace Keld::TreeWriter
