#include "Tools/morv/Commands.h"
#include "Tools/morv/Library.h"

#include <fmt/format.h>

namespace Keld::Morv
{
namespace
{
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

} // namespace

ExitCode Find(const std::string &workingDirectory, const FindOptions &options)
{
    const Library library(workingDirectory);
    const std::string directory = VirtualPath(options.path);
    if (!library.IsDirectory(directory))
    {
        const bool isPattern = options.path.find_first_of("*?") != std::string::npos;
        PrintError(options.path + ": is no directory here; " +
                   (isPattern ? "a pattern goes behind --name" : "\"morv tree\" shows all there is"));
        return ExitRefused;
    }
    if (FindBelow(library, directory, options) == 0)
    {
        PrintError("nothing matches; the library's patterns are told in \"morv find --help\"");
        return ExitRefused;
    }
    return ExitDone;
}

} // namespace Keld::Morv
