#include "Tools/Common/ParallelWork.h"
#include "Tools/morv/Absence.h"
#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Commands.h"
#include "Tools/morv/OpenView.h"
#include "Tools/morv/PathList.h"
#include "Tools/morv/PathStat.h"
#include "Tools/morv/ReadReport.h"

#include <CLI/CLI.hpp>

namespace Keld::Morv
{
using TreeReader::View;

namespace
{
constexpr const char *StatFooter = R"(
Shows size, project, the version that stored the file, storage, compression, place on disk, stored
size and the MD5 digest that the content should have. In a solution it is the file that wins. With
--check the content is read and held against the digest.

Examples:
  morv stat textures/sky.dds
  morv stat --check maps/*.map
  morv find --type f | morv stat --json -)";

// So many paths are looked at in one go, by one thread.
constexpr std::size_t StatPathsAtOnce = 256;

// So many are read before they are looked at.
constexpr std::size_t PathsInMemory = 64 * StatPathsAtOnce;

struct StatOptions
{
    std::vector<std::string> paths;
    bool check = false;
    bool endsWithNul = false;
    std::string release;
};

/// What came of some paths, not yet shown.
struct Report
{
    std::string text;
    Json values = Json::array();
    std::vector<std::string> notes;
    std::vector<std::pair<std::string, std::string>> failures; ///< path and message
};

void LookAtPath(const View &view, const std::string &typed, TreeReader::ContentReader *reader, bool json,
                Report &report)
{
    const TreeReader::TypedPath path = view.ResolveTyped(typed);
    if (!path.note.empty())
    {
        report.notes.push_back(path.note);
    }
    const TreeReader::Hit hit = view.Find(path.path);
    if (!hit)
    {
        report.failures.emplace_back(path.path, AbsenceText(typed, ExplainAbsence(view, path.path)));
        return;
    }
    const TreeReader::Result<PathStat> stat = LookAt(view, hit, reader);
    if (!stat)
    {
        report.failures.emplace_back(path.path, typed + ": " + stat.GetFault().GetMessage());
        return;
    }
    if (json)
    {
        report.values.push_back(MakeValue(*stat));
    }
    else
    {
        AppendText(*stat, report.text);
    }
    if (stat->damage)
    {
        report.failures.emplace_back(path.path, typed + ": " + stat->damage->GetMessage());
    }
}

/// Looks at paths on several threads, and shows what comes of it in their order.
class StatRun
{
public:
    StatRun(const View &view, const CommonOptions &common, bool check) : mView(view), mCommon(common), mCheck(check) {}

    void LookAt(const std::vector<std::string> &paths)
    {
        const std::size_t count = (paths.size() + StatPathsAtOnce - 1) / StatPathsAtOnce;
        const auto weigh = [](std::size_t)
        {
            return uint64{1};
        };
        const auto produce = [&](std::size_t index)
        {
            return MakeReport(paths, index * StatPathsAtOnce);
        };
        const auto consume = [this](std::size_t, Report &&report)
        {
            Show(report);
        };
        const unsigned threads = count > 1 ? mCommon.GetThreadCount() : 1;
        Common::OrderedWork<Report>(threads, ReportsInMemory).Run(count, weigh, produce, consume);
    }

    const FailureList &GetFailures() const { return mFailures; }
    Json &GetValues() { return mValues; }

private:
    static constexpr uint64 ReportsInMemory = 64;

    Report MakeReport(const std::vector<std::string> &paths, std::size_t begin) const
    {
        Report report;
        TreeReader::ContentReader reader;
        const std::size_t end = std::min(begin + StatPathsAtOnce, paths.size());
        for (std::size_t index = begin; index < end; ++index)
        {
            LookAtPath(mView, paths[index], mCheck ? &reader : nullptr, mCommon.json, report);
        }
        return report;
    }

    void Show(Report &report)
    {
        for (const std::string &note : report.notes)
        {
            PrintNote(note);
        }
        WriteOutput(report.text);
        for (Json &value : report.values)
        {
            mValues.push_back(std::move(value));
        }
        for (const auto &[path, message] : report.failures)
        {
            mFailures.Add(path, message);
        }
    }

    const View &mView;
    const CommonOptions &mCommon;
    const bool mCheck;
    FailureList mFailures;
    Json mValues = Json::array();
};

/// Standard input may be without end, so it is taken in pieces.
void LookAtStandardInput(StatRun &run, char end)
{
    PathList list(stdin, end);
    std::vector<std::string> paths;
    while (std::optional<std::string> path = list.Next())
    {
        paths.push_back(std::move(*path));
        if (paths.size() == PathsInMemory)
        {
            run.LookAt(paths);
            paths.clear();
        }
    }
    run.LookAt(paths);
}

ExitCode Stat(const CommonOptions &common, const StatOptions &options)
{
    TreeReader::TreeSet trees;
    const OpenedView opened = OpenView(trees, options.release, common);
    StatRun run(opened.view, common, options.check);
    if (options.paths == std::vector<std::string>{"-"})
    {
        LookAtStandardInput(run, options.endsWithNul ? '\0' : '\n');
    }
    else
    {
        run.LookAt(options.paths);
    }
    if (common.json)
    {
        Json document = NewReadDocument("stat", opened.reference);
        document["paths"] = std::move(run.GetValues());
        document["errors"] = run.GetFailures().GetDocument();
        PrintDocument(document);
    }
    return ResultOf(run.GetFailures(), false);
}
} // namespace

void AddStatCommand(CommandSet &commands)
{
    const auto options = std::make_shared<StatOptions>();
    const CommandWords words{.name = "stat",
                             .description = "Show what a path is and where its bytes lie",
                             .footer = StatFooter,
                             .writesJson = true,
                             .usesThreads = true};
    CLI::App &command = commands.Add(words,
                                     [&commands, options]
                                     {
                                         return Stat(commands.GetCommon(), *options);
                                     });
    command
        .add_option("PATH", options->paths,
                    "Virtual paths; / is the root, and - alone stands for the lines of standard input")
        ->required();
    command.add_flag("--check", options->check, "Read the content of files, and hold it against the manifest's digest");
    command.add_flag("-0,--null", options->endsWithNul, "On standard input a NUL ends each path, and not a line end");
    AddReleaseOption(command, options->release);
}
} // namespace Keld::Morv
