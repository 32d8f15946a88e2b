#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Commands.h"
#include "Tools/morv/Json.h"
#include "Tools/morv/KeyOption.h"
#include "Tools/morv/Quantity.h"
#include "Tools/morv/ReleaseChoice.h"
#include "Tools/morv/Terminal.h"
#include "Tools/morv/WorkProgress.h"

#include "Tools/Delivery/Repair/Repair.h"
#include "Tools/Delivery/Sources/OpenSource.h"
#include "Tools/TreeReader/DataFiles.h"
#include "Tools/TreeReader/DirectoryVisit.h"
#include "Tools/TreeReader/TreeError.h"

#include "KeldMorvIO/TreeWords.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <filesystem>
#include <iterator>
#include <memory>
#include <optional>

namespace Keld::Morv
{
namespace fs = std::filesystem;
using Delivery::RepairNeed;
using Delivery::RepairReport;
using TreeReader::ReleaseName;

namespace
{
constexpr const char *RepairFooter = R"(
Finds what is damaged or missing of these releases, and gets exactly that back from SOURCE: a directory or a server that
holds the same tree. Without RELEASE all releases and solutions of the tree are repaired, also one whose manifest is
lost. Without --from nothing is changed: it tells what would be needed, and ends with status 1 if that is anything. With
it, status 1 says that something could not be healed, which is told.

Where the source has published a release ("morv publish"), its shiplist tells about every byte of every file, and of
an archive of which some ranges are damaged these alone are fetched. A directory without a shiplist is checked, and its
release taken as it is there. From a server without one, files are held against the digests of the manifest. Each file
is proved before it takes the place of the damaged one, in one step. What the tree holds besides is left alone; only a
directory in a file's place, or a file in a directory's, is put aside beside it: its name gets ".aside" behind it.

A whole tree is repaired as far as something of a release is here: also one whose manifest is lost, and with a solution
the releases that it uses. Of a release that went as a whole, with its directory, nothing here can tell that it was
ever wanted. What the source has of the same projects and solutions besides is therefore told, and brought by name.

Directories that nobody may write stay so; --protect makes all of them so that hold archives of the releases.

With --signed only what a shiplist tells of that is signed with this key of minisign is taken.

Examples:
  morv repair --root /opt/MORV
  morv repair --root /opt/MORV --from https://example.org/MORV
  morv repair client/1.0.0.7 --from /mnt/stick/MORV --signed client.pub)";

struct RepairOptions
{
    std::vector<std::string> releases;
    std::string root;
    std::string source;
    std::string key;
    bool protect = false;
    bool noSync = false;
};

bool HoldsFiles(const std::string &directory)
{
    bool holds = false;
    RequireNoDoubt(TreeReader::VisitTree(directory,
                                         [&holds](const std::string &, const struct stat &status)
                                         {
                                             holds = !S_ISDIR(status.st_mode);
                                             return !holds;
                                         }));
    return holds;
}

void AddReleasesBelow(const std::string &root, bool isSolution, std::vector<ReleaseName> &names)
{
    const std::string place =
        root + "/" + (isSolution ? MORV::Reader::SolutionsDirectory : MORV::Reader::ProjectsDirectory);
    for (const std::string &owner : TreeReader::RequireNames(place))
    {
        const std::string releases = place + "/" + owner + "/" + MORV::Reader::ReleasesDirectory;
        for (const std::string &text : TreeReader::ListVersionDirectories(releases))
        {
            ReleaseName name{isSolution, owner, 0};
            if (ParseVersion(text.c_str(), &name.version) && HoldsFiles(releases + "/" + text))
            {
                names.push_back(std::move(name));
            }
        }
    }
}

/// Also releases whose manifest is lost, which nobody else would see.
NamedReleases ResolveRepaired(const RepairOptions &options, const CommonOptions &common)
{
    if (!options.releases.empty())
    {
        return ResolveReleases(options.releases, common, options.root);
    }
    NamedReleases named{RequireTree(options.root, common), {}};
    AddReleasesBelow(named.root, false, named.names);
    AddReleasesBelow(named.root, true, named.names);
    if (named.names.empty())
    {
        throw TreeReader::TreeError(named.root + " holds no release and no solution");
    }
    return named;
}

RepairReport RepairNamed(Delivery::RepairRequest request, const RepairOptions &options, const CommonOptions &common)
{
    const std::optional<Delivery::PublicKey> key = LoadPublicKey(options.key, common);
    request.key = key ? &*key : nullptr;
    request.protect = options.protect;
    request.isWholeTree = options.releases.empty();
    request.sync = !options.noSync;
    request.threadCount = common.GetThreadCount();
    WorkProgress progress(!common.quiet);
    request.calls = progress.GetCalls();
    std::unique_ptr<Delivery::Source> source;
    if (!options.source.empty())
    {
        Delivery::SourceOptions access;
        access.checkpoint = InterruptGuard::Check;
        source = Delivery::OpenSource(options.source, common.GetDirectory(), access);
        request.source = source.get();
    }
    return Repair(request);
}

std::string NeedText(const RepairNeed &need)
{
    const std::string what = need.isMissing ? "missing" : "damaged";
    return fmt::format(
        "{:<8} {:>11}  {}{}\n", what, ByteText(need.GetNeededBytes()), Shown(need.path),
        need.ranges.empty() ? "" : " (" + CountText(need.ranges.size(), "range") + " of " + ByteText(need.size) + ")");
}

std::string RepairText(const RepairReport &report, bool hasSource, bool quiet)
{
    std::string text;
    uint64 needed = 0;
    for (const RepairNeed &need : report.needs)
    {
        text += NeedText(need);
        needed += need.GetNeededBytes();
    }
    for (const TreeReader::Fault &fault : hasSource ? report.remaining : std::vector<TreeReader::Fault>())
    {
        text += "not healed: " + Shown(fault.GetMessage()) + "\n";
    }
    if (quiet)
    {
        return text;
    }
    if (hasSource)
    {
        const bool isNeeded = report.broughtFiles != 0 || !report.needs.empty() || !report.remaining.empty();
        return text + (isNeeded ? CountText(report.broughtFiles, "file") + " repaired, " +
                                      ByteText(report.broughtBytes) + " fetched\n"
                                : "nothing was needed\n");
    }
    return text + (report.needs.empty() ? "nothing is needed\n"
                                        : ByteText(needed) + " of " + CountText(report.needs.size(), "file") +
                                              " would be needed: --from SOURCE gets them\n");
}

Json RepairDocument(const RepairReport &report, const std::string &root, const std::string &source)
{
    Json document = NewDocument("repair");
    document["root"] = TextValue(root);
    document["source"] = source.empty() ? Json() : TextValue(source);
    document["needs"] = Json::array();
    for (const RepairNeed &need : report.needs)
    {
        Json ranges = Json::array();
        for (const Delivery::ByteRange &range : need.ranges)
        {
            ranges.push_back({{"offset", range.offset}, {"bytes", range.size}});
        }
        document["needs"].push_back({{"path", TextValue(need.path)},
                                     {"state", need.isMissing ? "missing" : "damaged"},
                                     {"bytes", need.GetNeededBytes()},
                                     {"size", need.size},
                                     {"ranges", std::move(ranges)}});
    }
    document["brought"] = {{"files", report.broughtFiles}, {"bytes", report.broughtBytes}};
    document["remaining"] = Json::array();
    for (const TreeReader::Fault &fault : report.remaining)
    {
        document["remaining"].push_back(
            {{"kind", NameOf(fault.kind)}, {"path", TextValue(fault.path)}, {"text", TextValue(fault.text)}});
    }
    document["notes"] = Json::array();
    for (const std::string &note : report.notes)
    {
        document["notes"].push_back(TextValue(note));
    }
    return document;
}

ExitCode RunRepair(const RepairOptions &options, const CommonOptions &common)
{
    if (options.source.empty() && options.protect)
    {
        throw UsageError("--protect is for what is repaired: name a source with --from");
    }
    if (options.source.empty() && !options.key.empty())
    {
        throw UsageError("--signed tells whom to trust, and needs a source: name it with --from");
    }
    const NamedReleases named = ResolveRepaired(options, common);
    Delivery::RepairRequest request;
    request.root = named.root;
    request.releases = named.names;
    const RepairReport report = RepairNamed(std::move(request), options, common);
    for (const std::string &note : report.notes)
    {
        PrintNote(note);
    }
    if (common.json)
    {
        PrintDocument(RepairDocument(report, named.root, options.source));
    }
    else
    {
        WriteOutput(RepairText(report, !options.source.empty(), common.quiet));
    }
    return report.IsWhole() ? ExitDone : ExitNo;
}
} // namespace

void AddRepairCommand(CommandSet &commands)
{
    const auto options = std::make_shared<RepairOptions>();
    CommandWords words{"repair", "Get back from a source what is damaged or missing", RepairFooter};
    words.writesJson = true;
    words.usesThreads = true;
    CLI::App &command = commands.Add(words,
                                     [&commands, options]
                                     {
                                         return RunRepair(*options, commands.GetCommon());
                                     });
    command.add_option("RELEASE", options->releases,
                       "PROJECT/VERSION, solution:NAME/VERSION, or a directory in one; without any, the whole tree");
    command.add_option("--root", options->root, TreeOptionHelp)->type_name("DIR");
    command.add_option("--from", options->source, "The tree to get it from: https://, http://, file:// or a directory")
        ->type_name("SOURCE");
    AddKeyOption(command, options->key);
    command.add_flag("--protect", options->protect,
                     "Let nobody write the directories of the releases' archives, so that no program can remove an "
                     "index there");
    command.add_flag("--no-sync", options->noSync,
                     "Do not wait until the disk has each step; a loss of power may take what was repaired");
}
} // namespace Keld::Morv
