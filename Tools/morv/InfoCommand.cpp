#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Commands.h"
#include "Tools/morv/OpenView.h"
#include "Tools/morv/Quantity.h"
#include "Tools/morv/ReadReport.h"
#include "Tools/morv/Terminal.h"

#include "Tools/TreeReader/Storage.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace Keld::Morv
{
using TreeReader::Compression;
using TreeReader::Layer;
using TreeReader::Storage;
using TreeReader::View;

namespace
{
constexpr const char *InfoFooter = R"(
Shows the tree's root, whether this is a project or a solution, its name and version, and the
project releases behind the file system in the order in which they are searched. Files that are
listed but missing on disk are counted, and the status is 1 then.

Examples:
  morv -C /srv/MORV/solutions/suite/releases/0.0.1.0 info
  morv -C /srv/MORV info --release client/1.0.0.0)";

struct StorageCounts
{
    uint64 naked = 0;
    uint64 managed = 0;
    uint64 stored = 0;
    uint64 zlib = 0;
    uint64 lzma = 0;
    uint64 missing = 0;
    uint64 bytes = 0; ///< of all files, missing ones too

    uint64 GetArchived() const { return stored + zlib + lzma; }
};

uint64 &CounterOf(uint32 flags, StorageCounts &counts)
{
    switch (TreeReader::StorageOf(flags))
    {
    case Storage::Naked:
        return counts.naked;
    case Storage::Managed:
        return counts.managed;
    case Storage::Archive:
        break;
    }
    switch (TreeReader::CompressionOf(flags))
    {
    case Compression::Zlib:
        return counts.zlib;
    case Compression::Lzma:
        return counts.lzma;
    case Compression::None:
        break;
    }
    return counts.stored;
}

/// The census has found out about all files.
StorageCounts CountFiles(const TreeReader::Release &release)
{
    const TreeReader::ManifestTree &tree = release.GetTree();
    StorageCounts counts;
    for (uint32 number = 0; number < tree.GetFileCount(); ++number)
    {
        const TreeReader::EntryIndex file = tree.GetFileEntry(number);
        const auto &fields = tree.GetFields(file);
        counts.bytes += fields.size;
        ++(release.IsPresent(file) ? CounterOf(fields.flags, counts) : counts.missing);
    }
    return counts;
}

void PrintLayer(const Layer &layer, bool isSolution, std::size_t position)
{
    const StorageCounts counts = CountFiles(*layer.release);
    const TreeReader::ManifestTree &tree = layer.release->GetTree();
    std::string text = fmt::format("  {}. {} {}", position, Shown(layer.project), FormatVersion(layer.version));
    if (isSolution)
    {
        text += fmt::format(", priority {}", layer.priority);
    }
    text += fmt::format("\n     {} in {}: {} naked, {} managed, {} archived ({} stored, {} zlib, {} lzma)",
                        CountText(tree.GetFileCount(), "file"), CountText(tree.GetDirectoryCount(), "directory"),
                        counts.naked, counts.managed, counts.GetArchived(), counts.stored, counts.zlib, counts.lzma);
    if (counts.missing > 0)
    {
        text += fmt::format(", {} MISSING on disk", counts.missing);
    }
    WriteOutput(text + "\n");
}

void PrintText(const OpenedView &opened)
{
    const auto &[reference, view] = opened;
    const bool isSolution = reference.name.isSolution;
    std::string text = fmt::format("root      {}\nkind      {}\nname      {}\nversion   {}\n", Shown(reference.root),
                                   isSolution ? "solution" : "project", Shown(reference.name.name),
                                   FormatVersion(reference.name.version));
    if (isSolution)
    {
        text += fmt::format("uses      configuration {}\n", Shown(view.GetConfiguration()));
    }
    text += fmt::format("listings  {}, in the order of the search\n", view.GetLayers().size());
    WriteOutput(text);
    for (std::size_t index = 0; index < view.GetLayers().size(); ++index)
    {
        PrintLayer(view.GetLayers()[index], isSolution, index + 1);
    }
}

Json LayerValue(const Layer &layer)
{
    const StorageCounts counts = CountFiles(*layer.release);
    const TreeReader::ManifestTree &tree = layer.release->GetTree();
    return {{"project", TextValue(layer.project)},
            {"version", FormatVersion(layer.version)},
            {"priority", layer.priority},
            {"files", tree.GetFileCount()},
            {"directories", tree.GetDirectoryCount()},
            {"bytes", counts.bytes},
            {"storage",
             {{"naked", counts.naked},
              {"managed", counts.managed},
              {"archivedNone", counts.stored},
              {"archivedZlib", counts.zlib},
              {"archivedLzma", counts.lzma}}},
            {"missing", counts.missing}};
}

void PrintJson(const OpenedView &opened, const TreeReader::Census &census)
{
    const View &view = opened.view;
    Json document = NewReadDocument("info", opened.reference);
    document["configuration"] = view.GetName().isSolution ? TextValue(view.GetConfiguration()) : Json(nullptr);
    document["whole"] = census.IsWhole();
    document["damage"] = DamageValue(census);
    document["listings"] = Json::array();
    for (const Layer &layer : view.GetLayers())
    {
        document["listings"].push_back(LayerValue(layer));
    }
    document["notes"] = Json::array();
    for (const std::string &note : view.GetNotes())
    {
        document["notes"].push_back(TextValue(note));
    }
    PrintDocument(document);
}

ExitCode Info(const CommonOptions &common, const std::string &release)
{
    TreeReader::TreeSet trees;
    const OpenedView opened = OpenView(trees, release, common);
    const TreeReader::Census census = TakeCensus(opened.view, common.GetThreadCount());
    if (!census.IsWhole())
    {
        PrintError(census.GetSummary());
    }
    if (common.json)
    {
        PrintJson(opened, census);
    }
    else
    {
        PrintText(opened);
    }
    return census.IsWhole() ? ExitDone : ExitNo;
}
} // namespace

void AddInfoCommand(CommandSet &commands)
{
    const CommandWords words{.name = "info",
                             .description = "Show what a release or a solution is made of",
                             .footer = InfoFooter,
                             .writesJson = true};
    const auto release = std::make_shared<std::string>();
    CLI::App &command = commands.Add(words,
                                     [&commands, release]
                                     {
                                         return Info(commands.GetCommon(), *release);
                                     });
    AddReleaseOption(command, *release);
}
} // namespace Keld::Morv
