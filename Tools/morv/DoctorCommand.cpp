#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Commands.h"
#include "Tools/morv/Json.h"
#include "Tools/morv/Quantity.h"
#include "Tools/morv/Terminal.h"

#include "Tools/TreeChecker/StartDiagnosis.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <memory>

#include <unistd.h>

namespace Keld::Morv
{
using TreeChecker::StartDiagnosis;
using TreeChecker::StartOutcome;

namespace
{
constexpr const char *DoctorFooter = R"(
Tells what becomes of a program that starts the library in DIR, or in the working directory:
whether it starts, and if not, or if it leaves files out, one cause and one remedy, with the line
that the library logs first. The library is not started, and nothing changes.

A start deletes the archive indexes that it cannot use, where it may: they are named here before
that happens. Whether it may depends on the user, so run this as the user who starts the program.

The exit status is 0 when everything is found and nothing would be deleted, and else 1.

Examples:
  morv doctor
  morv doctor /srv/MORV/solutions/suite/releases/0.0.1.7
  sudo -u game morv doctor /srv/MORV/projects/client/releases/1.0.0.7)";

std::string OutcomeText(const StartDiagnosis &diagnosis)
{
    switch (diagnosis.outcome)
    {
    case StartOutcome::Whole:
        return Paint(STDOUT_FILENO, Ink::Green, "the library starts here") + " and finds all of " +
               CountText(diagnosis.files, "file");
    case StartOutcome::Incomplete:
        return Paint(STDOUT_FILENO, Ink::Yellow, "the library starts here") +
               fmt::format(" and leaves out {} of {}", diagnosis.missing, CountText(diagnosis.files, "file"));
    case StartOutcome::Empty:
        return Paint(STDOUT_FILENO, Ink::Red, "the library starts here and finds nothing");
    case StartOutcome::Refused:
        break;
    }
    return Paint(STDOUT_FILENO, Ink::Red, "the library does not start here");
}

std::string DiagnosisText(const std::string &directory, const StartDiagnosis &diagnosis)
{
    const std::string release =
        diagnosis.path ? " (" + EscapeForTerminal(diagnosis.path->name.GetText()) + ")" : std::string();
    std::string text = fmt::format("{}{}: {}\n", EscapeForTerminal(directory), release, OutcomeText(diagnosis));
    if (diagnosis.cause)
    {
        text += fmt::format("  cause   {}\n", EscapeForTerminal(diagnosis.cause->fault.GetMessage()));
        text += fmt::format("  remedy  {}\n", EscapeForTerminal(diagnosis.cause->remedy));
        if (!diagnosis.cause->log.empty())
        {
            text += fmt::format("  log     {}\n", EscapeForTerminal(diagnosis.cause->log));
        }
    }
    for (const TreeChecker::DoomedIndex &index : diagnosis.archives.doomed)
    {
        const std::string verdict = index.isDeletable ? Paint(STDOUT_FILENO, Ink::Red, "a start deletes")
                                                      : "a start cannot use, but does not delete:";
        text += fmt::format("{} {}\n", verdict, EscapeForTerminal(index.fault.GetMessage()));
    }
    for (const std::string &warning : diagnosis.warnings)
    {
        text += fmt::format("{} {}\n", Paint(STDOUT_FILENO, Ink::Yellow, "warning:"), EscapeForTerminal(warning));
    }
    return text;
}

Json CauseDocument(const StartDiagnosis &diagnosis)
{
    if (!diagnosis.cause)
    {
        return nullptr;
    }
    Json document;
    document["kind"] = TreeReader::NameOf(diagnosis.cause->fault.kind);
    document["path"] = TextValue(diagnosis.cause->fault.path);
    document["text"] = TextValue(diagnosis.cause->fault.text);
    document["remedy"] = TextValue(diagnosis.cause->remedy);
    document["log"] = diagnosis.cause->log.empty() ? Json(nullptr) : TextValue(diagnosis.cause->log);
    return document;
}

Json DiagnosisDocument(const std::string &directory, const StartDiagnosis &diagnosis)
{
    Json document = NewDocument("doctor");
    document["directory"] = TextValue(directory);
    document["outcome"] = TreeChecker::NameOf(diagnosis.outcome);
    document["release"] = nullptr;
    if (diagnosis.path)
    {
        document["release"] = {{"root", TextValue(diagnosis.path->root)},
                               {"kind", diagnosis.path->name.isSolution ? "solution" : "project"},
                               {"name", TextValue(diagnosis.path->name.name)},
                               {"version", FormatVersion(diagnosis.path->name.version)}};
    }
    document["cause"] = CauseDocument(diagnosis);
    document["files"] = diagnosis.files;
    document["missing"] = diagnosis.missing;
    document["doomed"] = Json::array();
    for (const TreeChecker::DoomedIndex &index : diagnosis.archives.doomed)
    {
        document["doomed"].push_back({{"path", TextValue(index.fault.path)},
                                      {"text", TextValue(index.fault.text)},
                                      {"deletable", index.isDeletable}});
    }
    document["warnings"] = Json::array();
    for (const std::string &warning : diagnosis.warnings)
    {
        document["warnings"].push_back(TextValue(warning));
    }
    return document;
}

ExitCode Doctor(const std::string &named, const CommonOptions &common)
{
    CommonOptions place = common;
    if (!named.empty())
    {
        place.directory = named.front() == '/' ? named : common.GetDirectory() + "/" + named;
    }
    const std::string directory = place.GetDirectory();
    const StartDiagnosis diagnosis = TreeChecker::DiagnoseStart(directory, common.GetThreadCount());
    if (common.json)
    {
        PrintDocument(DiagnosisDocument(directory, diagnosis));
    }
    else if (!common.quiet)
    {
        WriteOutput(DiagnosisText(directory, diagnosis));
    }
    return diagnosis.IsHealthy() ? ExitDone : ExitNo;
}
} // namespace

void AddDoctorCommand(CommandSet &commands)
{
    const auto directory = std::make_shared<std::string>();
    CommandWords words{"doctor", "Tell why a working directory does not start, and what helps", DoctorFooter};
    words.writesJson = true;
    words.usesThreads = true;
    CLI::App &command = commands.Add(words,
                                     [&commands, directory]
                                     {
                                         return Doctor(*directory, commands.GetCommon());
                                     });
    command.add_option("DIR", *directory,
                       "Directory in which a program would start; without one, the working directory");
}
} // namespace Keld::Morv
