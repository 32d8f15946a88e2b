#include "Tools/morv/Commands.h"
#include "Tools/morv/Library.h"

#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeReader/TreeText.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

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
        throw TreeError((path.empty() ? "/" : path) + ": is a directory; name the files in it");
    }
    library.ReadFile(path, readAgain, WriteOutput);
}
} // namespace

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
} // namespace Keld::Morv
