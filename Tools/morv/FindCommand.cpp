#include "Tools/morv/Commands.h"
#include "Tools/morv/Library.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <memory>

namespace Keld::Morv
{
namespace
{
struct FindOptions
{
    std::string path;
    std::string pattern = "*";
    std::string type;
};

/// Prints the matches of one directory, then goes into its subdirectories. Gives the number of matches.
uint64 FindBelow(const Library &library, const std::string &directory, const FindOptions &options)
{
    uint64 matches = 0;
    library.Enumerate(directory, options.pattern,
                      [&](const Library::Entry &entry)
                      {
                          const bool wanted = options.type.empty() || (options.type == "d") == entry.isDirectory;
                          if (wanted)
                          {
                              ++matches;
                              fmt::print("{}\n", JoinVirtual(directory, entry.name));
                          }
                      });
    std::vector<std::string> subdirectories;
    library.Enumerate(directory, "*",
                      [&](const Library::Entry &entry)
                      {
                          if (entry.isDirectory)
                          {
                              subdirectories.push_back(JoinVirtual(directory, entry.name));
                          }
                      });
    for (const std::string &subdirectory : subdirectories)
    {
        matches += FindBelow(library, subdirectory, options);
    }
    return matches;
}

ExitCode Find(const std::string &workingDirectory, const FindOptions &options)
{
    const Library library(workingDirectory);
    const std::string directory = VirtualPath(options.path);
    if (!library.IsDirectory(directory))
    {
        PrintError(options.path + ": is no directory here; \"morv tree\" shows all there is");
        return ExitRefused;
    }
    if (FindBelow(library, directory, options) == 0)
    {
        PrintError("nothing matches; the library's patterns are told in \"morv find --help\"");
        return ExitRefused;
    }
    return ExitDone;
}

std::string RefuseSeparators(const std::string &pattern)
{
    return pattern.find_first_of("/\\") == std::string::npos ? "" : "a pattern is for names and has no separator";
}
} // namespace

void AddFindCommand(CLI::App &app, const GlobalOptions &options, Command &chosen)
{
    CLI::App *command = app.add_subcommand("find", "Find files and directories by name, at any depth");
    const auto find = std::make_shared<FindOptions>();
    command->add_option("PATH", find->path, "Virtual path of the directory to begin in; without one, the root");
    command->add_option("-n,--name", find->pattern, "What names must match, in the library's own wildcards")
        ->type_name("PATTERN")
        ->check(RefuseSeparators);
    command->add_option("-t,--type", find->type, "f for files alone, d for directories alone")
        ->type_name("f|d")
        ->check(CLI::IsMember({"f", "d"}));
    command->footer("\nIn a pattern * is any run of characters, ? is one, and . is a dot or the end of the name; case\n"
                    "does not count. It is matched in one pass without trying again: *.dds does not match a.b.dds.\n"
                    "\nExamples:\n"
                    "  morv find --name '*.txt'\n"
                    "  morv find textures --type d");
    command->callback(
        [&options, &chosen, find]
        {
            chosen = [&options, find]
            {
                return Find(options.ResolvedDirectory(), *find);
            };
        });
}
} // namespace Keld::Morv
