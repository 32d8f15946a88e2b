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
  morv tree
  morv -C /srv/MORV/projects/client/releases/1.0.0.0 tree textures)";

struct Totals
{
    uint64 directories = 0;
    uint64 files = 0;
    uint64 bytes = 0;
};

bool PrintDirectory(const Library &library, const std::string &path, const std::string &indent, Totals &totals)
{
    std::vector<Library::Entry> entries;
    const bool found = library.Enumerate(path, "*",
                                         [&entries](const Library::Entry &entry)
                                         {
                                             entries.push_back(entry);
                                         });
    for (const Library::Entry &entry : entries)
    {
        const bool last = &entry == &entries.back();
        fmt::print("{}{}{}{}\n", indent, last ? "└── " : "├── ", entry.name, entry.isDirectory ? "/" : "");
        if (entry.isDirectory)
        {
            ++totals.directories;
            if (CanBeAskedFor(entry.name))
            {
                PrintDirectory(library, JoinVirtual(path, entry.name), indent + (last ? "    " : "│   "), totals);
            }
        }
        else
        {
            ++totals.files;
            totals.bytes += entry.size;
        }
    }
    return found;
}

ExitCode Tree(const std::string &workingDirectory, const std::string &typed)
{
    const Library library(workingDirectory);
    const std::string path = VirtualPath(typed);
    Totals totals;
    if (!library.IsDirectory(path))
    {
        PrintError(typed + ": is no directory here; \"morv tree\" without a path shows all there is");
        return ExitNo;
    }
    fmt::print("{}\n", path.empty() ? "/" : path + "/");
    PrintDirectory(library, path, "", totals);
    fmt::print("\n{} directories, {} files, {} bytes\n", totals.directories, totals.files, totals.bytes);
    return ExitDone;
}
} // namespace

void AddTreeCommand(CommandSet &commands)
{
    const auto path = std::make_shared<std::string>();
    CLI::App &command = commands.Add({"tree", "Draw a directory and all below it", Footer},
                                     [&commands, path]
                                     {
                                         return Tree(commands.GetCommon().GetDirectory(), *path);
                                     });
    command.add_option("PATH", *path, "Virtual path of a directory; without one, the root");
}
} // namespace Keld::Morv
