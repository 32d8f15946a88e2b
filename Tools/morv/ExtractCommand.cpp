#include "Tools/morv/Commands.h"
#include "Tools/morv/EntryText.h"
#include "Tools/morv/Extraction.h"
#include "Tools/morv/Interrupt.h"
#include "Tools/morv/OpenView.h"
#include "Tools/morv/OptionChecks.h"
#include "Tools/morv/Progress.h"
#include "Tools/morv/Quantity.h"
#include "Tools/morv/Terminal.h"

#include "Tools/TreeReader/TreeError.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <chrono>
#include <filesystem>
#include <memory>

namespace Keld::Morv
{
using Common::GlobSelection;
using TreeReader::View;

namespace
{
constexpr const char *ExtractFooter = R"(
Writes the files of a release into a folder, each as a program would get it by its path: of a
solution the entry that wins. DIR is made where it is missing. A file appears when it is whole, and
replaces one of its name; its content is held against the digest of the manifest.

With --update a file stays that is there already: a plain file of the same size and the same digest
as in the manifest. Everything else is written anew. Nothing is ever removed, but for the temporary
files (".morv-...") that an extraction left which was killed.

A GLOB chooses files, and all below a directory that it matches; its language is that of
"morv pack --exclude". Without one, everything is written, empty directories too. Modes and times
are not part of a release: files get those of the moment.

Nothing is written outside of DIR, nor into the tree that is read where DIR lies above it, and no
symbolic link in DIR is followed. Files are refused by name when their path is hostile ("..", an
absolute or an empty name), when a file stands where their directory should be, or when two paths
differ in case alone. What is refused, missing or damaged is listed at the end, the rest is written,
and the status is 1. When the disk is full the work ends, the files that are there are whole, and the
status is 2.

Examples:
  morv extract --to /tmp/client
  morv extract 'textures/**' '*.lua' --to /tmp/some
  morv extract maps --strip 1 --to /tmp/maps
  morv extract --release client/1.0.0.1 --update --to /tmp/client)";

constexpr std::size_t FailuresShown = 100;

struct ExtractArguments
{
    std::vector<std::string> globs;
    std::string release;
    std::string target;
    uint32 strip = 0;
    bool update = false;
    bool noCheck = false;
};

/// Reading never changes a tree, so that nothing is written into the one that is read.
/// \returns its path below the target; nothing where it lies elsewhere
std::string FindTreeInTarget(const std::string &root, const std::string &target)
{
    namespace fs = std::filesystem;
    std::error_code error;
    const std::string tree = fs::weakly_canonical(root, error).string() + "/";
    const std::string place = fs::weakly_canonical(fs::absolute(target, error), error).string() + "/";
    if (place.starts_with(tree))
    {
        throw UsageError("--to " + target + " lies in the tree that is read, " + root + ": name a place outside");
    }
    const std::string above = place == "//" ? "/" : place; // for the root of the disk
    return tree.starts_with(above) ? tree.substr(above.size(), tree.size() - above.size() - 1) : "";
}

Common::OutputDirectory OpenTarget(const std::string &target)
{
    try
    {
        return Common::OutputDirectory(target);
    }
    catch (const std::system_error &error)
    {
        throw TreeReader::TreeError(target + ": cannot write there: " + error.code().message());
    }
}

/// An interrupt takes back the files that are half-written, and leaves the others.
ExtractReport ExtractInterruptibly(const View &view, ExtractPlan plan, const Common::OutputDirectory &target,
                                   const ExtractOptions &options)
{
    try
    {
        return Extract(view, std::move(plan), target, options);
    }
    catch (const Interrupted &interruption)
    {
        throw Interrupted(interruption.GetSignal(), "interrupted: the files that are there are whole");
    }
}

std::string SummaryText(const ExtractReport &report, const std::string &target, double seconds)
{
    std::string text =
        fmt::format("{}: {}, {} in {}, {}\n", target, CountText(report.written.files, "file"),
                    ByteText(report.written.bytes), DurationText(seconds), RateText(report.written.bytes, seconds));
    if (report.kept.files != 0)
    {
        text += fmt::format("  left as they were: {}, {}\n", CountText(report.kept.files, "file"),
                            ByteText(report.kept.bytes));
    }
    return text;
}

void PrintFailures(const ExtractReport &report)
{
    for (std::size_t index = 0; index < std::min(report.failures.size(), FailuresShown); ++index)
    {
        const ExtractFailure &failure = report.failures[index];
        PrintError(EscapeForTerminal(failure.path) + ": " + EscapeForTerminal(failure.reason));
    }
    if (report.failures.size() > FailuresShown)
    {
        PrintError("and " + std::to_string(report.failures.size() - FailuresShown) + " more; --json lists them all");
    }
    const uint64 lacking = report.failures.size() + report.notBegun;
    if (!report.stopped.empty())
    {
        PrintError("the work ended: " + report.stopped + "; " + CountText(report.notBegun, "file") +
                   " not begun. Make room and go on with --update");
    }
    else if (lacking != 0)
    {
        PrintError(CountText(lacking, "path") + " not written");
    }
}

Json CountValue(const ExtractCount &count)
{
    return {{"files", count.files}, {"bytes", count.bytes}};
}

Json MakeDocument(const View &view, const ExtractArguments &arguments, const ExtractReport &report,
                  const std::vector<std::string> &idle, double seconds)
{
    Json document = NewDocument("extract");
    document["release"] = ViewValue(view);
    document["to"] = TextValue(arguments.target);
    document["written"] = CountValue(report.written);
    document["kept"] = CountValue(report.kept);
    document["leftovers"] = report.leftovers;
    document["notBegun"] = report.notBegun;
    document["stopped"] = report.stopped.empty() ? Json() : Json(report.stopped);
    Json &failures = document["failures"] = Json::array();
    for (const ExtractFailure &failure : report.failures)
    {
        failures.push_back(
            {{"path", TextValue(failure.path)}, {"kind", failure.kind}, {"reason", TextValue(failure.reason)}});
    }
    Json &unmatched = document["unmatched"] = Json::array();
    for (const std::string &pattern : idle)
    {
        unmatched.push_back(TextValue(pattern));
    }
    document["seconds"] = seconds;
    return document;
}

/// What the selection has to say before anything is written.
void PrintPlanNotes(const ExtractPlan &plan, const ExtractArguments &arguments, const std::vector<std::string> &idle)
{
    for (const std::string &pattern : idle)
    {
        PrintError(pattern + ": matches nothing; \"morv find --glob\" shows what a pattern matches");
    }
    if (plan.withoutName != 0)
    {
        PrintNote(CountText(plan.withoutName, "file") + " left out: --strip " + std::to_string(arguments.strip) +
                  " takes the whole path");
    }
}

ExitCode RunExtract(const ExtractArguments &arguments, const CommonOptions &common)
{
    const GlobSelection selection = MakeSelection(arguments.globs);
    TreeReader::TreeSet trees;
    const OpenedView opened = OpenView(trees, arguments.release, common);
    const std::string treeInTarget = FindTreeInTarget(opened.reference.root, arguments.target);

    const InterruptGuard guard;
    const auto begin = std::chrono::steady_clock::now();
    ExtractOptions options;
    options.threadCount = common.GetThreadCount();
    options.update = arguments.update;
    options.checkDigests = !arguments.noCheck;
    options.checkpoint = InterruptGuard::Check;
    for (const TreeReader::Layer &layer : opened.view.GetLayers())
    {
        layer.release->SettleAll(options.threadCount);
    }
    ExtractPlan plan = PlanExtraction(opened.view, selection, arguments.strip, treeInTarget);
    const std::vector<std::string> idle = selection.GetIdle();
    PrintPlanNotes(plan, arguments, idle);

    ExtractReport report;
    {
        Progress progress("extracting", plan.bytes, !common.quiet);
        options.advance = [&progress](uint64 bytes)
        {
            progress.Add(bytes);
        };
        const Common::OutputDirectory target = OpenTarget(arguments.target);
        report = ExtractInterruptibly(opened.view, std::move(plan), target, options);
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    if (report.leftovers != 0)
    {
        PrintNote(CountText(report.leftovers, "temporary file") + " removed, left by an extraction that was killed");
    }
    PrintFailures(report);
    if (common.json)
    {
        PrintDocument(MakeDocument(opened.view, arguments, report, idle, seconds));
    }
    else if (!common.quiet)
    {
        WriteOutput(SummaryText(report, arguments.target, seconds));
    }
    const bool isWhole = report.failures.empty() && idle.empty();
    return !report.stopped.empty() ? ExitTrouble : isWhole ? ExitDone : ExitNo;
}
} // namespace

void AddExtractCommand(CommandSet &commands)
{
    const auto arguments = std::make_shared<ExtractArguments>();
    CommandWords words{"extract", "Write the files of a release into a folder", ExtractFooter, true, true};
    CLI::App &command = commands.Add(words,
                                     [&commands, arguments]
                                     {
                                         return RunExtract(*arguments, commands.GetCommon());
                                     });
    command.add_option("GLOB", arguments->globs, "Which files to write; without one, all");
    command.add_option("--to", arguments->target, "The folder to write into; made where it is missing")
        ->type_name("DIR")
        ->required();
    AddReleaseOption(command, arguments->release);
    command.add_flag("-u,--update", arguments->update,
                     "Leave files that are already there with the size and digest of the manifest");
    command.add_option("--strip", arguments->strip, "Take so many names from the beginning of each path")
        ->type_name("N")
        ->transform(WholeNumber());
    command.add_flag("--no-check", arguments->noCheck, "Do not hold what is written against the manifest's digests");
}
} // namespace Keld::Morv
