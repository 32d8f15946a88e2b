#include "Tools/morv/Commands.h"
#include "Tools/morv/PackOptions.h"

#include "Tools/TreeReader/DeploymentTree.h"
#include "Tools/TreeWriter/ReleasePacker.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <memory>

namespace Keld::Morv
{
namespace
{
constexpr uint64 ManyArchives = 200;

constexpr const char *Footer = R"(
Storage:
  naked     plain files in the release's own directory
  managed   plain files by version: a later release can go on serving them
  archive   many files in one: the usual way; with --compression none, zlib or lzma

An lzma file gets an archive of its own, since its first open closes the archive for all that share it. A program
should open such a file once and keep it open: after the last close it cannot be opened again until a new start.
Where compression saves nothing the file is stored as it is. Empty files cannot have an archive to themselves; where
there is no other they become managed.

A GLOB without / is held against names, one with / against whole paths; the first rule that matches decides.

A delta release (--base) stores what is new or changed. Everything else is served from where the base has it, so the
files of the base must stay.

Examples:
  morv pack art --root /srv/MORV --project client --release 1.0.0.0
  morv pack art --root /srv/MORV --project client --release 1.0.0.0 --storage archive --compression zlib \
      --rule '*.ogg=archive:none' --rule 'config/*=naked'
  morv pack art --root /srv/MORV --project client --release 1.0.0.1 --base 1.0.0.0 --storage archive)";

void PrintReport(const TreeWriter::PackRequest &request, const TreeWriter::PackReport &report)
{
    fmt::print("{} {}: {} files in {} directories, {} bytes\n", request.project, FormatVersion(request.release),
               report.files, report.directories + 1, report.contentSize);
    fmt::print("  {} naked, {} managed, {} archived ({} stored, {} zlib, {} lzma) in {} archives: {} bytes written\n",
               report.naked, report.managed, report.stored + report.zlib + report.lzma, report.stored, report.zlib,
               report.lzma, report.archives, report.storedSize);
    if (request.base)
    {
        fmt::print("  {} unchanged, served from the files of release {} and before\n", report.kept,
                   FormatVersion(*request.base));
    }
    if (report.archives > ManyArchives)
    {
        PrintError(fmt::format("note: {} archives: a program that loads this release keeps as many descriptors open",
                               report.archives));
    }
}

ExitCode Pack(const PackOptions &options)
{
    try
    {
        const TreeWriter::PackRequest request = MakePackRequest(options);
        PrintReport(request, TreeWriter::PackRelease(request));
        return ExitDone;
    }
    catch (const UsageError &error)
    {
        PrintError(error.what());
        PrintError("try \"morv pack --help\"");
        return ExitUsage;
    }
}
} // namespace

void AddPackCommand(CLI::App &app, const GlobalOptions &, Command &chosen)
{
    CLI::App *command = app.add_subcommand("pack", "Make a release of a project from a folder");
    const auto pack = std::make_shared<PackOptions>();
    command->add_option("SOURCE", pack->source, "The folder to pack")->required();
    command->add_option("--root", pack->root, "The deployment tree, a directory named MORV")
        ->type_name("DIR")
        ->required();
    command->add_option("--project", pack->project, "The project's name")->type_name("NAME")->required();
    command->add_option("--release", pack->release, "The release to make, as in 1.0.0.0")
        ->type_name("VERSION")
        ->required();
    command->add_option("--storage", pack->storage, "naked (the default), managed or archive")->type_name("STORAGE");
    command->add_option("--compression", pack->compression, "For archives: none (the default), zlib or lzma")
        ->type_name("METHOD");
    command->add_option("--rule", pack->rules, "Another storage for files that match; may be given several times")
        ->type_name("GLOB=STORAGE[:METHOD]")
        ->allow_extra_args(false);
    command->add_option("--archive-size", pack->archiveSize, "Start a new archive beyond this size (default 1G)")
        ->type_name("BYTES");
    command->add_option("--base", pack->base, "Store only what differs from this earlier release")
        ->type_name("VERSION");
    command->add_flag("--force", pack->force, "Replace a release that is already there");
    command->add_flag("--compress-always", pack->compressAlways, "Compress also where that saves nothing");
    command->footer(Footer);
    command->callback(
        [&chosen, pack]
        {
            chosen = [pack]
            {
                return Pack(*pack);
            };
        });
}
} // namespace Keld::Morv
