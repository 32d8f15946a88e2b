#include "Tools/morv/Commands.h"
#include "Tools/morv/EntryText.h"
#include "Tools/morv/OpenView.h"
#include "Tools/morv/PathAnswer.h"
#include "Tools/morv/Quantity.h"
#include "Tools/morv/ReadReport.h"
#include "Tools/morv/Terminal.h"

#include "Tools/Common/GlobSelection.h"
#include "Tools/Common/ParallelWork.h"
#include "Tools/TreeReader/Census.h"
#include "Tools/TreeReader/TreeText.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <memory>

#include <unistd.h>

namespace Keld::Morv
{
using Common::GlobSelection;
using TreeReader::EntryIndex;
using TreeReader::EntryRange;
using TreeReader::Hit;
using TreeReader::Layer;
using TreeReader::Release;
using TreeReader::View;

namespace
{
constexpr const char *ConflictsFooter = R"(
Lists every path of which a program gets one entry and not another: files over files of projects
that a solution searches later, and a file over a directory or a directory over a file. Directories
over directories are no conflict, since their content is merged. In a damaged release it also tells
paths that one manifest lists more than once.

Whether contents are equal goes by the digests of the manifests. A line is

  PATH: PROJECT RELEASE over PROJECT RELEASE: what is hidden

A GLOB chooses paths, and all below a directory that it matches; its language is that of
"morv pack --exclude". One that matches nothing is told, with status 1. Else the status is 0, conflicts
or none; with --check it is 1 when there is any. A damaged release is told, with status 1, as files
that are missing hide nothing.

Examples:
  morv conflicts                              in the release around the working directory
  morv conflicts 'textures/**' '*.lua'
  morv conflicts --different --check          for a build that allows no file to change another)";

constexpr std::size_t DirectoriesAtOnce = 64; // that a thread looks through before it asks for more

struct ConflictOptions
{
    std::vector<std::string> globs;
    std::string release;
    bool equal = false;
    bool different = false;
    bool check = false;
};

/// Something that a winner hides.
struct HiddenEntry
{
    Hit hit;
    Relation relation;
};

/// A path with more than one entry.
struct Conflict
{
    std::string path;
    Hit winner;
    std::vector<HiddenEntry> hidden;
};

struct Count
{
    uint64 entries = 0;
    uint64 bytes = 0; ///< of the hidden contents; a directory has none
};

uint32 SizeOf(const View &view, const Hit &hit)
{
    return view.IsDirectory(hit) ? 0 : uint32{view.GetRelease(hit.layer).GetTree().GetFields(hit.entry).size};
}

class Conflicts
{
public:
    Conflicts(const View &view, const GlobSelection &selection, const ConflictOptions &options)
        : mView(view), mSelection(selection), mOptions(options)
    {
    }

    /// In the order of paths, without regard to case.
    std::vector<Conflict> Gather(unsigned threadCount) const
    {
        std::vector<Conflict> all;
        for (uint32 layer = 0; layer < mView.GetLayers().size(); ++layer)
        {
            GatherLayer(layer, threadCount, all);
        }
        std::sort(all.begin(), all.end(),
                  [](const Conflict &left, const Conflict &right)
                  {
                      return TreeReader::FoldPath(left.path) < TreeReader::FoldPath(right.path);
                  });
        return all;
    }

private:
    void GatherLayer(uint32 layer, unsigned threadCount, std::vector<Conflict> &all) const
    {
        const std::vector<uint32> &directories = mView.GetRelease(layer).GetTree().GetDirectoriesByLevel();
        const std::size_t groups = (directories.size() + DirectoriesAtOnce - 1) / DirectoriesAtOnce;
        std::vector<std::vector<Conflict>> found(groups);
        const auto gatherGroup = [&](std::size_t group)
        {
            const std::size_t end = std::min((group + 1) * DirectoriesAtOnce, directories.size());
            for (std::size_t index = group * DirectoriesAtOnce; index < end; ++index)
            {
                GatherDirectory(layer, directories[index], found[group]);
            }
        };
        Common::ForEachInParallel(threadCount, groups, gatherGroup);
        for (std::vector<Conflict> &some : found)
        {
            std::move(some.begin(), some.end(), std::back_inserter(all));
        }
    }

    void GatherDirectory(uint32 layer, EntryIndex directory, std::vector<Conflict> &found) const
    {
        const Release &release = mView.GetRelease(layer);
        const EntryRange files = release.GetTree().GetFiles(directory);
        GatherEntry({layer, directory}, found);
        for (EntryIndex file = files.first; file < files.first + files.count; ++file)
        {
            if (release.IsPresent(file))
            {
                GatherEntry({layer, file}, found);
            }
        }
    }

    /// Each path is told once, where its winner stands.
    void GatherEntry(const Hit &hit, std::vector<Conflict> &found) const
    {
        const std::string path = mView.GetPath(hit);
        const PathAnswer answer = AnswerPath(mView, path);
        const bool wins = answer.winner.layer == hit.layer && answer.winner.entry == hit.entry;
        if (!wins || !mSelection.Takes(path, mView.IsDirectory(hit)) || answer.hidden.empty())
        {
            return;
        }
        Conflict conflict{path, hit, {}};
        for (const Hit &hidden : answer.hidden)
        {
            const Relation relation = CompareHidden(mView, hit, hidden);
            if (IsWanted(relation))
            {
                conflict.hidden.push_back({hidden, relation});
            }
        }
        if (!conflict.hidden.empty())
        {
            found.push_back(std::move(conflict));
        }
    }

    bool IsWanted(Relation relation) const
    {
        const bool isEqual = relation == Relation::EqualFile;
        return mOptions.equal == mOptions.different || isEqual == mOptions.equal;
    }

    const View &mView;
    const GlobSelection &mSelection;
    const ConflictOptions &mOptions;
};

/// "file-under-directory" and the others in words, with sizes where contents are compared.
std::string RelationText(const View &view, const Conflict &conflict, const HiddenEntry &hidden)
{
    const uint32 size = SizeOf(view, hidden.hit);
    switch (hidden.relation)
    {
    case Relation::EqualFile:
        return "equal, " + CountText(size, "byte");
    case Relation::DifferentFile:
        return fmt::format("different, {} over {}", CountText(SizeOf(view, conflict.winner), "byte"), size);
    case Relation::FileUnder:
        return "a directory over a file of " + CountText(size, "byte");
    case Relation::DirectoryUnder:
        return "a file over a directory";
    case Relation::SecondDirectory:
        break;
    }
    return "a directory that the manifest lists twice";
}

void PrintConflict(const View &view, const Conflict &conflict, bool escapes)
{
    for (const HiddenEntry &hidden : conflict.hidden)
    {
        WriteOutput(fmt::format("{}: {} over {}: {}\n", escapes ? EscapeForTerminal(conflict.path) : conflict.path,
                                LayerText(view.GetLayers()[conflict.winner.layer]),
                                LayerText(view.GetLayers()[hidden.hit.layer]), RelationText(view, conflict, hidden)));
    }
}

constexpr Relation AllRelations[] = {Relation::EqualFile, Relation::DifferentFile, Relation::FileUnder,
                                     Relation::DirectoryUnder, Relation::SecondDirectory};

using Counts = std::array<Count, std::size(AllRelations)>; // by relation

Counts CountAll(const View &view, const std::vector<Conflict> &conflicts)
{
    Counts counts;
    for (const Conflict &conflict : conflicts)
    {
        for (const HiddenEntry &hidden : conflict.hidden)
        {
            Count &count = counts[static_cast<std::size_t>(hidden.relation)];
            ++count.entries;
            count.bytes += SizeOf(view, hidden.hit);
        }
    }
    return counts;
}

std::string SummaryText(const Counts &counts, std::size_t pathCount)
{
    const auto count = [&counts](Relation relation)
    {
        return counts[static_cast<std::size_t>(relation)].entries;
    };
    uint64 bytes = 0;
    for (const Count &each : counts)
    {
        bytes += each.bytes;
    }
    const uint64 mixed =
        count(Relation::FileUnder) + count(Relation::DirectoryUnder) + count(Relation::SecondDirectory);
    return fmt::format("{} with something hidden: {} of equal content, {} of different content, {} of two kinds; {}\n",
                       CountText(pathCount, "path"), CountText(count(Relation::EqualFile), "file"),
                       CountText(count(Relation::DifferentFile), "file"), mixed, CountText(bytes, "byte"));
}

Json ConflictsDocument(const View &view, const TreeReader::Census &census, const std::vector<Conflict> &conflicts)
{
    Json document = NewDocument("conflicts");
    document["release"] = ViewValue(view);
    document["whole"] = census.IsWhole();
    document["damage"] = DamageValue(census);
    document["paths"] = conflicts.size();
    const Counts counts = CountAll(view, conflicts);
    for (const Relation relation : AllRelations)
    {
        const Count &count = counts[static_cast<std::size_t>(relation)];
        document["hidden"][NameOf(relation)] = {{"entries", count.entries}, {"bytes", count.bytes}};
    }
    Json &list = document["conflicts"] = Json::array();
    for (const Conflict &conflict : conflicts)
    {
        Json hidden = Json::array();
        for (const HiddenEntry &entry : conflict.hidden)
        {
            Json value = EntryValue(view, entry.hit);
            value["relation"] = NameOf(entry.relation);
            hidden.push_back(std::move(value));
        }
        list.push_back({{"path", TextValue(conflict.path)},
                        {"winner", EntryValue(view, conflict.winner)},
                        {"hidden", std::move(hidden)}});
    }
    return document;
}

void Print(const View &view, const TreeReader::Census &census, const std::vector<Conflict> &conflicts,
           const CommonOptions &common)
{
    if (common.json)
    {
        PrintDocument(ConflictsDocument(view, census, conflicts));
        return;
    }
    const bool escapes = IsTerminal(STDOUT_FILENO);
    for (const Conflict &conflict : conflicts)
    {
        PrintConflict(view, conflict, escapes);
    }
    if (!common.quiet)
    {
        WriteOutput(SummaryText(CountAll(view, conflicts), conflicts.size()));
    }
}

ExitCode RunConflicts(const ConflictOptions &options, const CommonOptions &common)
{
    const GlobSelection selection = MakeSelection(options.globs);
    TreeReader::TreeSet trees;
    const OpenedView opened = OpenView(trees, options.release, common);
    const TreeReader::Census census = TakeCensus(opened.view, common.GetThreadCount());
    const std::vector<Conflict> conflicts = Conflicts(opened.view, selection, options).Gather(common.GetThreadCount());
    Print(opened.view, census, conflicts, common);
    if (!census.IsWhole())
    {
        PrintError(census.GetSummary());
    }
    const std::vector<std::string> idle = selection.GetIdle();
    for (const std::string &pattern : idle)
    {
        PrintError("\"" + pattern + "\" matches nothing");
    }
    return census.IsWhole() && idle.empty() && (conflicts.empty() || !options.check) ? ExitDone : ExitNo;
}
} // namespace

void AddConflictsCommand(CommandSet &commands)
{
    const auto options = std::make_shared<ConflictOptions>();
    CommandWords words{"conflicts", "List the paths that hide something", ConflictsFooter, true, true};
    CLI::App &command = commands.Add(words,
                                     [&commands, options]
                                     {
                                         return RunConflicts(*options, commands.GetCommon());
                                     });
    command.add_option("GLOB", options->globs, "Which paths to look at; without one, all");
    AddReleaseOption(command, options->release);
    command.add_flag("--equal", options->equal, "List only files that hide a file with the same content");
    command.add_flag("--different", options->different, "List all but those");
    command.add_flag("--check", options->check, "End with status 1 when something is listed");
}
} // namespace Keld::Morv
