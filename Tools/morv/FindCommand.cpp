#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Commands.h"
#include "Tools/morv/Library.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace Keld::Morv
{
namespace
{
constexpr const char *Footer = R"(
In a pattern * is any run of characters, ? is one, and . is a dot or the end of the name; case
does not count. It is matched in one pass without trying again: *.dds does not match a.b.dds.

Examples:
  morv find --name '*.txt'
  morv find textures --type d
  morv find -0 --type f | xargs -0 morv cat)";

struct FindOptions
{
    std::string path;
    std::string pattern = "*";
    std::string type;
    bool endWithNul = false;
};

std::string RefuseSeparators(const std::string &pattern)
{
    return pattern.find_first_of("/\\") == std::string::npos ? "" : "a pattern is for names and has no separator";
}

// Prints the matches of one directory, then goes into its subdirectories. Gives the number of matches.
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
                              fmt::print("{}{}", JoinVirtual(directory, entry.name), options.endWithNul ? '\0' : '\n');
                          }
                      });
    std::vector<std::string> subdirectories;
    library.Enumerate(directory, "*",
                      [&](const Library::Entry &entry)
                      {
                          if (entry.isDirectory && CanBeAskedFor(entry.name))
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
        const bool isPattern = options.path.find_first_of("*?") != std::string::npos;
        PrintError(options.path + ": is no directory here; " +
                   (isPattern ? "a pattern goes behind --name" : "\"morv tree\" shows all there is"));
        return ExitNo;
    }
    if (FindBelow(library, directory, options) == 0)
    {
        PrintError("nothing matches; the library's patterns are told in \"morv find --help\"");
        return ExitNo;
    }
    return ExitDone;
}
} // namespace

void AddFindCommand(CommandSet &commands)
{
    const auto options = std::make_shared<FindOptions>();
    CLI::App &command = commands.Add({"find", "Find files and directories by name, at any depth", Footer},
                                     [&commands, options]
                                     {
                                         return Find(commands.GetCommon().GetDirectory(), *options);
                                     });
    command.add_option("PATH", options->path, "Virtual path of the directory to begin in; without one, the root");
    command.add_option("-n,--name", options->pattern, "What names must match, in the library's own wildcards")
        ->type_name("PATTERN")
        ->check(RefuseSeparators);
    command.add_option("-t,--type", options->type, "f for files alone, d for directories alone")
        ->type_name("f|d")
        ->check(CLI::IsMember({"f", "d"}));
    command.add_flag("-0,--null", options->endWithNul, "End each path with a NUL instead of a line end");
}
} // namespace Keld::Morv
