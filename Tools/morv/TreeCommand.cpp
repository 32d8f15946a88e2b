#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Commands.h"
#include "Tools/morv/OpenView.h"
#include "Tools/morv/Quantity.h"
#include "Tools/morv/ReadReport.h"
#include "Tools/morv/Road.h"
#include "Tools/morv/Terminal.h"

#include <CLI/CLI.hpp>
#include <unistd.h>

namespace Keld::Morv
{
namespace
{
constexpr const char *TreeFooter = R"(
Draws what a program finds there: files that are missing on disk are left out, and the summary on
standard error counts them.

Examples:
  morv tree
  morv -C /srv/MORV/projects/client/releases/1.0.0.0 tree textures)";

struct Totals
{
    uint64 directories = 0;
    uint64 files = 0;
    uint64 bytes = 0;

    void Count(const FileSystem::Entry &entry)
    {
        ++(entry.isDirectory ? directories : files);
        bytes += entry.size;
    }
};

/// Goes through a directory and all below it.
class TreeWalk
{
public:
    explicit TreeWalk(const FileSystem &files) : mFiles(files) {}

    void Draw(const std::string &path, const std::string &indent)
    {
        const std::vector<FileSystem::Entry> entries = List(path);
        for (std::size_t index = 0; index < entries.size(); ++index)
        {
            const FileSystem::Entry &entry = entries[index];
            const bool last = index + 1 == entries.size();
            const std::string name = Shown(entry.name);
            WriteOutput(indent + (last ? "└── " : "├── ") +
                        (entry.isDirectory ? Paint(STDOUT_FILENO, Ink::Blue, name) + "/\n" : name + "\n"));
            mTotals.Count(entry);
            if (LeadsDown(entries, index))
            {
                Draw(JoinVirtual(path, entry.name), indent + (last ? "    " : "│   "));
            }
        }
    }

    Json MakeValues(const std::string &path)
    {
        const std::vector<FileSystem::Entry> entries = List(path);
        Json values = Json::array();
        for (std::size_t index = 0; index < entries.size(); ++index)
        {
            const FileSystem::Entry &entry = entries[index];
            mTotals.Count(entry);
            Json value{{"name", TextValue(entry.name)}, {"type", entry.isDirectory ? "directory" : "file"}};
            if (entry.isDirectory)
            {
                value["entries"] =
                    LeadsDown(entries, index) ? MakeValues(JoinVirtual(path, entry.name)) : Json::array();
            }
            else
            {
                value["size"] = entry.size;
            }
            values.push_back(std::move(value));
        }
        return values;
    }

    const Totals &GetTotals() const { return mTotals; }

private:
    std::vector<FileSystem::Entry> List(const std::string &path) const
    {
        return mFiles.List(path).value_or(std::vector<FileSystem::Entry>());
    }

    const FileSystem &mFiles;
    Totals mTotals;
};

void PrintText(const FileSystem &files, const std::string &path)
{
    TreeWalk walk(files);
    WriteOutput(path.empty() ? "/\n" : Shown(path) + "/\n");
    walk.Draw(path, "");
    const Totals &totals = walk.GetTotals();
    WriteOutput("\n" + CountText(totals.directories, "directory") + ", " + CountText(totals.files, "file") + ", " +
                CountText(totals.bytes, "byte") + "\n");
}

void PrintJson(const FileSystem &files, const std::string &path)
{
    TreeWalk walk(files);
    Json document = NewReadDocument("tree", files.GetReference());
    AddDamage(document, files);
    document["path"] = TextValue(path);
    Json entries = walk.MakeValues(path);
    document["directories"] = walk.GetTotals().directories;
    document["files"] = walk.GetTotals().files;
    document["bytes"] = walk.GetTotals().bytes;
    document["entries"] = std::move(entries);
    PrintDocument(document);
}

ExitCode Tree(const CommonOptions &common, const std::string &typed, const FileSystemOptions &road)
{
    const std::unique_ptr<FileSystem> files = OpenFileSystem(common, road);
    const std::string path = files->ResolveTyped(typed);
    const bool isThere = files->IsDirectory(path);
    if (!isThere)
    {
        PrintError(typed + ": is no directory here; \"morv tree\" without a path shows all there is");
    }
    if (common.json)
    {
        PrintJson(*files, path);
    }
    else if (isThere)
    {
        PrintText(*files, path);
    }
    return !isThere || files->IsDamaged() ? ExitNo : ExitDone;
}
} // namespace

void AddTreeCommand(CommandSet &commands)
{
    const auto path = std::make_shared<std::string>("/");
    const auto road = std::make_shared<FileSystemOptions>();
    const CommandWords words{
        .name = "tree", .description = "Draw a directory and all below it", .footer = TreeFooter, .writesJson = true};
    CLI::App &command = commands.Add(words,
                                     [&commands, path, road]
                                     {
                                         return Tree(commands.GetCommon(), *path, *road);
                                     });
    command.add_option("PATH", *path, "Virtual path of a directory; without one, the root");
    AddReleaseOption(command, road->release);
}
} // namespace Keld::Morv
