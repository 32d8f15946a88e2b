#include "Tools/morv/PathStat.h"

#include "Tools/TreeReader/ContentDigest.h"
#include "Tools/morv/Terminal.h"

#include <fmt/compile.h>
#include <fmt/format.h>

#include <algorithm>
#include <iterator>

namespace Keld::Morv
{
using TreeReader::Compression;
using TreeReader::Storage;

namespace
{
std::string ExpectedDigest(const MORV::Reader::FileTableFields &fields)
{
    TreeReader::Digest digest;
    std::copy(std::begin(fields.digest), std::end(fields.digest), digest.begin());
    return TreeReader::DigestText(digest);
}

uint64 CountEntries(const TreeReader::View &view, const std::string &directory)
{
    uint64 count = 0;
    const auto entries = view.Enumerate(directory);
    for (; entries != nullptr && entries->IsValid(); entries->Next())
    {
        ++count;
    }
    return count;
}

std::string ShownPath(const PathStat &stat)
{
    return stat.path.empty() ? "/" : Shown(stat.path);
}

void AppendDirectory(const PathStat &stat, std::string &text)
{
    fmt::format_to(std::back_inserter(text),
                   "{}\n"
                   "  type             directory\n"
                   "  entries          {}\n"
                   "  project          {} {}\n",
                   ShownPath(stat), stat.entries, Shown(stat.layer->project), FormatVersion(stat.layer->version));
}

void AppendPlace(const PathStat &stat, std::string &text)
{
    if (stat.stored.storage != Storage::Archive)
    {
        fmt::format_to(std::back_inserter(text), FMT_COMPILE("  file             {}\n"), Shown(stat.stored.path));
        return;
    }
    fmt::format_to(std::back_inserter(text),
                   FMT_COMPILE("  compression      {}\n"
                               "  archive          {}\n"
                               "  offset           {}\n"),
                   TreeReader::NameOf(stat.stored.compression), Shown(stat.stored.path), stat.stored.offset);
}
} // namespace

TreeReader::Result<PathStat> LookAt(const TreeReader::View &view, const TreeReader::Hit &hit,
                                    TreeReader::ContentReader *reader)
{
    PathStat stat;
    stat.path = view.GetPath(hit);
    stat.layer = &view.GetLayers()[hit.layer];
    stat.isDirectory = view.IsDirectory(hit);
    if (stat.isDirectory)
    {
        stat.entries = CountEntries(view, stat.path);
        return stat;
    }
    const TreeReader::Release &release = view.GetRelease(hit.layer);
    const TreeReader::Result<TreeReader::StoredFile> stored = release.Locate(hit.entry, stat.path);
    if (!stored)
    {
        return stored.GetFault();
    }
    stat.fields = &release.GetTree().GetFields(hit.entry);
    stat.stored = *stored;
    if (reader != nullptr)
    {
        stat.isChecked = true;
        stat.damage = reader->Read(release, hit.entry, *stored, {}, [](std::string_view) {});
    }
    return stat;
}

void AppendText(const PathStat &stat, std::string &text)
{
    if (stat.isDirectory)
    {
        AppendDirectory(stat, text);
        return;
    }
    fmt::format_to(std::back_inserter(text),
                   FMT_COMPILE("{}\n"
                               "  type             file\n"
                               "  size             {}\n"
                               "  project          {} {}\n"
                               "  version          {}\n"
                               "  storage          {}\n"),
                   ShownPath(stat), uint32{stat.fields->size}, Shown(stat.layer->project),
                   FormatVersion(stat.layer->version), FormatVersion(stat.fields->version),
                   TreeReader::NameOf(stat.stored.storage));
    AppendPlace(stat, text);
    fmt::format_to(std::back_inserter(text),
                   FMT_COMPILE("  stored size      {}\n"
                               "  expected digest  {}\n"),
                   stat.stored.storedSize, ExpectedDigest(*stat.fields));
    if (stat.isChecked)
    {
        text += stat.damage ? "  content          DAMAGED\n" : "  content          has the expected digest\n";
    }
}

Json MakeValue(const PathStat &stat)
{
    Json value{{"path", TextValue(stat.path)},
               {"type", stat.isDirectory ? "directory" : "file"},
               {"project", TextValue(stat.layer->project)},
               {"release", FormatVersion(stat.layer->version)}};
    if (stat.isDirectory)
    {
        value["entries"] = stat.entries;
        return value;
    }
    value["size"] = uint32{stat.fields->size};
    value["version"] = FormatVersion(stat.fields->version);
    value["storage"] = TreeReader::NameOf(stat.stored.storage);
    value["compression"] = TreeReader::NameOf(stat.stored.compression);
    value["file"] = TextValue(stat.stored.path);
    value["offset"] = stat.stored.offset;
    value["storedSize"] = stat.stored.storedSize;
    value["expectedDigest"] = ExpectedDigest(*stat.fields);
    value["intact"] = stat.isChecked ? Json(!stat.damage) : Json(nullptr);
    return value;
}
} // namespace Keld::Morv
