#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Commands.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace Keld::Morv
{
namespace
{
constexpr const char *PackFooter = R"(
Storage:
  naked     plain files in the release's own directory
  managed   plain files by version: a later release can go on serving them
  archive   many files in one: the usual way; with --compression none, zlib or lzma

An lzma file gets an archive of its own, since its first open closes the archive for all that share it. A program
should open such a file once and keep it open: after the last close it cannot be opened again until a new start.
A file is compressed in memory, whole. Where that saves nothing the file is stored as it is. Empty files cannot have an
archive to themselves; where there is no other they become managed.

A GLOB without / is held against names, one with / against whole paths; the first rule that matches decides.

A delta release (--base) stores what is new or changed. Everything else is served from where the base has it, so the
files of the base must stay.

Examples:
  morv pack art --root /srv/MORV --project client --release 1.0.0.0
  morv pack art --root /srv/MORV --project client --release 1.0.0.0 --storage archive --compression zlib \
      --rule '*.ogg=archive:none' --rule 'config/*=naked'
  morv pack art --root /srv/MORV --project client --release 1.0.0.1 --base 1.0.0.0 --storage archive)";
} // namespace

void AddPackCommand(CommandSet &commands)
{
    const auto options = std::make_shared<PackOptions>();
    CLI::App &command = commands.Add({"pack", "Make a release of a project from a folder", PackFooter},
                                     [options]
                                     {
                                         return Pack(*options);
                                     });
    command.add_option("SOURCE", options->source, "The folder to pack")->required();
    command.add_option("--root", options->root, "The deployment tree, a directory named MORV")
        ->type_name("DIR")
        ->required();
    command.add_option("--project", options->project, "The project's name")->type_name("NAME")->required();
    command.add_option("--release", options->release, "The release to make, as in 1.0.0.0")
        ->type_name("VERSION")
        ->required();
    command.add_option("--storage", options->storage, "naked (the default), managed or archive")->type_name("STORAGE");
    command.add_option("--compression", options->compression, "For archives: none (the default), zlib or lzma")
        ->type_name("METHOD");
    command.add_option("--rule", options->rules, "Another storage for files that match; may be given several times")
        ->type_name("GLOB=STORAGE[:METHOD]")
        ->allow_extra_args(false);
    command.add_option("--archive-size", options->archiveSize, "Start a new archive beyond this size (default 1G)")
        ->type_name("BYTES");
    command.add_option("--base", options->base, "Store only what differs from this earlier release")
        ->type_name("VERSION");
    command.add_flag("--force", options->force, "Replace a release that is already there");
    command.add_flag("--compress-always", options->compressAlways, "Compress also where that saves nothing");
}
} // namespace Keld::Morv
