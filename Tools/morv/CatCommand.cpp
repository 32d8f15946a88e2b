#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Commands.h"
#include "Tools/morv/Library.h"

#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeReader/TreeText.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iterator>

namespace Keld::Morv
{
using TreeReader::TreeError;

namespace
{
constexpr const char *Footer = R"(
Examples:
  morv cat docs/readme.txt
  morv cat textures/sky.dds > sky.dds)";

void CatOne(Library &library, const std::string &path, bool readAgain)
{
    if (!library.Exists(path))
    {
        throw TreeError(path + ": not found; \"morv ls\" and \"morv find\" show what is there");
    }
    if (library.IsDirectory(path))
    {
        throw TreeError((path.empty() ? "/" : path) + ": is a directory; name the files in it");
    }
    library.ReadFile(path, readAgain, WriteOutput);
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
            PrintError(error.what());
            result = ExitNo;
        }
    }
    return result;
}
} // namespace

void AddCatCommand(CommandSet &commands)
{
    const auto paths = std::make_shared<std::vector<std::string>>();
    CLI::App &command = commands.Add({"cat", "Write the content of files to standard output", Footer},
                                     [&commands, paths]
                                     {
                                         return Cat(commands.GetCommon().GetDirectory(), *paths);
                                     });
    command.add_option("PATH", *paths, "Virtual paths of files; case does not count")->required();
}
} // namespace Keld::Morv
