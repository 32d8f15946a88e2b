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
Examples:
  morv ls
  morv ls -l textures)";

struct ListOptions
{
    std::vector<std::string> paths;
    bool details = false;
};

void PrintEntry(const Library::Entry &entry, bool details)
{
    const char *suffix = entry.isDirectory ? "/" : "";
    if (details)
    {
        fmt::print("{:>12}  {}{}\n", entry.isDirectory ? "-" : std::to_string(entry.size), entry.name, suffix);
    }
    else
    {
        fmt::print("{}{}\n", entry.name, suffix);
    }
}

bool ListOne(const Library &library, const std::string &typed, bool details)
{
    const std::string path = VirtualPath(typed);
    const bool isDirectory = library.Enumerate(path, "*",
                                               [details](const Library::Entry &entry)
                                               {
                                                   PrintEntry(entry, details);
                                               });
    if (isDirectory)
    {
        return true;
    }
    const std::optional<Library::Entry> file = library.FindEntry(path);
    if (!file)
    {
        PrintError(typed + ": not found; \"morv tree\" shows all there is");
        return false;
    }
    PrintEntry(*file, details);
    return true;
}

ExitCode List(const std::string &workingDirectory, const ListOptions &options)
{
    const Library library(workingDirectory);
    if (options.paths.empty())
    {
        return ListOne(library, "", options.details) ? ExitDone : ExitNo;
    }
    ExitCode result = ExitDone;
    for (const std::string &path : options.paths)
    {
        if (options.paths.size() > 1)
        {
            fmt::print("{}:\n", path);
        }
        result = ListOne(library, path, options.details) ? result : ExitNo;
    }
    return result;
}
} // namespace

void AddListCommand(CommandSet &commands)
{
    const auto options = std::make_shared<ListOptions>();
    CLI::App &command = commands.Add({"ls", "List directories, subdirectories first", Footer},
                                     [&commands, options]
                                     {
                                         return List(commands.GetCommon().GetDirectory(), *options);
                                     });
    command.add_option("PATH", options->paths, "Virtual paths; without one, the root");
    command.add_flag("-l,--long", options->details, "Show sizes in bytes");
}
} // namespace Keld::Morv
