#include "Tools/TreeReader/Census.h"

#include <set>

namespace Keld::TreeReader
{
namespace
{
/// The cause goes behind the path: a fault of a missing file names the place on disk, or the path itself.
Fault MissingFault(const Release &release, EntryIndex file)
{
    Fault fault = release.ExplainMissing(file);
    const std::string path = release.GetTree().GetPath(file);
    if (fault.path != path)
    {
        fault.text = fault.GetMessage();
        fault.path = path;
    }
    return fault;
}

void CountRelease(const Release &release, unsigned threadCount, Census &census)
{
    const std::vector<EntryIndex> missing = release.GetMissing(threadCount);
    census.files += release.GetTree().GetFileCount();
    census.missing += missing.size();
    for (const EntryIndex file : missing)
    {
        if (census.examples.size() == CensusExamples)
        {
            break;
        }
        census.examples.push_back(MissingFault(release, file));
    }
}

/// A directory that holds no archive at all is told by the files that need one.
void AddIndexFaults(const VersionArchives &archives, std::set<std::string> &known, Census &census)
{
    for (const Fault &fault : archives.GetFaults())
    {
        if (fault.path != archives.GetDirectory() && known.insert(fault.path).second)
        {
            census.indexes.push_back(fault);
        }
    }
}
} // namespace

Census TakeCensus(const View &view, unsigned threadCount)
{
    Census census;
    std::set<std::string> known;
    for (const Layer &layer : view.GetLayers())
    {
        CountRelease(*layer.release, threadCount, census);
        for (const MorvVersion version : layer.release->GetArchiveVersions())
        {
            AddIndexFaults(layer.release->GetArchives(version), known, census);
        }
    }
    return census;
}

std::string Census::GetSummary() const
{
    std::string text;
    if (missing > 0)
    {
        text += std::to_string(missing) + " of " + std::to_string(files) +
                (files == 1 ? " file is missing" : " files are missing") + " and will not be found:";
    }
    for (const Fault &fault : examples)
    {
        text += "\n  " + fault.GetMessage();
    }
    if (missing > examples.size())
    {
        text += "\n  and " + std::to_string(missing - examples.size()) + " more";
    }
    for (const Fault &fault : indexes)
    {
        text += (text.empty() ? "" : "\n") + fault.GetMessage();
    }
    return text;
}
} // namespace Keld::TreeReader
