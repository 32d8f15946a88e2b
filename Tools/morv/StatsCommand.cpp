#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Commands.h"
#include "Tools/morv/OpenedUsage.h"
#include "Tools/morv/Quantity.h"
#include "Tools/morv/Terminal.h"
#include "Tools/morv/TreeChoice.h"
#include "Tools/morv/UsageTable.h"

#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeReader/TreeUsage.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <memory>

namespace Keld::Morv
{
using TreeReader::ContentUsage;
using TreeReader::DataFile;
using TreeReader::ReleaseUsage;
using TreeReader::TreeError;
using TreeReader::TreeUsage;
using TreeReader::UsageTotal;

namespace
{
constexpr std::size_t FewRows = 20;
constexpr std::size_t FewExamples = 5;

constexpr const char *StatsFooter = R"(
Tells what a release consists of: how its files are stored and how well they are compressed, which kinds of files
there are, by what stands behind the last dot of their names, and which archives they lie in. REF is
"client/1.0.0.0", "solution:suite/0.0.1.0" or a directory in a release; without it, the working directory counts.

--releases tells of the whole tree instead: for each release of each project the bytes of all files on disk that it
is served from ("used"), those that no other release is served from, which its removal would free ("exclusive"),
and the data files that no release refers to ("dangling"; "morv prune" removes them).

Examples:
  morv stats -h
  morv stats client/1.0.0.1 --all
  morv stats --root /srv/MORV --releases -h)";

struct StatsOptions
{
    std::string reference;
    std::string root;
    bool releases = false;
    bool human = false;
    bool all = false;
    std::string sort = "size";
};

std::string NameOfStorage(TreeReader::Storage storage, TreeReader::Compression compression)
{
    const std::string name = NameOf(storage);
    return storage == TreeReader::Storage::Archive ? name + ":" + NameOf(compression) : name;
}

/// The tables of one release.
struct ReleaseTables
{
    std::vector<UsageRow> storages;
    std::vector<UsageRow> extensions;
    std::vector<UsageRow> archives;
};

ReleaseTables MakeTables(const OpenedUsage &opened, UsageOrder order)
{
    ReleaseTables tables;
    for (const auto &[kind, total] : opened.usage->GetByStorage())
    {
        tables.storages.push_back({NameOfStorage(kind.first, kind.second), total});
    }
    for (const auto &[extension, total] : opened.usage->GetByExtension())
    {
        tables.extensions.push_back({extension, total});
    }
    for (const auto &[archive, total] : opened.usage->GetByArchive(opened.root))
    {
        tables.archives.push_back({archive, total});
    }
    SortRows(tables.storages, order);
    SortRows(tables.extensions, order);
    SortRows(tables.archives, order);
    return tables;
}

Json RowsDocument(const std::vector<UsageRow> &rows, const char *nameMember)
{
    Json document = Json::array();
    for (const UsageRow &row : rows)
    {
        Json entry = UsageDocument(row.total);
        entry[nameMember] = TextValue(row.name);
        document.push_back(std::move(entry));
    }
    return document;
}

std::string TableText(const std::string &column, std::vector<UsageRow> rows, const StatsOptions &options)
{
    const std::size_t left = options.all || rows.size() <= FewRows ? 0 : rows.size() - FewRows;
    rows.resize(rows.size() - left);
    const std::string more = left == 0 ? "" : fmt::format("{:>13} and {} more; --all shows them\n", "", left);
    return rows.empty() ? "" : "\n" + UsageTableText(column, rows, {options.human, true}) + more;
}

ExitCode TellRelease(const StatsOptions &options, const CommonOptions &common)
{
    const auto opened = OpenUsage(options.reference, options.root, common);
    ReleaseTables tables = MakeTables(*opened, ParseUsageOrder(options.sort));
    const UsageTotal total = opened->usage->GetTotal(ContentUsage::Root);
    if (common.json)
    {
        Json document = NewDocument("stats");
        document["release"] = opened->GetRelease();
        document["missing"] = opened->missing;
        document["total"] = UsageDocument(total);
        document["storages"] = RowsDocument(tables.storages, "storage");
        document["extensions"] = RowsDocument(tables.extensions, "extension");
        document["archives"] = RowsDocument(tables.archives, "index");
        PrintDocument(document);
    }
    else
    {
        for (UsageRow &row : tables.extensions)
        {
            row.name = row.name.empty() ? "(none)" : "." + row.name;
        }
        WriteOutput(fmt::format("{}: {}, {}, {} on disk ({})\n", EscapeForTerminal(opened->view->GetName().GetText()),
                                CountText(total.files, "file"), ByteText(total.bytes), ByteText(total.storedBytes),
                                RatioText(total.storedBytes, total.bytes)));
        WriteOutput(TableText("storage", tables.storages, options));
        WriteOutput(TableText("extension", tables.extensions, options));
        WriteOutput(TableText("archive", tables.archives, options));
    }
    return opened->isWhole ? ExitDone : ExitNo;
}

uint64 SizeOf(const std::vector<DataFile> &files)
{
    uint64 size = 0;
    for (const DataFile &file : files)
    {
        size += file.size;
    }
    return size;
}

Json TreeDocument(const std::string &root, const TreeUsage &usage)
{
    Json document = NewDocument("stats-releases");
    document["root"] = TextValue(root);
    document["totalBytes"] = usage.totalBytes;
    document["releases"] = Json::array();
    for (const ReleaseUsage &release : usage.releases)
    {
        document["releases"].push_back({{"project", TextValue(release.name.name)},
                                        {"version", FormatVersion(release.name.version)},
                                        {"files", release.files},
                                        {"usedBytes", release.usedBytes},
                                        {"exclusiveBytes", release.exclusiveBytes}});
    }
    document["dangling"] = {{"files", usage.dangling.size()}, {"bytes", SizeOf(usage.dangling)}};
    document["dangling"]["paths"] = Json::array();
    for (const DataFile &file : usage.dangling)
    {
        document["dangling"]["paths"].push_back({{"path", TextValue(file.path)}, {"bytes", file.size}});
    }
    document["unreadable"] = Json::array();
    for (const TreeReader::Fault &fault : usage.faults)
    {
        document["unreadable"].push_back(TextValue(fault.GetMessage()));
    }
    return document;
}

std::string TreeText(const std::string &root, const TreeUsage &usage, const StatsOptions &options)
{
    const auto sizeText = [&options](uint64 bytes)
    {
        return options.human ? ByteText(bytes) : std::to_string(bytes);
    };
    std::string text = fmt::format("{}: {}, {} on disk\n\n{:>13} {:>13} {:>9}  release\n", EscapeForTerminal(root),
                                   CountText(usage.releases.size(), "release"), ByteText(usage.totalBytes), "used",
                                   "exclusive", "files");
    const auto out = std::back_inserter(text);
    for (const ReleaseUsage &release : usage.releases)
    {
        fmt::format_to(out, "{:>13} {:>13} {:>9}  {}\n", sizeText(release.usedBytes), sizeText(release.exclusiveBytes),
                       release.files, EscapeForTerminal(release.name.GetText()));
    }
    fmt::format_to(out, "\ndangling: {}, {}\n", CountText(usage.dangling.size(), "file"),
                   ByteText(SizeOf(usage.dangling)));
    const std::size_t shown = options.all ? usage.dangling.size() : std::min(FewExamples, usage.dangling.size());
    for (std::size_t index = 0; index < shown; ++index)
    {
        fmt::format_to(out, "{:>13}  {}\n", sizeText(usage.dangling[index].size),
                       EscapeForTerminal(usage.dangling[index].path));
    }
    if (shown < usage.dangling.size())
    {
        fmt::format_to(out, "{:>13}  and {} more; --all shows them\n", "", usage.dangling.size() - shown);
    }
    return text;
}

ExitCode TellTree(const StatsOptions &options, const CommonOptions &common)
{
    const std::string directory = common.GetDirectory();
    const std::string root = ChooseTree(options.root, directory);
    if (root.empty())
    {
        throw TreeError(directory + " lies in no directory named MORV: name a tree with --root or -C");
    }
    TreeReader::Tree tree(root);
    auto usage = TreeReader::MeasureTree(tree, common.GetThreadCount());
    if (!usage)
    {
        throw TreeError(usage.GetFault().GetMessage());
    }
    for (const TreeReader::Fault &fault : usage->faults)
    {
        PrintError(fault.GetMessage());
    }
    if (common.json)
    {
        PrintDocument(TreeDocument(root, *usage));
    }
    else
    {
        WriteOutput(TreeText(root, *usage, options));
    }
    return usage->faults.empty() ? ExitDone : ExitNo;
}

ExitCode Stats(const StatsOptions &options, const CommonOptions &common)
{
    if (options.releases && !options.reference.empty())
    {
        throw UsageError("--releases tells of the whole tree: leave the release out");
    }
    return options.releases ? TellTree(options, common) : TellRelease(options, common);
}
} // namespace

void AddStatsCommand(CommandSet &commands)
{
    const auto options = std::make_shared<StatsOptions>();
    CLI::App &command =
        commands.Add({"stats", "Show what a release consists of, or who uses what of a tree", StatsFooter, true, true},
                     [&commands, options]
                     {
                         return Stats(*options, commands.GetCommon());
                     });
    command.set_help_flag("--help", "Print this help message and exit");
    command.add_option("REF", options->reference, "A release, or a directory in one");
    command.add_option("--root", options->root, TreeOptionHelp)->type_name("DIR");
    command.add_flag("--releases", options->releases, "Tell of all releases of the tree what each of them uses");
    command.add_flag("-h,--human", options->human, "Show sizes as 1.2 MiB instead of bytes");
    command.add_flag("-a,--all", options->all, "Show all lines of every table");
    command.add_option("--sort", options->sort, "size (of the content, the default), stored, files or name")
        ->type_name("WHAT")
        ->check(CLI::IsMember({"size", "stored", "files", "name"}));
}
} // namespace Keld::Morv
