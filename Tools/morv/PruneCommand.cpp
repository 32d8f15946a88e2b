#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Commands.h"
#include "Tools/morv/Interrupt.h"
#include "Tools/morv/Json.h"
#include "Tools/morv/Quantity.h"
#include "Tools/morv/Terminal.h"
#include "Tools/morv/TreeChoice.h"

#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeWriter/Pruner.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <iterator>
#include <memory>

namespace Keld::Morv
{
using TreeReader::TreeError;
using TreeWriter::PrunePlan;
using TreeWriter::PruneRequest;

namespace
{
constexpr const char *PruneFooter = R"(
Tells what nothing needs any more when some releases and solutions are kept, and removes it with --apply. Kept are
the releases of --keep, the releases that a kept solution uses, and all archives and managed files that they are
served from, also those of earlier versions that a delta needs. Projects and solutions of which nothing is kept are
left alone, with all that they are served from, unless --everything says otherwise. A solution that stays never
loses a release: that is refused.

Manifests go first and data last, so that a release is whole or gone at every moment; a run that is killed is
finished by the next one. It waits for whoever writes to the projects. What killed packs, fetches and repairs left is
removed, too; a fetch that was interrupted begins anew then. Do not remove a release that a program has open: it reads
on from archives, but no longer finds other files.

Examples:
  morv prune --root /srv/MORV --keep client/1.0.0.4 client/1.0.0.5
  morv prune --root /srv/MORV --keep solution:suite/0.0.2.0 --apply)";

struct PruneCommandOptions
{
    std::vector<std::string> keep;
    std::string root;
    bool everything = false;
    bool apply = false;
    bool noSync = false;
};

PruneRequest MakeRequest(const PruneCommandOptions &options, const CommonOptions &common)
{
    PruneRequest request;
    request.everything = options.everything;
    request.threadCount = common.GetThreadCount();
    for (const std::string &text : options.keep)
    {
        const auto reference = ResolveNamed(text, common, options.root);
        if (!reference)
        {
            throw TreeError(reference.GetFault().GetMessage());
        }
        if (!request.root.empty() && request.root != reference->root)
        {
            throw UsageError("what is kept lies in two trees, " + request.root + " and " + reference->root +
                             ": prune one after the other");
        }
        request.root = reference->root;
        request.keep.push_back(reference->name);
    }
    return request;
}

struct Kind
{
    const char *word;
    const std::vector<PrunePlan::File> &files;
};

std::vector<Kind> KindsOf(const PrunePlan &plan)
{
    return {{"archive", plan.archives}, {"managed", plan.managed}, {"other", plan.rest}};
}

void AddLine(std::string &text, const char *word, const std::string &size, const std::string &what)
{
    fmt::format_to(std::back_inserter(text), "{:<9} {:>11}  {}\n", word, size, EscapeForTerminal(what));
}

std::string PlanText(const PrunePlan &plan)
{
    std::string text;
    for (const PrunePlan::Removal &removal : plan.releases)
    {
        AddLine(text, "release", ByteText(removal.manifest.size), removal.name.GetText());
    }
    for (const Kind &kind : KindsOf(plan))
    {
        for (const PrunePlan::File &file : kind.files)
        {
            AddLine(text, kind.word, ByteText(file.size), file.path);
        }
    }
    for (const std::string &leftover : plan.leftovers)
    {
        AddLine(text, "leftover", "unfinished", leftover + "/");
    }
    return text;
}

std::string SummaryText(const PrunePlan &plan, bool applied)
{
    std::string kept;
    for (const TreeReader::ReleaseName &name : plan.kept)
    {
        kept += (kept.empty() ? "" : ", ") + name.GetText();
    }
    const std::string what =
        fmt::format("{} in {}, {}", CountText(plan.GetFileCount(), "file"), plan.root, ByteText(plan.GetSize()));
    return (plan.IsEmpty() ? "nothing to remove in " + EscapeForTerminal(plan.root) + "\n"
            : applied      ? "removed " + EscapeForTerminal(what) + "\n"
                           : "would remove " + EscapeForTerminal(what) + "; --apply removes it\n") +
           "kept: " + EscapeForTerminal(kept) + "\n";
}

Json FileDocument(const PrunePlan::File &file)
{
    return {{"path", TextValue(file.path)}, {"bytes", file.size}};
}

Json NameDocument(const TreeReader::ReleaseName &name)
{
    return {{"kind", name.isSolution ? "solution" : "project"},
            {"name", TextValue(name.name)},
            {"version", FormatVersion(name.version)}};
}

Json PlanDocument(const PrunePlan &plan, bool applied)
{
    Json document = NewDocument("prune");
    document["root"] = TextValue(plan.root);
    document["applied"] = applied;
    document["files"] = plan.GetFileCount();
    document["bytes"] = plan.GetSize();
    document["kept"] = Json::array();
    for (const TreeReader::ReleaseName &name : plan.kept)
    {
        document["kept"].push_back(NameDocument(name));
    }
    document["releases"] = Json::array();
    for (const PrunePlan::Removal &removal : plan.releases)
    {
        Json release = NameDocument(removal.name);
        release["manifest"] = FileDocument(removal.manifest);
        document["releases"].push_back(std::move(release));
    }
    for (const Kind &kind : KindsOf(plan))
    {
        Json &files = document[kind.word] = Json::array();
        for (const PrunePlan::File &file : kind.files)
        {
            files.push_back(FileDocument(file));
        }
    }
    document["leftovers"] = Json::array();
    for (const std::string &leftover : plan.leftovers)
    {
        document["leftovers"].push_back(TextValue(leftover));
    }
    document["notes"] = Json::array();
    for (const std::string &note : plan.notes)
    {
        document["notes"].push_back(TextValue(note));
    }
    return document;
}

PrunePlan PlanOrApply(const PruneRequest &request, const PruneCommandOptions &options)
{
    if (!options.apply)
    {
        return TreeWriter::PlanPrune(request);
    }
    TreeWriter::PruneOptions how;
    how.sync = !options.noSync;
    how.checkpoint = InterruptGuard::Check;
    try
    {
        const InterruptGuard guard;
        return TreeWriter::Prune(request, how);
    }
    catch (const Interrupted &interruption)
    {
        throw Interrupted(interruption.GetSignal(), "interrupted: what is kept is whole, and the next run goes on");
    }
}

ExitCode Prune(const PruneCommandOptions &options, const CommonOptions &common)
{
    const PrunePlan plan = PlanOrApply(MakeRequest(options, common), options);
    for (const std::string &note : plan.notes)
    {
        PrintNote(note);
    }
    if (common.json)
    {
        PrintDocument(PlanDocument(plan, options.apply));
    }
    else
    {
        WriteOutput(PlanText(plan));
        WriteOutput(common.quiet ? "" : SummaryText(plan, options.apply));
    }
    return ExitDone;
}
} // namespace

void AddPruneCommand(CommandSet &commands)
{
    const auto options = std::make_shared<PruneCommandOptions>();
    CLI::App &command = commands.Add({"prune", "Remove what no release needs any more", PruneFooter, true, true},
                                     [&commands, options]
                                     {
                                         return Prune(*options, commands.GetCommon());
                                     });
    command
        .add_option("--keep", options->keep, "Releases and solutions to keep: client/1.0.0.0, solution:suite/0.0.1.0")
        ->type_name("REF")
        ->required();
    command.add_option("--root", options->root, TreeOptionHelp)->type_name("DIR");
    command.add_flag("--everything", options->everything,
                     "Also remove projects and solutions of which nothing is kept");
    command.add_flag("--apply", options->apply, "Remove it; without this, it is only told");
    command.add_flag("--no-sync", options->noSync,
                     "Do not wait until the disk has each step; after a loss of power a release may lack files");
}
} // namespace Keld::Morv
