#include "Tools/TreeChecker/StartRemedy.h"

#include "KeldMorvIO/LogCapture.h"
#include "KeldMorvIO/TreeWords.h"
#include "KeldMorvIO/environment/ConfigurationManifest.h"
#include "KeldMorvIO/environment/SolutionManifest.h"
#include "KeldMorvIO/listing/ReleaseManifest.h"

#include <memory>
#include <stdexcept>

namespace Keld::TreeChecker
{
using TreeReader::Fault;
using TreeReader::FaultKind;

namespace
{
constexpr const char *WriteSolutionAgain = "write the solution again with \"morv solution\"";

/// What the first line of a chain means, and what helps.
struct Meaning
{
    const char *log; ///< how the line begins
    const char *text;
    const char *remedy;
};

constexpr Meaning SolutionMeanings[] = {
    {"Magic string does not match", "does not begin with the line that a manifest of its kind begins with",
     WriteSolutionAgain},
    {"File version mismatch", "is of another form: its second line is not 1.0.0.0", WriteSolutionAgain},
    {"Invalid format for solution version", "states a version of the solution that is none, on its fourth line",
     WriteSolutionAgain},
    {"Failed to convert version string", "states a version of a project that is none",
     "give the project a version of four numbers from 0 to 255"},
    {"Could not convert string to number",
     "holds a text where a priority, flags or a count should stand, or ends early", WriteSolutionAgain},
    {"Failed to add project", "lists a project twice, without regard to case", "take one of the two out"},
    {"Duplicate project in configuration", "lists a project twice in one configuration", "take one of the two out"},
    {"Configuration references unknown project", "holds a configuration with a project that it does not list",
     "add the project, or take it out of the configuration"},
    {"Failed to add configuration", "lists a configuration twice, without regard to case", "take one of the two out"},
    {"Failed to find project", "uses a project that the solution does not list",
     "add the project to the solution, or choose other projects with \"morv solution --use\""},
};

/// What helps where the system or the disk is in the way, or an empty text.
std::string SystemRemedy(FaultKind kind)
{
    switch (kind)
    {
    case FaultKind::NotAllowed:
        return "let the user that starts the program read it and enter its directories";
    case FaultKind::NoDescriptors:
        return "allow the process more open files, see \"ulimit -n\"";
    case FaultKind::PathTooLong:
        return "move the tree to a place with a shorter path";
    case FaultKind::ReadError:
        return "look into the system's log for the disk, and copy the file again";
    default:
        return "";
    }
}

std::string FirstLine(const MORV::Reader::LogCapture &log)
{
    return log.GetFailures().empty() ? "" : log.GetFailures().front();
}

/// The reader's own loading, which changes nothing on disk. It would wait for the writer of a FIFO, and does not come
/// to a path that is too long.
std::string LogOfSolution(const Fault &fault)
{
    const MORV::Reader::LogCapture log;
    if (fault.kind == FaultKind::WrongKind || fault.kind == FaultKind::PathTooLong)
    {
        return "";
    }
    if (fault.path.ends_with(MORV::Reader::ConfigurationManifestName))
    {
        MORV::Reader::ConfigurationManifest().Load(fault.path);
    }
    else
    {
        MORV::Reader::SolutionManifest().Load(fault.path);
    }
    return FirstLine(log);
}

/// \param isThrown set for a count of strings that no vector can hold: the library lets this pass, and the program sees
///                 it.
std::string LogOfManifest(const std::string &path, bool &isThrown)
{
    const MORV::Reader::LogCapture log;
    try
    {
        const std::unique_ptr<MORV::Reader::ReleaseManifest> manifest(
            MORV::Reader::ReleaseManifest::Load(path.c_str()));
    }
    catch (const std::length_error &)
    {
        isThrown = true;
    }
    return FirstLine(log);
}

std::string RemedyForFile(const Fault &fault, TreeReader::Storage storage, const std::string &version)
{
    const std::string system = SystemRemedy(fault.kind);
    if (!system.empty())
    {
        return system;
    }
    switch (storage)
    {
    case TreeReader::Storage::Naked:
        return "copy the release's directory \"deploy\" again from where it was packed";
    case TreeReader::Storage::Managed:
        return "copy the project's \"managedfiles/" + version + "\" again from where it was packed";
    case TreeReader::Storage::Archive:
        break;
    }
    return "copy the project's \"filearchives/" + version + "\" again from where it was packed";
}
} // namespace

StartCause ExplainSolution(const Fault &fault)
{
    StartCause cause{fault, SystemRemedy(fault.kind), LogOfSolution(fault)};
    if (fault.kind != FaultKind::BadSolution)
    {
        cause.remedy = cause.remedy.empty() ? WriteSolutionAgain : cause.remedy;
        return cause;
    }
    const std::string prefix = "cannot be used: ";
    const std::string line = fault.text.starts_with(prefix) ? fault.text.substr(prefix.size()) : fault.text;
    cause.log = line;
    cause.remedy = WriteSolutionAgain;
    for (const Meaning &meaning : SolutionMeanings)
    {
        if (line.starts_with(meaning.log))
        {
            cause.fault.text = meaning.text;
            cause.remedy = meaning.remedy;
        }
    }
    return cause;
}

StartCause ExplainManifest(const Fault &fault)
{
    const std::string remedy = SystemRemedy(fault.kind);
    const bool isLoaded = fault.kind != FaultKind::PathTooLong; // else the path alone is enough for a refusal
    StartCause cause{fault,
                     remedy.empty() ? "copy the release again from where it was packed, or pack it again" : remedy, ""};
    if (isLoaded)
    {
        cause.log = LogOfManifest(fault.path, cause.isThrown);
    }
    return cause;
}

StartCause ExplainMissingFile(const TreeReader::Release &release, const std::string &project,
                              TreeReader::EntryIndex file)
{
    const Fault fault = release.ExplainMissing(file);
    if (release.GetProject() != project)
    {
        return {{FaultKind::WrongName, release.GetDirectory(),
                 "has the manifest of the project \"" + release.GetProject() +
                     "\", so that its files are looked for there: " + fault.GetMessage()},
                "give the directory of the project back the name \"" + release.GetProject() + "\"",
                ""};
    }
    const auto &fields = release.GetTree().GetFields(file);
    return {fault, RemedyForFile(fault, TreeReader::StorageOf(fields.flags), FormatVersion(fields.version)), ""};
}
} // namespace Keld::TreeChecker
