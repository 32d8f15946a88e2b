#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Commands.h"
#include "Tools/morv/FindFilter.h"
#include "Tools/morv/ReadReport.h"
#include "Tools/morv/Road.h"
#include "Tools/morv/Terminal.h"

#include <CLI/CLI.hpp>

namespace Keld::Morv
{
namespace
{
constexpr const char *FindFooter = R"(
In a pattern of --name * is any run of characters, ? is one, and . is a dot or the end of the name;
case does not count. It is the library's own, matched in one pass without trying again: *.dds does
not match a.b.dds.

A pattern of --glob is held against the last name of a path, or against the whole path when it holds
a /: * and ? stay within a name, ** crosses names, [a-z] is one character of a set, {a,b} is either;
a / at its end takes directories alone. It is the language of "morv pack --rule".

Several conditions must all hold. --size, --storage and --version-of are for files.

Examples:
  morv find --name '*.txt'
  morv find --glob 'textures/**/*.{dds,png}' --size +1M
  morv find textures --type d
  morv find --storage archive:lzma --version-of 1.0.0.0
  morv find -0 --type f | xargs -0 morv cat)";

struct FindOptions
{
    std::string path = "/";
    FindConditions conditions;
    bool endWithNul = false;
    FileSystemOptions road;
};

using Found = std::function<void(const FileSystem::Entry &entry, const std::string &path)>;

/// Hands out the matches of one directory, then goes into its subdirectories. Gives the number of matches.
uint64 FindBelow(const FileSystem &files, const std::string &directory, const FindFilter &filter, const Found &found)
{
    uint64 matches = 0;
    std::vector<FileSystem::Entry> subdirectories;
    const auto addSubdirectory = [&subdirectories](const FileSystem::Entry &entry)
    {
        if (entry.isDirectory)
        {
            subdirectories.push_back(entry);
        }
    };
    const bool seesAll = filter.GetNamePattern() == "*";
    files.Enumerate(directory, filter.GetNamePattern(),
                    [&](const FileSystem::Entry &entry)
                    {
                        const std::string path = JoinVirtual(directory, entry.name);
                        if (filter.Takes(entry, path))
                        {
                            ++matches;
                            found(entry, path);
                        }
                        if (seesAll)
                        {
                            addSubdirectory(entry);
                        }
                    });
    if (!seesAll)
    {
        files.Enumerate(directory, "*", addSubdirectory);
    }
    for (std::size_t index = 0; index < subdirectories.size(); ++index)
    {
        if (LeadsDown(subdirectories, index))
        {
            matches += FindBelow(files, JoinVirtual(directory, subdirectories[index].name), filter, found);
        }
    }
    return matches;
}

Json MatchValue(const FileSystem::Entry &entry, const std::string &path)
{
    Json value{{"path", TextValue(path)}, {"type", entry.isDirectory ? "directory" : "file"}, {"size", entry.size}};
    if (entry.fields != nullptr)
    {
        value["version"] = FormatVersion(entry.fields->version);
        value["storage"] = TreeReader::NameOf(TreeReader::StorageOf(entry.fields->flags));
        value["compression"] = TreeReader::NameOf(TreeReader::CompressionOf(entry.fields->flags));
    }
    return value;
}

uint64 FindIntoDocument(const FileSystem &files, const std::string &directory, const FindFilter &filter)
{
    Json document = NewReadDocument("find", files.GetReference());
    AddDamage(document, files);
    Json values = Json::array();
    const uint64 matches = FindBelow(files, directory, filter,
                                     [&values](const FileSystem::Entry &entry, const std::string &path)
                                     {
                                         values.push_back(MatchValue(entry, path));
                                     });
    document["matches"] = std::move(values);
    PrintDocument(document);
    return matches;
}

uint64 FindIntoOutput(const FileSystem &files, const std::string &directory, const FindFilter &filter, bool endWithNul)
{
    const char end = endWithNul ? '\0' : '\n';
    return FindBelow(files, directory, filter,
                     [end, endWithNul](const FileSystem::Entry &, const std::string &path)
                     {
                         WriteOutput((endWithNul ? path : Shown(path)) + end);
                     });
}

ExitCode Find(const CommonOptions &common, const FindOptions &options)
{
    const FindFilter filter(options.conditions, options.road.throughLibrary);
    const std::unique_ptr<FileSystem> files = OpenFileSystem(common, options.road);
    const std::string directory = files->ResolveTyped(options.path);
    const bool isThere = files->IsDirectory(directory);
    if (!isThere)
    {
        const bool isPattern = options.path.find_first_of("*?") != std::string::npos;
        PrintError(options.path + ": is no directory here; " +
                   (isPattern ? "a pattern goes behind --name or --glob" : "\"morv tree\" shows all there is"));
    }
    const uint64 matches = common.json ? FindIntoDocument(*files, directory, filter)
                                       : FindIntoOutput(*files, directory, filter, options.endWithNul);
    if (matches == 0 && isThere)
    {
        PrintError("nothing matches; the patterns are told in \"morv find --help\"");
    }
    return matches == 0 || files->IsDamaged() ? ExitNo : ExitDone;
}
} // namespace

void AddFindCommand(CommandSet &commands)
{
    const auto options = std::make_shared<FindOptions>();
    const CommandWords words{.name = "find",
                             .description = "Find files and directories by name, size or storage, at any depth",
                             .footer = FindFooter,
                             .writesJson = true};
    CLI::App &command = commands.Add(words,
                                     [&commands, options]
                                     {
                                         return Find(commands.GetCommon(), *options);
                                     });
    FindConditions &conditions = options->conditions;
    command.add_option("PATH", options->path, "Virtual path of the directory to begin in; without one, the root");
    command.add_option("-n,--name", conditions.name, "What names must match, in the library's own wildcards")
        ->type_name("PATTERN");
    command.add_option("-g,--glob", conditions.glob, "What names or whole paths must match, with ** and {a,b}")
        ->type_name("GLOB");
    command.add_option("-t,--type", conditions.type, "f for files alone, d for directories alone")
        ->type_name("WHAT")
        ->check(CLI::IsMember({"f", "d"}));
    command
        .add_option("-s,--size", conditions.size,
                    "The size in bytes, with K, M or G for powers of 1024; + in front is for larger files, - for "
                    "smaller ones")
        ->type_name("BYTES");
    command.add_option("--storage", conditions.storage, "How files must be stored: naked, managed or archive")
        ->type_name("STORAGE");
    command.add_option("--version-of", conditions.version, "The release that must have brought the bytes of a file")
        ->type_name("VERSION");
    command.add_flag("-0,--null", options->endWithNul, "End each path with a NUL instead of a line end");
    AddFileSystemOptions(command, options->road);
}
} // namespace Keld::Morv
