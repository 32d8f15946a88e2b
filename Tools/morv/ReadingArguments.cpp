#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Commands.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace Keld::Morv
{
namespace
{
constexpr const char *InfoFooter = R"(
Shows the tree's root, whether this is a project or a solution, its name and version, and the
project releases behind the file system in the order in which they are searched.

Example:
  morv -C /srv/MORV/solutions/suite/releases/0.0.1.0 info)";

constexpr const char *ListFooter = R"(
Examples:
  morv ls
  morv ls -l textures)";

constexpr const char *TreeFooter = R"(
Examples:
  morv tree
  morv -C /srv/MORV/projects/client/releases/1.0.0.0 tree textures)";

constexpr const char *FindFooter = R"(
In a pattern * is any run of characters, ? is one, and . is a dot or the end of the name; case
does not count. It is matched in one pass without trying again: *.dds does not match a.b.dds.

Examples:
  morv find --name '*.txt'
  morv find textures --type d
  morv find -0 --type f | xargs -0 morv cat)";

constexpr const char *CatFooter = R"(
Examples:
  morv cat docs/readme.txt
  morv cat textures/sky.dds > sky.dds)";

constexpr const char *StatFooter = R"(
Shows size, project, the version that stored the file, storage, compression, place on disk,
stored size and the MD5 digest of the content. In a solution it is the file that wins.

Example:
  morv stat textures/sky.dds)";

std::string RefuseSeparators(const std::string &pattern)
{
    return pattern.find_first_of("/\\") == std::string::npos ? "" : "a pattern is for names and has no separator";
}

void AddInfoCommand(CommandSet &commands)
{
    commands.Add({"info", "Show what the working directory resolves to", InfoFooter},
                 [&commands]
                 {
                     return Info(commands.GetCommon().GetDirectory());
                 });
}

void AddListCommand(CommandSet &commands)
{
    const auto options = std::make_shared<ListOptions>();
    CLI::App &command = commands.Add({"ls", "List directories, subdirectories first", ListFooter},
                                     [&commands, options]
                                     {
                                         return List(commands.GetCommon().GetDirectory(), *options);
                                     });
    command.add_option("PATH", options->paths, "Virtual paths; without one, the root");
    command.add_flag("-l,--long", options->details, "Show sizes in bytes");
}

void AddTreeCommand(CommandSet &commands)
{
    const auto path = std::make_shared<std::string>();
    CLI::App &command = commands.Add({"tree", "Draw a directory and all below it", TreeFooter},
                                     [&commands, path]
                                     {
                                         return Tree(commands.GetCommon().GetDirectory(), *path);
                                     });
    command.add_option("PATH", *path, "Virtual path of a directory; without one, the root");
}

void AddFindCommand(CommandSet &commands)
{
    const auto options = std::make_shared<FindOptions>();
    CLI::App &command = commands.Add({"find", "Find files and directories by name, at any depth", FindFooter},
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

void AddCatCommand(CommandSet &commands)
{
    const auto paths = std::make_shared<std::vector<std::string>>();
    CLI::App &command = commands.Add({"cat", "Write the content of files to standard output", CatFooter},
                                     [&commands, paths]
                                     {
                                         return Cat(commands.GetCommon().GetDirectory(), *paths);
                                     });
    command.add_option("PATH", *paths, "Virtual paths of files; case does not count")->required();
}

void AddStatCommand(CommandSet &commands)
{
    const auto paths = std::make_shared<std::vector<std::string>>();
    CLI::App &command = commands.Add({"stat", "Show what a path is and where its bytes lie", StatFooter},
                                     [&commands, paths]
                                     {
                                         return Stat(commands.GetCommon().GetDirectory(), *paths);
                                     });
    command.add_option("PATH", *paths, "Virtual paths; / is the root")->required();
}
} // namespace

void AddReadingCommands(CommandSet &commands)
{
    AddInfoCommand(commands);
    AddListCommand(commands);
    AddTreeCommand(commands);
    AddFindCommand(commands);
    AddCatCommand(commands);
    AddStatCommand(commands);
}
} // namespace Keld::Morv
