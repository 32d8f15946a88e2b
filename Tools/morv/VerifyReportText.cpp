#include "Tools/morv/VerifyReportText.h"

#include "Tools/morv/Quantity.h"
#include "Tools/morv/Terminal.h"

#include <fmt/format.h>

#include <algorithm>

#include <unistd.h>

namespace Keld::Morv
{
using TreeChecker::CheckReport;
using TreeChecker::Finding;
using TreeReader::ReleaseName;

namespace
{
// Of one sort, unless all are wanted.
constexpr std::size_t FindingsShown = 20;
constexpr std::size_t NamesShown = 3;

/// As it is typed to name a release.
std::string ReferenceText(const ReleaseName &name)
{
    return (name.isSolution ? "solution:" : "") + name.name + "/" + FormatVersion(name.version);
}

template <class Items, class NameOf>
std::string NamesLine(const char *label, const Items &items, bool tellAll, const NameOf &nameOf)
{
    if (items.empty())
    {
        return "";
    }
    const std::size_t shown = tellAll ? items.size() : std::min(items.size(), NamesShown);
    std::string text;
    for (std::size_t index = 0; index < shown; ++index)
    {
        text += (index > 0 ? ", " : "") + EscapeForTerminal(nameOf(items[index]));
    }
    const std::string more = shown < items.size() ? fmt::format(" and {} more", items.size() - shown) : "";
    return fmt::format("  {} {}{}\n", label, text, more);
}

std::string FindingText(const CheckReport &report, const Finding &finding, bool isFault, bool tellAll)
{
    const std::string label =
        isFault ? Paint(STDOUT_FILENO, Ink::Red, "fault:") : Paint(STDOUT_FILENO, Ink::Yellow, "note:");
    std::string text =
        fmt::format("{} {}: {}\n", label, EscapeForTerminal(finding.fault.path), EscapeForTerminal(finding.fault.text));
    text += NamesLine(finding.files.size() == 1 ? "file" : "files", finding.files, tellAll,
                      [](const std::string &file)
                      {
                          return file;
                      });
    if (finding.storage)
    {
        const bool tellsArchive = !finding.archive.empty() && finding.archive != finding.fault.path;
        const std::string archive = tellsArchive ? " " + EscapeForTerminal(finding.archive) : "";
        const std::string range = finding.fault.size != 0 ? fmt::format(", bytes {} to {}", finding.fault.offset,
                                                                        finding.fault.offset + finding.fault.size)
                                                          : "";
        text += fmt::format("  storage {}{}{}\n", TreeReader::NameOf(*finding.storage), archive, range);
    }
    text += NamesLine("used by", finding.users, tellAll,
                      [&report](uint32 user)
                      {
                          return ReferenceText(report.releases[user]);
                      });
    return text;
}

std::string FindingsText(const CheckReport &report, const std::vector<Finding> &findings, bool isFault, bool tellAll)
{
    const std::size_t shown = tellAll ? findings.size() : std::min(findings.size(), FindingsShown);
    std::string text;
    for (std::size_t index = 0; index < shown; ++index)
    {
        text += FindingText(report, findings[index], isFault, tellAll);
    }
    return shown == findings.size()
               ? text
               : text + fmt::format("and {}: --all shows them\n",
                                    CountText(findings.size() - shown, isFault ? "more fault" : "more note"));
}

std::string SummaryText(const CheckReport &report, const VerifyRun &run)
{
    const auto solutions = static_cast<uint64>(std::count_if(report.releases.begin(), report.releases.end(),
                                                             [](const ReleaseName &name)
                                                             {
                                                                 return name.isSolution;
                                                             }));
    const std::string rate = run.quick ? ", contents not read" : ", " + RateText(report.contentBytes, run.seconds);
    const std::string verdict = report.IsWhole()
                                    ? Paint(STDOUT_FILENO, Ink::Green, "no fault")
                                    : Paint(STDOUT_FILENO, Ink::Red, CountText(report.faults.size(), "fault"));
    return fmt::format("{} and {}: {}, {} of content stored as {}, {}\n{}, {}; {}{}\n",
                       CountText(report.releases.size() - solutions, "release"), CountText(solutions, "solution"),
                       CountText(report.files, "file"), ByteText(report.contentBytes), ByteText(report.storedBytes),
                       CountText(report.archives, "archive"), verdict, CountText(report.notes.size(), "note"),
                       DurationText(run.seconds), rate);
}

Json FindingDocument(const CheckReport &report, const Finding &finding)
{
    Json document;
    document["kind"] = TreeReader::NameOf(finding.fault.kind);
    document["path"] = TextValue(finding.fault.path);
    document["text"] = TextValue(finding.fault.text);
    document["bytes"] = nullptr;
    if (finding.fault.size != 0)
    {
        document["bytes"] = {{"offset", finding.fault.offset}, {"size", finding.fault.size}};
    }
    document["files"] = Json::array();
    for (const std::string &file : finding.files)
    {
        document["files"].push_back(TextValue(file));
    }
    document["storage"] = finding.storage ? Json(TreeReader::NameOf(*finding.storage)) : Json(nullptr);
    document["archive"] = finding.archive.empty() ? Json(nullptr) : TextValue(finding.archive);
    document["users"] = Json::array();
    for (const uint32 user : finding.users)
    {
        document["users"].push_back(TextValue(ReferenceText(report.releases[user])));
    }
    return document;
}

Json FindingsDocument(const CheckReport &report, const std::vector<Finding> &findings)
{
    Json document = Json::array();
    for (const Finding &finding : findings)
    {
        document.push_back(FindingDocument(report, finding));
    }
    return document;
}
} // namespace

std::string VerifyReportText(const CheckReport &report, const VerifyRun &run)
{
    std::string text = FindingsText(report, report.faults, true, run.tellAll);
    if (!run.quiet)
    {
        text += FindingsText(report, report.notes, false, run.tellAll);
        text += SummaryText(report, run);
    }
    return text;
}

Json VerifyReportDocument(const CheckReport &report, const VerifyRun &run)
{
    Json document = NewDocument("verify");
    document["root"] = TextValue(run.root);
    document["quick"] = run.quick;
    document["whole"] = report.IsWhole();
    document["releases"] = Json::array();
    for (const ReleaseName &name : report.releases)
    {
        document["releases"].push_back(TextValue(ReferenceText(name)));
    }
    document["files"] = report.files;
    document["archives"] = report.archives;
    document["ranges"] = report.ranges;
    document["storedBytes"] = report.storedBytes;
    document["contentBytes"] = report.contentBytes;
    document["faults"] = FindingsDocument(report, report.faults);
    document["notes"] = FindingsDocument(report, report.notes);
    document["seconds"] = run.seconds;
    document["contentBytesPerSecond"] =
        run.quick || run.seconds <= 0 ? Json(nullptr) : Json(static_cast<double>(report.contentBytes) / run.seconds);
    return document;
}
} // namespace Keld::Morv
