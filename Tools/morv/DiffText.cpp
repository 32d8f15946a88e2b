#include "Tools/morv/DiffText.h"

#include "Tools/morv/Quantity.h"
#include "Tools/morv/Terminal.h"

#include <fmt/format.h>

#include <array>
#include <iterator>

#include <unistd.h>

namespace Keld::Morv
{
using TreeReader::Change;
using TreeReader::ChangeKind;
using TreeReader::ChangeTotal;
using TreeReader::ContentComparison;
using TreeReader::ContentItem;
using TreeReader::ReleasePart;
using TreeReader::ShippingList;

namespace
{
struct KindWords
{
    ChangeKind kind;
    const char *word;   // of a line and of the document
    const char *member; // of the document's totals
    Ink ink;
};

constexpr std::array<KindWords, 5> Kinds = {{{ChangeKind::Added, "added", "added", Ink::Green},
                                             {ChangeKind::Removed, "removed", "removed", Ink::Red},
                                             {ChangeKind::Changed, "changed", "changed", Ink::Yellow},
                                             {ChangeKind::Moved, "moved", "moved", Ink::Blue},
                                             {ChangeKind::VersionOnly, "version-only", "versionOnly", Ink::Faint}}};

const KindWords &WordsOf(ChangeKind kind)
{
    return Kinds[static_cast<std::size_t>(kind)];
}

/// The paths of a change, as bytes.
struct ChangePaths
{
    std::string_view before;
    std::string_view after;
};

ChangePaths PathsOf(const Change &change, const DiffSide &from, const DiffSide &to)
{
    return {change.before != nullptr ? from.GetList().GetPath(*change.before) : std::string_view(),
            change.after != nullptr ? to.GetList().GetPath(*change.after) : std::string_view()};
}

const ContentItem &ItemOf(const Change &change)
{
    return change.after != nullptr ? *change.after : *change.before;
}

std::string Describe(const Change &change, const DiffSide &from, const DiffSide &to)
{
    const ChangePaths paths = PathsOf(change, from, to);
    const std::string path = EscapeForTerminal(change.after != nullptr ? paths.after : paths.before);
    switch (change.kind)
    {
    case ChangeKind::Added:
    case ChangeKind::Removed:
        return path + (ItemOf(change).isDirectory ? "/" : "");
    case ChangeKind::Changed:
        return change.before->size == change.after->size
                   ? path
                   : fmt::format("{}  (was {})", path, ByteText(change.before->size));
    case ChangeKind::Moved:
        return fmt::format("{} -> {}", EscapeForTerminal(paths.before), path);
    case ChangeKind::VersionOnly:
        break;
    }
    return fmt::format("{}  ({} -> {})", path, FormatVersion(change.before->version),
                       FormatVersion(change.after->version));
}

std::string TotalLine(const char *word, Ink ink, const ChangeTotal &total, const std::string &more = "")
{
    return fmt::format("  {} {:>14}  {:>11}{}\n", Paint(STDOUT_FILENO, ink, fmt::format("{:<12}", word)),
                       CountText(total.files, "file"), ByteText(total.bytes), more);
}

Json TotalDocument(const ChangeTotal &total)
{
    return {{"files", total.files}, {"bytes", total.bytes}};
}

/// The version of a side where it has one.
void AddVersions(const Change &change, Json &document)
{
    if (change.after != nullptr && change.after->version != 0)
    {
        document["version"] = FormatVersion(change.after->version);
    }
    if (change.before != nullptr && change.before->version != 0)
    {
        document["versionBefore"] = FormatVersion(change.before->version);
    }
}

Json ChangeDocument(const Change &change, const DiffSide &from, const DiffSide &to)
{
    const ChangePaths paths = PathsOf(change, from, to);
    const ContentItem &item = ItemOf(change);
    Json document = {{"change", WordsOf(change.kind).word},
                     {"type", item.isDirectory ? "directory" : "file"},
                     {"path", TextValue(change.after != nullptr ? paths.after : paths.before)}};
    if (item.isDirectory)
    {
        return document;
    }
    document["bytes"] = item.size;
    if (change.kind == ChangeKind::Changed)
    {
        document["bytesBefore"] = change.before->size;
    }
    if (change.kind == ChangeKind::Moved)
    {
        document["pathBefore"] = TextValue(paths.before);
    }
    AddVersions(change, document);
    return document;
}
} // namespace

std::string ChangeLines(const ContentComparison &comparison, const DiffSide &from, const DiffSide &to, bool all)
{
    std::string text;
    for (const Change &change : comparison.GetChanges())
    {
        if (change.kind == ChangeKind::VersionOnly && !all)
        {
            continue;
        }
        const KindWords &words = WordsOf(change.kind);
        const std::string size = ItemOf(change).isDirectory ? "directory" : ByteText(ItemOf(change).size);
        fmt::format_to(std::back_inserter(text), "{} {:>10}  {}\n",
                       Paint(STDOUT_FILENO, words.ink, fmt::format("{:<12}", words.word)), size,
                       Describe(change, from, to));
    }
    return text;
}

std::string ComparisonSummary(const ContentComparison &comparison, const DiffSide &from, const DiffSide &to)
{
    std::string text = fmt::format("{} -> {}: {}\n", EscapeForTerminal(from.GetText()), EscapeForTerminal(to.GetText()),
                                   comparison.IsEqual() ? "a program sees the same" : "different");
    for (const KindWords &words : Kinds)
    {
        const ChangeTotal &total = comparison.GetTotal(words.kind);
        if (total.files > 0)
        {
            const bool changed = words.kind == ChangeKind::Changed;
            text += TotalLine(words.word, words.ink, total,
                              changed ? fmt::format("  (was {})", ByteText(comparison.GetChangedBytesBefore())) : "");
        }
    }
    text += TotalLine("unchanged", Ink::Faint, comparison.GetUnchanged());
    if (comparison.GetAddedDirectories() + comparison.GetRemovedDirectories() > 0)
    {
        text += fmt::format("  empty directories: {} added, {} removed\n", comparison.GetAddedDirectories(),
                            comparison.GetRemovedDirectories());
    }
    return text;
}

Json ComparisonDocument(const ContentComparison &comparison, const DiffSide &from, const DiffSide &to)
{
    Json document = {{"equal", comparison.IsEqual()}};
    for (const KindWords &words : Kinds)
    {
        document[words.member] = TotalDocument(comparison.GetTotal(words.kind));
    }
    document["changed"]["bytesBefore"] = comparison.GetChangedBytesBefore();
    document["unchanged"] = TotalDocument(comparison.GetUnchanged());
    document["emptyDirectories"] = {{"added", comparison.GetAddedDirectories()},
                                    {"removed", comparison.GetRemovedDirectories()}};
    document["changes"] = Json::array();
    for (const Change &change : comparison.GetChanges())
    {
        document["changes"].push_back(ChangeDocument(change, from, to));
    }
    return document;
}

std::string ShippingLines(const ShippingList &shipping)
{
    std::string text;
    for (const ReleasePart &part : shipping.GetParts())
    {
        fmt::format_to(std::back_inserter(text), "{:<22} {:>10}  {}\n", NameOf(part.kind), ByteText(part.size),
                       EscapeForTerminal(part.path));
    }
    return text;
}

std::string ShippingSummary(const ShippingList &shipping, const DiffSide &from, const DiffSide &to)
{
    return fmt::format("{} -> {}: {} to ship, {}\n", EscapeForTerminal(from.GetText()), EscapeForTerminal(to.GetText()),
                       CountText(shipping.GetParts().size(), "file"), ByteText(SizeOf(shipping.GetParts())));
}

Json ShippingDocument(const ShippingList &shipping)
{
    Json document = {
        {"files", shipping.GetParts().size()}, {"bytes", SizeOf(shipping.GetParts())}, {"parts", Json::array()}};
    for (const ReleasePart &part : shipping.GetParts())
    {
        document["parts"].push_back(
            {{"kind", NameOf(part.kind)}, {"path", TextValue(part.path)}, {"bytes", part.size}});
    }
    return document;
}
} // namespace Keld::Morv
