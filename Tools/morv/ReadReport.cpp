#include "Tools/morv/ReadReport.h"

#include "Tools/TreeReader/TreeSet.h"
#include "Tools/morv/FileSystem.h"

namespace Keld::Morv
{
namespace
{
Json FaultValues(const std::vector<TreeReader::Fault> &faults)
{
    Json values = Json::array();
    for (const TreeReader::Fault &fault : faults)
    {
        values.push_back({{"kind", TreeReader::NameOf(fault.kind)},
                          {"path", TextValue(fault.path)},
                          {"message", TextValue(fault.text)}});
    }
    return values;
}
} // namespace

void FailureList::Add(const std::string &path, const std::string &message)
{
    PrintError(message);
    mDocument.push_back({{"path", TextValue(path)}, {"message", TextValue(message)}});
}

Json ReleaseValue(const TreeReader::Reference &release)
{
    return {{"kind", release.name.isSolution ? "solution" : "project"},
            {"name", TextValue(release.name.name)},
            {"version", FormatVersion(release.name.version)},
            {"root", TextValue(release.root)}};
}

Json NewReadDocument(const std::string &command, const TreeReader::Reference &release)
{
    Json document = NewDocument(command);
    document["release"] = ReleaseValue(release);
    return document;
}

Json DamageValue(const TreeReader::Census &census)
{
    if (census.IsWhole())
    {
        return nullptr;
    }
    return {{"files", census.files},
            {"missing", census.missing},
            {"examples", FaultValues(census.examples)},
            {"indexes", FaultValues(census.indexes)}};
}

void AddDamage(Json &document, const FileSystem &files)
{
    document["whole"] = !files.IsDamaged();
    document["damage"] = files.GetCensus() != nullptr ? DamageValue(*files.GetCensus()) : Json(nullptr);
}

ExitCode ResultOf(const FailureList &failures, bool isDamaged)
{
    return failures.IsEmpty() && !isDamaged ? ExitDone : ExitNo;
}
} // namespace Keld::Morv
