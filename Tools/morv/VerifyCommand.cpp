#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Commands.h"
#include "Tools/morv/Interrupt.h"
#include "Tools/morv/Progress.h"
#include "Tools/morv/ReleaseChoice.h"
#include "Tools/morv/VerifyReportText.h"

#include "Tools/TreeChecker/TreeCheck.h"
#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeReader/TreeSet.h"

#include <CLI/CLI.hpp>

#include <cerrno>
#include <chrono>
#include <memory>
#include <optional>

#include <sys/stat.h>

namespace Keld::Morv
{
using TreeChecker::CheckReport;
using TreeReader::Reference;
using TreeReader::TreeError;

namespace
{
constexpr const char *VerifyFooter = R"(
Proves that every byte that a program would read from these releases is the one that was packed.
Without RELEASE all releases and solutions of the tree around the working directory are checked,
and what nothing refers to is told as well. It goes on after each fault, and changes nothing.

What is checked: the form of manifests and archive indexes; that each file is there, has its
size, lies inside its data file, and shares no part of its bytes with another; the order, hashes
and paths of every index; names that leave the tree; and, without --quick, all stored bytes:
they are decoded, each range once however many releases use it, and the content is held against
the digest that the manifest has of it.

A fault names the file on disk, the virtual paths, the bytes and the releases that use them. The
exit status is then 1. A note hurts no reader: bytes that nobody looks at, files that nothing
refers to.

What nobody can tell, as the tree says it only once: the name of an empty directory; the project
version and the priority in a solution, where another release of that version exists; the name
and the flags of a configuration; the version of a naked file. The size and the digest of a file
of no bytes stand for themselves.

Examples:
  morv verify
  morv verify --root /srv/MORV --quick
  morv verify client/1.0.0.7 solution:suite/0.0.1.7
  morv verify --json | jq -r '.faults[].files[]')";

struct VerifyOptions
{
    std::vector<std::string> releases;
    std::string root;
    bool quick = false;
    bool all = false;
};

/// What was named, in one tree; no names stand for all of it.
struct Scope
{
    std::string root;
    std::vector<TreeReader::ReleaseName> names;
};

/// A release whose directory is not there was named wrongly; all else that may be wrong with one is an answer.
void RequireRelease(const Scope &scope)
{
    const TreeReader::ReleaseName &name = scope.names.back();
    const TreeReader::Tree tree(scope.root);
    const std::string directory = name.isSolution ? tree.GetSolutionDirectory(name.name, name.version)
                                                  : tree.GetReleaseDirectory(name.name, name.version);
    struct stat status = {};
    if (stat(directory.c_str(), &status) != 0)
    {
        throw TreeError("there is no release " + name.GetText() + ": " +
                        TreeReader::ExplainSystemError(directory, errno).GetMessage());
    }
}

Scope ResolveScope(const VerifyOptions &options, const CommonOptions &common)
{
    Scope scope;
    if (options.releases.empty())
    {
        scope.root = RequireTree(options.root, common);
    }
    for (const std::string &text : options.releases)
    {
        const auto reference = ResolveNamed(text, common, options.root);
        if (!reference)
        {
            throw TreeError(reference.GetFault().GetMessage());
        }
        if (!scope.root.empty() && scope.root != reference->root)
        {
            throw UsageError(text + " lies in another tree than " + options.releases.front() +
                             ": verify one tree at a time");
        }
        scope.root = reference->root;
        scope.names.push_back(reference->name);
        RequireRelease(scope);
    }
    return scope;
}

/// A signal ends the check between two pieces of work; there is nothing to take back.
CheckReport CheckInterruptibly(const Scope &scope, const VerifyOptions &options, const CommonOptions &common)
{
    const InterruptGuard guard;
    std::optional<Progress> progress;
    TreeChecker::CheckOptions checkOptions;
    checkOptions.decode = !options.quick;
    checkOptions.threadCount = common.GetThreadCount();
    checkOptions.checkpoint = InterruptGuard::Check;
    checkOptions.begin = [&](uint64 total)
    {
        progress.emplace("verifying", total, !common.quiet);
    };
    checkOptions.advance = [&progress](uint64 bytes)
    {
        progress->Add(bytes);
    };
    TreeReader::TreeSet trees;
    TreeReader::Tree &tree = trees.GetTree(scope.root);
    return options.releases.empty() ? TreeChecker::CheckWholeTree(tree, checkOptions)
                                    : TreeChecker::CheckTree(tree, scope.names, checkOptions);
}

ExitCode Verify(const VerifyOptions &options, const CommonOptions &common)
{
    const Scope scope = ResolveScope(options, common);
    const auto begin = std::chrono::steady_clock::now();
    const CheckReport report = CheckInterruptibly(scope, options, common);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    if (options.releases.empty() && report.releases.empty() && report.IsWhole())
    {
        throw TreeError(scope.root + " holds no release and no solution");
    }
    const VerifyRun run{scope.root, options.quick, options.all, common.quiet, seconds};
    if (common.json)
    {
        PrintDocument(VerifyReportDocument(report, run));
    }
    else
    {
        WriteOutput(VerifyReportText(report, run));
    }
    return report.IsWhole() ? ExitDone : ExitNo;
}
} // namespace

void AddVerifyCommand(CommandSet &commands)
{
    const auto options = std::make_shared<VerifyOptions>();
    CommandWords words{"verify", "Prove that all that releases need is there and undamaged", VerifyFooter};
    words.writesJson = true;
    words.usesThreads = true;
    CLI::App &command = commands.Add(words,
                                     [&commands, options]
                                     {
                                         return Verify(*options, commands.GetCommon());
                                     });
    command.add_option("RELEASE", options->releases,
                       "PROJECT/VERSION, solution:NAME/VERSION, or a directory in one; without any, the whole tree");
    command.add_option("--root", options->root, TreeOptionHelp)->type_name("DIR");
    command.add_flag("--quick", options->quick,
                     "Check manifests, indexes, places and sizes, and read nothing of what is stored");
    command.add_flag("--all", options->all, "Show every fault and note with all its paths, however many there are");
}
} // namespace Keld::Morv
