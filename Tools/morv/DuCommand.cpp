#include "Tools/morv/Absence.h"
#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Commands.h"
#include "Tools/morv/OpenView.h"
#include "Tools/morv/OpenedUsage.h"
#include "Tools/morv/OptionChecks.h"
#include "Tools/morv/OutputFile.h"
#include "Tools/morv/Quantity.h"
#include "Tools/morv/Terminal.h"
#include "Tools/morv/UsagePage.h"
#include "Tools/morv/UsageTable.h"

#include "Tools/TreeWriter/FileOutput.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <memory>

namespace Keld::Morv
{
using TreeReader::ContentUsage;
using TreeReader::UsageTotal;

namespace
{
constexpr const char *DuFooter = R"(
Tells for directories of the release around the working directory how much content they hold, what that takes on
disk, and how many files there are. Bytes that several files share on disk count for the first of them. Of files
that a solution hides nothing is told.

--html writes a page that shows the same as a map of tiles. It needs no network and nothing besides itself: a click
or Enter opens a directory, Backspace or Escape goes back, the arrow keys move, a pointer over a tile tells its
numbers.

Examples:
  morv du -h
  morv du --depth 3 --sort stored textures sounds
  morv -C /srv/MORV/projects/client/releases/1.0.0.0 du --html usage.html)";

struct DuOptions
{
    std::vector<std::string> paths;
    bool human = false;
    bool files = false;
    unsigned depth = 1;
    std::string sort = "size";
    std::string html;
    std::string release;
};

std::string PathOf(const ContentUsage &usage, uint32 index)
{
    if (index == ContentUsage::Root)
    {
        return "/";
    }
    const auto &item = usage.GetList().GetItems()[index];
    return std::string(usage.GetList().GetPath(item)) + (item.isDirectory ? "/" : "");
}

/// An item and what lies below it, down to a depth.
std::vector<UsageRow> RowsBelow(const ContentUsage &usage, uint32 top, const DuOptions &options)
{
    std::vector<UsageRow> rows{{PathOf(usage, top), usage.GetTotal(top)}};
    const auto &items = usage.GetList().GetItems();
    std::vector<unsigned> depths(items.size()); // 0: not below
    const uint32 first = top == ContentUsage::Root ? 0 : top + 1;
    for (uint32 index = first; index < items.size(); ++index)
    {
        const uint32 parent = usage.GetParent(index);
        const bool isBelow = parent == top || (parent != ContentUsage::Root && depths[parent] != 0);
        depths[index] = !isBelow ? 0 : parent == top ? 1 : depths[parent] + 1;
        if (isBelow && depths[index] <= options.depth && (items[index].isDirectory || options.files))
        {
            rows.push_back({PathOf(usage, index), usage.GetTotal(index)});
        }
    }
    SortRows(rows, ParseUsageOrder(options.sort));
    return rows;
}

Json DocumentOf(const OpenedUsage &opened, const std::vector<UsageRow> &rows)
{
    Json document = NewDocument("du");
    document["release"] = opened.GetRelease();
    document["missing"] = opened.missing;
    document["total"] = UsageDocument(opened.usage->GetTotal(ContentUsage::Root));
    document["entries"] = Json::array();
    for (const UsageRow &row : rows)
    {
        Json entry = UsageDocument(row.total);
        entry["path"] = TextValue(row.name);
        document["entries"].push_back(std::move(entry));
    }
    return document;
}

void WritePage(const OpenedUsage &opened, const std::string &file, const CommonOptions &common)
{
    const std::filesystem::path path = std::filesystem::absolute(file);
    RequireReplaceable(path);
    TreeWriter::ReplaceFile(path, MakeUsagePage(*opened.usage, opened.view->GetName().GetText()));
    if (!common.quiet && !common.json)
    {
        WriteOutput(EscapeForTerminal(path.string()) + "\n");
    }
}

ExitCode Du(const DuOptions &options, const CommonOptions &common)
{
    const auto opened = OpenUsage(options.release, "", common);
    const ContentUsage &usage = *opened->usage;
    ExitCode result = opened->isWhole ? ExitDone : ExitNo;
    std::vector<UsageRow> rows;
    for (const std::string &typed : options.paths.empty() ? std::vector<std::string>{""} : options.paths)
    {
        const TreeReader::TypedPath path = opened->view->ResolveTyped(typed);
        const std::optional<uint32> index = usage.Find(path.path);
        if (!index)
        {
            PrintError(AbsenceText(typed, NotFoundText));
            result = ExitNo;
            continue;
        }
        const std::vector<UsageRow> below = RowsBelow(usage, *index, options);
        rows.insert(rows.end(), below.begin(), below.end());
    }
    if (!options.html.empty())
    {
        WritePage(*opened, options.html, common);
    }
    if (common.json)
    {
        PrintDocument(DocumentOf(*opened, rows));
    }
    else if (options.html.empty())
    {
        WriteOutput(UsageTableText("path", rows, {options.human, !common.quiet && !rows.empty()}));
    }
    return result;
}
} // namespace

void AddDuCommand(CommandSet &commands)
{
    const auto options = std::make_shared<DuOptions>();
    CLI::App &command = commands.Add({"du", "Show how much room directories take", DuFooter, true, true},
                                     [&commands, options]
                                     {
                                         return Du(*options, commands.GetCommon());
                                     });
    command.set_help_flag("--help", "Print this help message and exit");
    command.add_option("PATH", options->paths, "Virtual paths; without one, the root");
    command.add_flag("-h,--human", options->human, "Show sizes as 1.2 MiB instead of bytes");
    command.add_flag("-a,--all", options->files, "Show files, too");
    command.add_option("-d,--depth", options->depth, "Show so many levels below each path (default: 1)")
        ->type_name("N")
        ->transform(WholeNumber());
    command.add_option("--sort", options->sort, "size (of the content, the default), stored, files or name")
        ->type_name("WHAT")
        ->check(CLI::IsMember({"size", "stored", "files", "name"}));
    command
        .add_option(
            "--html", options->html,
            "Write a page with a map of the whole release to this file, and make directories that lack on the way")
        ->type_name("FILE");
    AddReleaseOption(command, options->release);
}
} // namespace Keld::Morv
