#include "Tools/morv/Commands.h"
#include "Tools/morv/Library.h"

#include "Tools/TreeReader/DeploymentTree.h"
#include "Tools/TreeReader/TreeError.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <memory>

namespace Keld::Morv
{
using TreeReader::TreeError;

namespace
{
void CatOne(Library &library, const std::string &path, bool readAgain)
{
    if (!library.Exists(path))
    {
        throw TreeError(path + ": not found; \"morv ls\" and \"morv find\" show what is there");
    }
    if (library.IsDirectory(path))
    {
        throw TreeError(path + ": is a directory; name the files in it");
    }
    library.ReadFile(path, readAgain,
                     [](std::string_view piece)
                     {
                         std::fwrite(piece.data(), 1, piece.size(), stdout);
                     });
}

ExitCode Cat(const std::string &workingDirectory, const std::vector<std::string> &typed)
{
    std::vector<std::string> paths;
    std::transform(typed.begin(), typed.end(), std::back_inserter(paths), VirtualPath);
    Library library(workingDirectory);
    ExitCode result = ExitDone;
    for (auto path = paths.begin(); path != paths.end(); ++path)
    {
        try
        {
            const auto isSame = [&path](const std::string &other)
            {
                return TreeReader::EqualsIgnoringCase(other, *path);
            };
            CatOne(library, *path, std::any_of(path + 1, paths.end(), isSame));
        }
        catch (const TreeError &error)
        {
            std::fflush(stdout);
            PrintError(error.what());
            result = ExitRefused;
        }
    }
    return result;
}
} // namespace

void AddCatCommand(CLI::App &app, const GlobalOptions &options, Command &chosen)
{
    CLI::App *command = app.add_subcommand("cat", "Write the content of files to standard output");
    const auto paths = std::make_shared<std::vector<std::string>>();
    command->add_option("PATH", *paths, "Virtual paths of files; case does not count")->required();
    command->footer("\nExamples:\n"
                    "  morv cat docs/readme.txt\n"
                    "  morv cat textures/sky.dds > sky.dds");
    command->callback(
        [&options, &chosen, paths]
        {
            chosen = [&options, paths]
            {
                return Cat(options.ResolvedDirectory(), *paths);
            };
        });
}
} // namespace Keld::Morv
