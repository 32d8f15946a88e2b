#include "Tools/morv/Commands.h"
#include "Tools/morv/Library.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <memory>

namespace Keld::Morv
{
namespace
{
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
        return ListOne(library, "", options.details) ? ExitDone : ExitRefused;
    }
    ExitCode result = ExitDone;
    for (const std::string &path : options.paths)
    {
        if (options.paths.size() > 1)
        {
            fmt::print("{}:\n", path);
        }
        result = ListOne(library, path, options.details) ? result : ExitRefused;
    }
    return result;
}
} // namespace

void AddListCommand(CLI::App &app, const GlobalOptions &options, Command &chosen)
{
    CLI::App *command = app.add_subcommand("ls", "List directories, subdirectories first");
    const auto list = std::make_shared<ListOptions>();
    command->add_option("PATH", list->paths, "Virtual paths; without one, the root");
    command->add_flag("-l,--long", list->details, "Show sizes in bytes");
    command->footer("\nExamples:\n"
                    "  morv ls\n"
                    "  morv ls -l textures");
    command->callback(
        [&options, &chosen, list]
        {
            chosen = [&options, list]
            {
                return List(options.ResolvedDirectory(), *list);
            };
        });
}
} // namespace Keld::Morv
