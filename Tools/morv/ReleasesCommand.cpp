#include "Tools/TreeReader/TreeError.h"
#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Commands.h"
#include "Tools/morv/Quantity.h"
#include "Tools/morv/ReadReport.h"
#include "Tools/morv/ReleaseSurvey.h"
#include "Tools/morv/Terminal.h"
#include "Tools/morv/TreeChoice.h"

#include "KeldMorvIO/TreeWords.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <filesystem>

namespace Keld::Morv
{
using TreeReader::TreeError;

namespace
{
constexpr const char *ReleasesFooter = R"(
Shows every release of every project with its files, their size, and which of them lie where an
earlier release has put them, then every release of every solution with the projects that it uses,
in the order of the search. Manifests alone are read: whether the files are there, "morv verify"
tells.

The tree is the one that --root names, or the one around the working directory, or the one of the
variable MORV_ROOT, or the directory MORV in the working directory.

Examples:
  morv releases --root /srv/MORV
  morv -C /srv/MORV/projects/client releases --json)";

/// The tree that is meant; people also stand beside one.
std::string RequireTree(const std::string &typed, const std::string &workingDirectory)
{
    std::error_code error;
    const std::string beside = workingDirectory + "/" + MORV::Reader::RootDirectory;
    std::string root = ChooseTree(typed, workingDirectory);
    if (root.empty() && std::filesystem::is_directory(beside, error))
    {
        root = beside;
    }
    if (root.empty())
    {
        throw TreeError(workingDirectory + ": lies in no deployment tree: change to a directory of one, or name it "
                                           "with --root");
    }
    if (!std::filesystem::is_directory(root, error))
    {
        throw TreeError(root + ": there is no such tree");
    }
    return root;
}

std::string BasesText(const SurveyedRelease &release)
{
    std::string text;
    for (const auto &[version, count] : release.bases)
    {
        text += fmt::format("{} {} of {}", text.empty() ? ", with" : " and", CountText(count.files, "file"),
                            FormatVersion(version));
    }
    return text;
}

void PrintProjects(const ReleaseSurvey &survey)
{
    for (const std::string &project : survey.projects)
    {
        WriteOutput("project   " + Shown(project) + "\n");
        for (const SurveyedRelease &release : survey.releases)
        {
            if (release.project == project && !release.failure)
            {
                WriteOutput(fmt::format("  {:<15} {}, {}{}\n", FormatVersion(release.version),
                                        CountText(release.all.files, "file"), ByteText(release.all.bytes),
                                        BasesText(release)));
            }
        }
    }
}

std::string LayersText(const TreeReader::View &view)
{
    std::string text;
    for (const TreeReader::Layer &layer : view.GetLayers())
    {
        text += fmt::format("{} {} {} (priority {})", text.empty() ? ":" : ",", Shown(layer.project),
                            FormatVersion(layer.version), layer.priority);
    }
    return text.empty() ? " uses no project" : text;
}

void PrintSolutions(const ReleaseSurvey &survey)
{
    std::string last;
    for (const SurveyedSolution &solution : survey.solutions)
    {
        if (solution.name.name != last)
        {
            last = solution.name.name;
            WriteOutput("solution  " + Shown(last) + "\n");
        }
        if (solution.view)
        {
            WriteOutput(fmt::format("  {:<15} {}{}\n", FormatVersion(solution.name.version),
                                    Shown(solution.view->GetConfiguration()), LayersText(*solution.view)));
        }
    }
}

Json ReleaseValue(const SurveyedRelease &release)
{
    Json bases = Json::array();
    for (const auto &[version, count] : release.bases)
    {
        bases.push_back({{"version", FormatVersion(version)}, {"files", count.files}, {"bytes", count.bytes}});
    }
    return {{"project", TextValue(release.project)},
            {"version", FormatVersion(release.version)},
            {"directories", release.directories},
            {"files", release.all.files},
            {"bytes", release.all.bytes},
            {"bases", std::move(bases)}};
}

Json SolutionValue(const SurveyedSolution &solution)
{
    Json projects = Json::array();
    for (const TreeReader::Layer &layer : solution.view->GetLayers())
    {
        projects.push_back({{"project", TextValue(layer.project)},
                            {"version", FormatVersion(layer.version)},
                            {"priority", layer.priority}});
    }
    return {{"solution", TextValue(solution.name.name)},
            {"version", FormatVersion(solution.name.version)},
            {"configuration", TextValue(solution.view->GetConfiguration())},
            {"projects", std::move(projects)}};
}

void PrintJson(const std::string &root, const ReleaseSurvey &survey, const FailureList &failures)
{
    Json document = NewDocument("releases");
    document["root"] = TextValue(root);
    document["releases"] = Json::array();
    for (const SurveyedRelease &release : survey.releases)
    {
        if (!release.failure)
        {
            document["releases"].push_back(ReleaseValue(release));
        }
    }
    document["solutions"] = Json::array();
    for (const SurveyedSolution &solution : survey.solutions)
    {
        if (solution.view)
        {
            document["solutions"].push_back(SolutionValue(solution));
        }
    }
    document["errors"] = failures.GetDocument();
    PrintDocument(document);
}

/// Tells what cannot be used, and notes what is odd about the rest.
FailureList TellTroubles(const TreeReader::Tree &tree, const ReleaseSurvey &survey)
{
    FailureList failures;
    for (const SurveyedRelease &release : survey.releases)
    {
        const std::string directory = tree.GetReleaseDirectory(release.project, release.version);
        if (release.failure)
        {
            failures.Add(directory, release.failure->GetMessage());
        }
        if (!release.manifestName.empty())
        {
            PrintNote(directory + ": its manifest is that of " + release.manifestName +
                      ", and files are served from there: the directory was renamed or copied");
        }
    }
    for (const SurveyedSolution &solution : survey.solutions)
    {
        if (solution.failure)
        {
            failures.Add(tree.GetSolutionDirectory(solution.name.name, solution.name.version),
                         "the " + solution.name.GetText() + " does not start: " + solution.failure->GetMessage());
            continue;
        }
        for (const std::string &note : solution.view->GetNotes())
        {
            PrintNote("in the " + solution.name.GetText() + ": " + note);
        }
    }
    return failures;
}

ExitCode Releases(const CommonOptions &common, const std::string &typedRoot)
{
    TreeReader::Tree tree(RequireTree(typedRoot, common.GetDirectory()));
    const ReleaseSurvey survey = SurveyReleases(tree, common.GetThreadCount());
    const FailureList failures = TellTroubles(tree, survey);
    if (common.json)
    {
        PrintJson(tree.GetRoot(), survey, failures);
    }
    else
    {
        WriteOutput("root      " + Shown(tree.GetRoot()) + "\n");
        PrintProjects(survey);
        PrintSolutions(survey);
    }
    return ResultOf(failures, false);
}
} // namespace

void AddReleasesCommand(CommandSet &commands)
{
    const auto root = std::make_shared<std::string>();
    const CommandWords words{.name = "releases",
                             .description = "List the projects, releases and solutions of a tree",
                             .footer = ReleasesFooter,
                             .writesJson = true,
                             .usesThreads = true};
    CLI::App &command = commands.Add(words,
                                     [&commands, root]
                                     {
                                         return Releases(commands.GetCommon(), *root);
                                     });
    command.add_option("--root", *root, "The deployment tree, a directory named MORV")->type_name("DIR");
}
} // namespace Keld::Morv
