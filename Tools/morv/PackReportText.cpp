#include "Tools/morv/PackReportText.h"

#include "Tools/morv/Quantity.h"
#include "Tools/morv/Terminal.h"

#include <fmt/format.h>

namespace Keld::Morv
{
using TreeWriter::PackReport;
using TreeWriter::PackRequest;

namespace
{
std::string StorageLine(const PackRequest &request, const PackReport &report)
{
    const std::string line =
        fmt::format("  {} naked, {} managed, {} archived ({} stored, {} zlib, {} lzma)", report.naked, report.managed,
                    report.stored + report.zlib + report.lzma, report.stored, report.zlib, report.lzma);
    return request.dryRun ? fmt::format("{}: {} to store\n", line, ByteText(report.packedSize))
                          : fmt::format("{} in {}: {} written\n", line, CountText(report.archives, "archive"),
                                        ByteText(report.storedSize));
}

std::string DeltaLine(const PackRequest &request, const PackReport &report)
{
    const std::string moved = report.moved > 0 ? fmt::format(" ({} only moved)", report.moved) : "";
    return fmt::format("  {} unchanged, served from the files of release {} and before; {} changed, {} added{}, "
                       "{} removed\n",
                       report.kept, FormatVersion(*request.base), report.changed, report.added, moved, report.removed);
}

std::string LeftOutLine(const PackReport &report)
{
    if (report.excluded == 0 && report.skippedLinks == 0)
    {
        return "";
    }
    return fmt::format("  left out: {} by --exclude, {}\n", report.excluded,
                       CountText(report.skippedLinks, "symbolic link"));
}
} // namespace

std::string PackReportText(const PackRequest &request, const PackReport &report, double seconds)
{
    std::string text =
        fmt::format("{} {}{}: {} in {}, {}\n", EscapeForTerminal(request.project), FormatVersion(request.release),
                    request.dryRun ? " (dry run, nothing is made)" : "", CountText(report.files, "file"),
                    CountText(report.directories + 1, "directory"), ByteText(report.contentSize));
    text += StorageLine(request, report);
    if (report.shared > 0)
    {
        text += fmt::format("  {} with the same bytes as another: {} stored once\n", CountText(report.shared, "file"),
                            ByteText(report.sharedSize));
    }
    text += request.base ? DeltaLine(request, report) : "";
    text += LeftOutLine(report);
    if (!request.dryRun)
    {
        const std::string ratio =
            report.packedSize == 0
                ? ""
                : fmt::format(", {:.1f} % of its size",
                              100 * static_cast<double>(report.storedSize) / static_cast<double>(report.packedSize));
        text += fmt::format("  {}, {}{}\n", DurationText(seconds), RateText(report.contentSize, seconds), ratio);
    }
    return text;
}

Json PackReportDocument(const PackRequest &request, const PackReport &report, double seconds,
                        const std::vector<std::string> &notes)
{
    Json document = NewDocument("pack");
    document["project"] = TextValue(request.project);
    document["release"] = FormatVersion(request.release);
    document["dryRun"] = request.dryRun;
    document["files"] = report.files;
    document["directories"] = report.directories + 1;
    document["contentBytes"] = report.contentSize;
    document["packedBytes"] = report.packedSize;
    document["storedBytes"] = request.dryRun ? Json(nullptr) : Json(report.storedSize);
    document["archives"] = request.dryRun ? Json(nullptr) : Json(report.archives);
    document["storage"] = {{"naked", report.naked},
                           {"managed", report.managed},
                           {"archivedNone", report.stored},
                           {"archivedZlib", report.zlib},
                           {"archivedLzma", report.lzma}};
    document["shared"] = {{"files", report.shared}, {"bytes", report.sharedSize}};
    document["excluded"] = report.excluded;
    document["skippedLinks"] = report.skippedLinks;
    document["delta"] = nullptr;
    if (request.base)
    {
        document["delta"] = {{"base", FormatVersion(*request.base)},
                             {"kept", report.kept},
                             {"changed", report.changed},
                             {"added", report.added},
                             {"moved", report.moved},
                             {"removed", report.removed},
                             {"nakedAgain", {{"files", report.nakedAgain}, {"bytes", report.nakedAgainSize}}}};
    }
    document["notes"] = Json::array();
    for (const std::string &note : notes)
    {
        document["notes"].push_back(TextValue(note));
    }
    document["seconds"] = seconds;
    return document;
}
} // namespace Keld::Morv
