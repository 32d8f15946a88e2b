#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Commands.h"
#include "Tools/morv/OptionChecks.h"
#include "Tools/morv/PackCommand.h"

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
Where compression saves nothing the file is stored as it is. Files of one content are stored once, unless with lzma.
Empty files cannot have an archive to themselves; where there is no other they become managed.

A release keeps paths and contents. Mode bits, owners, times, extended attributes and hard links are dropped.

Patterns (--rule, --rules, --exclude):
  *       any characters within a name         ?      one character of a name
  **      any characters, / too; a/**/b is also a/b
  [a-z]   one of a set, [!a-z] none of it      {a,b}  either          \x  the character x itself
  One without / is held against names, one with / against whole paths; one that ends in / matches directories alone.
  Case of ASCII letters does not count.
The first rule that matches decides: those of the command line, then those of the file, in their order. A file of rules
has one on each line; lines that begin with # are left out.

A delta release (--base) stores what is new or changed. Everything else is served from where the base has it, so the
files of the base must stay. That needs managed or archive: naked files are stored again by every release. A path keeps
the storage and compression that it has in the base, and a new one, like an empty file, gets what most have there,
unless a rule, --storage or --compression says otherwise. A file that only moved is stored again, since it is found
under its path alone.

With - for SOURCE a tar stream is read from standard input, also one compressed with gzip, bzip2, xz, zstd or lz4.
Nothing is visible before all was written, read back and brought to disk. --force swaps an old release for the new one
at once. Other processes that write to the project wait meanwhile.

Examples:
  morv pack art --root /srv/MORV --project client --release 1.0.0.0
  morv pack art --root /srv/MORV --project client --release 1.0.0.0 --storage archive --compression zlib \
      --rule '*.ogg=archive:none' --rule 'config/**=naked' --exclude '*.{bak,tmp}' --exclude .git/
  morv pack art --root /srv/MORV --project client --release 1.0.0.1 --base 1.0.0.0
  git -C art ls-files -z | MORV_ROOT=/srv/MORV morv pack art --files-from - --project client --release 1.0.0.2
  tar -C art -c . | morv pack - --root /srv/MORV --project client --release 1.0.0.3 --storage archive)";

void AddSourceOptions(CLI::App &command, PackOptions &options)
{
    command.add_option("SOURCE", options.source, "The folder to pack, or - for a tar stream on standard input")
        ->required();
    command.add_option("--exclude", options.excludes, "Leave out files and directories that match; several times")
        ->type_name("GLOB")
        ->allow_extra_args(false);
    command
        .add_option("--files-from", options.filesFrom,
                    "Take only the paths listed in this file (- for standard input), on lines or each with a NUL")
        ->type_name("FILE");
    command.add_option("--links", options.links, "Symbolic links: refuse them (the default), follow or skip them")
        ->type_name("WHAT")
        ->check(CLI::IsMember({"refuse", "follow", "skip"}));
}

void AddStorageOptions(CLI::App &command, PackOptions &options)
{
    command.add_option("--storage", options.storage, "naked (the default without a base), managed or archive")
        ->type_name("STORAGE");
    command.add_option("--compression", options.compression, "For archives: none, zlib or lzma")->type_name("METHOD");
    command
        .add_option("--level", options.level,
                    "How hard to compress, 1 to 12 (default 6); lzma, and zlib for files over 8 MiB, end at 9")
        ->type_name("N")
        ->transform(WholeNumber())
        ->check(CLI::Range(TreeWriter::LeastLevel, TreeWriter::MostLevel));
    command.add_option("--rule", options.rules, "Another storage for files that match; several times")
        ->type_name("GLOB=STORAGE[:METHOD]")
        ->allow_extra_args(false);
    command.add_option("--rules", options.ruleFile, "More rules, one on each line of this file")->type_name("FILE");
    command.add_option("--archive-size", options.archiveSize, "Start a new archive beyond this size (default 1G)")
        ->type_name("BYTES");
    command.add_flag("--compress-always", options.compressAlways, "Compress also where that saves nothing");
}
} // namespace

void AddPackCommand(CommandSet &commands)
{
    const auto options = std::make_shared<PackOptions>();
    CLI::App &command = commands.Add({"pack", "Make a release of a project from a folder", PackFooter, true, true},
                                     [&commands, options]
                                     {
                                         return Pack(*options, commands.GetCommon());
                                     });
    command.add_option("--root", options->root, "The deployment tree, a directory named MORV (default: $MORV_ROOT)")
        ->type_name("DIR");
    command.add_option("--project", options->project, "The project's name")->type_name("NAME")->required();
    command.add_option("--release", options->release, "The release to make, as in 1.0.0.0")
        ->type_name("VERSION")
        ->required();
    command.add_option("--base", options->base, "Store only what differs from this earlier release")
        ->type_name("VERSION");
    AddSourceOptions(command, *options);
    AddStorageOptions(command, *options);
    command.add_flag("--force", options->force, "Replace a release that is already there");
    command.add_flag("-n,--dry-run", options->dryRun, "Only tell what would be done");
    command.add_flag("--protect", options->protect,
                     "Let nobody write the directory of the archives, so that no program deletes an index there");
    command.add_flag("--no-sync", options->noSync, "Do not wait for the disk: a loss of power may take the release");
}
} // namespace Keld::Morv
