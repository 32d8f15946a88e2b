#include "Tools/morv/Absence.h"
#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Commands.h"
#include "Tools/morv/Quantity.h"
#include "Tools/morv/ReadReport.h"
#include "Tools/morv/Road.h"
#include "Tools/morv/Terminal.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <unistd.h>

namespace Keld::Morv
{
namespace
{
constexpr const char *ListFooter = R"(
Lists what a program finds there: files that are missing on disk are left out, and the summary on
standard error counts them. A name behind which a / stands is a directory.

Examples:
  morv ls
  morv ls -lh textures
  morv ls -R --json > contents.json)";

struct ListOptions
{
    std::vector<std::string> paths;
    bool details = false;
    bool humanSizes = false;
    bool recursive = false;
    FileSystemOptions road;
};

/// A directory with what it holds, or a file with itself.
struct Listing
{
    std::string path;
    bool isDirectory = false;
    std::vector<FileSystem::Entry> entries;
};

using Show = std::function<void(const Listing &)>;

void ListBelow(const FileSystem &files, const Listing &listing, const Show &show)
{
    show(listing);
    for (std::size_t index = 0; index < listing.entries.size(); ++index)
    {
        if (!LeadsDown(listing.entries, index))
        {
            continue;
        }
        const std::string path = JoinVirtual(listing.path, listing.entries[index].name);
        if (std::optional<std::vector<FileSystem::Entry>> entries = files.List(path))
        {
            ListBelow(files, Listing{path, true, std::move(*entries)}, show);
        }
    }
}

/// False when nothing has the path.
bool ListOne(const FileSystem &files, const std::string &path, bool recursive, const Show &show)
{
    if (std::optional<std::vector<FileSystem::Entry>> entries = files.List(path))
    {
        const Listing listing{path, true, std::move(*entries)};
        recursive ? ListBelow(files, listing, show) : show(listing);
        return true;
    }
    const std::optional<FileSystem::Entry> file = files.FindEntry(path);
    if (file)
    {
        show(Listing{path, false, {*file}});
    }
    return file.has_value();
}

void AppendEntry(const FileSystem::Entry &entry, const ListOptions &options, std::string &text)
{
    if (options.details)
    {
        const std::string size = entry.isDirectory    ? "-"
                                 : options.humanSizes ? ByteText(entry.size)
                                                      : std::to_string(entry.size);
        fmt::format_to(std::back_inserter(text), "{:>12}  ", size);
    }
    text += entry.isDirectory ? Paint(STDOUT_FILENO, Ink::Blue, Shown(entry.name)) + "/" : Shown(entry.name);
    text += '\n';
}

/// Prints listings one behind the other, under their paths where there are several.
class ListingText
{
public:
    explicit ListingText(const ListOptions &options)
        : mOptions(options), mHasHeads(options.recursive || options.paths.size() > 1)
    {
    }

    void Print(const Listing &listing)
    {
        std::string text = mHasHeads && mOptions.recursive && !mIsFirst ? "\n" : "";
        if (mHasHeads)
        {
            text += (listing.path.empty() ? "/" : Shown(listing.path)) + ":\n";
        }
        for (const FileSystem::Entry &entry : listing.entries)
        {
            AppendEntry(entry, mOptions, text);
        }
        mIsFirst = false;
        WriteOutput(text);
    }

private:
    const ListOptions &mOptions;
    const bool mHasHeads;
    bool mIsFirst = true;
};

Json ListingValue(const Listing &listing)
{
    Json entries = Json::array();
    for (const FileSystem::Entry &entry : listing.entries)
    {
        entries.push_back({{"name", TextValue(entry.name)},
                           {"type", entry.isDirectory ? "directory" : "file"},
                           {"size", entry.size}});
    }
    return {{"path", TextValue(listing.path)},
            {"type", listing.isDirectory ? "directory" : "file"},
            {"entries", std::move(entries)}};
}

FailureList ListAll(const FileSystem &files, const ListOptions &options, const Show &show)
{
    FailureList failures;
    const std::vector<std::string> paths = options.paths.empty() ? std::vector<std::string>{"/"} : options.paths;
    for (const std::string &typed : paths)
    {
        const std::string path = files.ResolveTyped(typed);
        if (!ListOne(files, path, options.recursive, show))
        {
            failures.Add(path, AbsenceText(typed, files.ExplainAbsence(path)));
        }
    }
    return failures;
}

ExitCode List(const CommonOptions &common, const ListOptions &options)
{
    const std::unique_ptr<FileSystem> files = OpenFileSystem(common, options.road);
    if (!common.json)
    {
        ListingText text(options);
        const FailureList failures = ListAll(*files, options,
                                             [&text](const Listing &listing)
                                             {
                                                 text.Print(listing);
                                             });
        return ResultOf(failures, files->IsDamaged());
    }
    Json document = NewReadDocument("ls", files->GetReference());
    AddDamage(document, *files);
    Json listings = Json::array();
    const FailureList failures = ListAll(*files, options,
                                         [&listings](const Listing &listing)
                                         {
                                             listings.push_back(ListingValue(listing));
                                         });
    document["listings"] = std::move(listings);
    document["errors"] = failures.GetDocument();
    PrintDocument(document);
    return ResultOf(failures, files->IsDamaged());
}
} // namespace

void AddListCommand(CommandSet &commands)
{
    const auto options = std::make_shared<ListOptions>();
    const CommandWords words{.name = "ls",
                             .description = "List directories, subdirectories first",
                             .footer = ListFooter,
                             .writesJson = true};
    CLI::App &command = commands.Add(words,
                                     [&commands, options]
                                     {
                                         return List(commands.GetCommon(), *options);
                                     });
    command.set_help_flag("--help", "Print this help message and exit");
    command.add_option("PATH", options->paths, "Virtual paths; without one, the root");
    command.add_flag("-l,--long", options->details, "Show sizes in bytes");
    command.add_flag("-h,--human", options->humanSizes, "With -l, show sizes in KiB, MiB and so on");
    command.add_flag("-R,--recursive", options->recursive, "List all directories below, too");
    AddFileSystemOptions(command, options->road);
}
} // namespace Keld::Morv
