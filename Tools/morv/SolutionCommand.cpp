#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Commands.h"
#include "Tools/morv/Json.h"
#include "Tools/morv/PackOptions.h"
#include "Tools/morv/Quantity.h"
#include "Tools/morv/Terminal.h"

#include "Tools/TreeReader/ShipListNames.h"
#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeReader/TreePlaces.h"
#include "Tools/TreeReader/TreeText.h"
#include "Tools/TreeWriter/DirectoryProtection.h"
#include "Tools/TreeWriter/FileOutput.h"
#include "Tools/TreeWriter/SolutionWriter.h"
#include "Tools/TreeWriter/TreeNames.h"
#include "Tools/TreeWriter/WriteLocks.h"

#include "KeldMorvIO/TreeWords.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <filesystem>

namespace Keld::Morv
{
namespace fs = std::filesystem;
using TreeReader::TreeError;
using TreeReader::TreePlaces;
using TreeWriter::SolutionConfiguration;
using TreeWriter::SolutionContents;
using TreeWriter::SolutionProject;

namespace
{
constexpr const char *SolutionFooter = R"(
Where projects hold the same path, the one with the highest priority wins.

Example:
  morv solution --root /srv/MORV --name suite --release 0.0.1.0 --project client=1.0.0.7:10 \
      --project data=1.2.0.3:20 --configuration default=client,data --use client,data)";

struct SolutionOptions
{
    std::string root;
    std::string name;
    std::string release;
    std::vector<std::string> projects;
    std::vector<std::string> configurations;
    std::string use;
    bool force = false;
};

std::vector<std::string> SplitAtCommas(const std::string &text)
{
    std::vector<std::string> parts;
    for (std::size_t begin = 0; begin < text.size();)
    {
        const std::size_t end = std::min(text.find(',', begin), text.size());
        parts.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return parts;
}

SolutionProject ParseProject(const std::string &text)
{
    const std::size_t equals = text.find('=');
    const std::size_t colon = text.find(':', equals == std::string::npos ? 0 : equals);
    SolutionProject project;
    const char *end = text.data() + text.size();
    const bool parsed = equals != std::string::npos && equals > 0 && colon != std::string::npos;
    const auto priority = std::from_chars(parsed ? text.data() + colon + 1 : end, end, project.priority);
    if (!parsed || priority.ec != std::errc() || priority.ptr != end)
    {
        throw UsageError("\"" + text + "\" is no project: NAME=VERSION:PRIORITY, as in client=1.0.0.7:10");
    }
    project.name = text.substr(0, equals);
    project.version = ParseVersionOption(text.substr(equals + 1, colon - equals - 1));
    return project;
}

SolutionConfiguration ParseConfiguration(const std::string &text)
{
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos || equals == 0)
    {
        throw UsageError("\"" + text + "\" is no configuration: NAME=PROJECT,PROJECT, as in default=client,data");
    }
    SolutionConfiguration configuration{text.substr(0, equals), SplitAtCommas(text.substr(equals + 1))};
    if (configuration.projects.empty())
    {
        throw UsageError("\"" + text + "\" uses no project, and the library starts with none: name at least one");
    }
    return configuration;
}

SolutionContents ParseSolution(const SolutionOptions &options)
{
    SolutionContents solution;
    solution.name = options.name;
    solution.release = ParseVersionOption(options.release);
    for (const std::string &project : options.projects)
    {
        solution.projects.push_back(ParseProject(project));
    }
    for (const std::string &configuration : options.configurations)
    {
        solution.configurations.push_back(ParseConfiguration(configuration));
    }
    return solution;
}

/// The projects in use: those of --use, else those of the first configuration, else all.
SolutionConfiguration ChooseConfiguration(const SolutionOptions &options, const SolutionContents &solution)
{
    const bool hasConfiguration = !solution.configurations.empty();
    SolutionConfiguration chosen;
    chosen.name = hasConfiguration ? solution.configurations.front().name : "default";
    if (!options.use.empty())
    {
        chosen.projects = SplitAtCommas(options.use);
    }
    else if (hasConfiguration)
    {
        chosen.projects = solution.configurations.front().projects;
    }
    else
    {
        for (const SolutionProject &project : solution.projects)
        {
            chosen.projects.push_back(project.name);
        }
    }
    return chosen;
}

void RequireProjectsInUse(const SolutionContents &solution, const SolutionConfiguration &configuration)
{
    for (const std::string &name : configuration.projects)
    {
        const bool known = std::any_of(solution.projects.begin(), solution.projects.end(),
                                       [&](const auto &project)
                                       {
                                           return TreeReader::EqualsIgnoringCase(project.name, name);
                                       });
        if (!known)
        {
            // Built once. NOLINTNEXTLINE(performance-inefficient-string-concatenation)
            throw TreeError("\"" + name + "\" is to be used but is no project of the solution: add --project " + name +
                            "=VERSION:PRIORITY");
        }
    }
}

/// One release that is missing keeps the whole solution from starting.
void RequireReleases(const TreePlaces &tree, const SolutionContents &solution)
{
    for (const SolutionProject &project : solution.projects)
    {
        TreeWriter::RequireUsableName("project", project.name);
        const fs::path manifest = tree.ReleaseManifest(project.name, project.version);
        std::error_code error;
        if (!fs::exists(manifest, error))
        {
            throw TreeError("there is no release " + FormatVersion(project.version) + " of " + project.name +
                            ", and without it the solution would not start: make it with \"morv pack\" (" +
                            manifest.string() + " is missing)");
        }
    }
}

Json SolutionDocument(const TreePlaces &tree, const SolutionContents &solution,
                      const SolutionConfiguration &configuration)
{
    Json document = NewDocument("solution");
    document["root"] = TextValue(tree.GetRoot().string());
    document["name"] = TextValue(solution.name);
    document["version"] = FormatVersion(solution.release);
    document["projects"] = Json::array();
    for (const SolutionProject &project : solution.projects)
    {
        document["projects"].push_back({{"name", TextValue(project.name)},
                                        {"version", FormatVersion(project.version)},
                                        {"priority", project.priority}});
    }
    document["configuration"] = TextValue(configuration.name);
    document["inUse"] = Json::array();
    for (const std::string &project : configuration.projects)
    {
        document["inUse"].push_back(TextValue(project));
    }
    document["place"] = TextValue(tree.Solution(solution.name, solution.release).string());
    return document;
}

/// Takes back a release that was begun. What hinders that is not told beside why it could not be written.
void RemoveBegun(const fs::path &release)
{
    try
    {
        TreeWriter::RemoveTree(release);
        std::error_code error;
        fs::remove(release.parent_path(), error); // where no other release is there
    }
    catch (const std::exception &)
    {
        // It stays, and --force replaces it.
    }
}

/// A new release that cannot be written whole leaves nothing.
void WriteManifests(const fs::path &release, const SolutionContents &solution,
                    const SolutionConfiguration &configuration)
{
    const std::string solutionText = TreeWriter::BuildSolutionManifest(solution);
    const std::string configurationText = TreeWriter::BuildConfigurationManifest(configuration);
    const bool isNew = !fs::exists(release);
    try
    {
        fs::create_directories(release / MORV::Reader::DeployDirectory);
        // What was published of the solution that is replaced.
        fs::remove(release / TreeReader::ShipListSignatureName);
        fs::remove(release / TreeReader::ShipListName);
        TreeWriter::ReplaceFile(release / MORV::Reader::ConfigurationManifestName, configurationText);
        TreeWriter::ReplaceFile(release / MORV::Reader::SolutionManifestName, solutionText);
    }
    catch (...)
    {
        if (isNew)
        {
            RemoveBegun(release);
        }
        throw;
    }
}

TreeWriter::WriteLocks LockAll(const TreePlaces &tree, const SolutionContents &solution)
{
    std::vector<std::string> projects;
    for (const SolutionProject &project : solution.projects)
    {
        projects.push_back(project.name);
    }
    return {tree.GetRoot(), projects, {solution.name}, [] {}};
}

ExitCode WriteSolution(const SolutionOptions &options, const SolutionContents &solution, const CommonOptions &common)
{
    const TreePlaces tree(TreeWriter::RequireUsableRoot(ChooseRoot(options.root)));
    TreeWriter::RequireUsableName("solution", solution.name);
    TreeWriter::RequireRootForSolutions(tree.GetRoot());
    RequireReleases(tree, solution);
    const SolutionConfiguration configuration = ChooseConfiguration(options, solution);
    RequireProjectsInUse(solution, configuration);

    // Nobody removes a release that is looked for here before the solution is there, which then keeps it.
    const TreeWriter::WriteLocks locks = LockAll(tree, solution);
    RequireReleases(tree, solution);
    const fs::path release = tree.Solution(solution.name, solution.release);
    const fs::path manifest = release / MORV::Reader::SolutionManifestName;
    if (fs::exists(manifest) && !options.force)
    {
        throw TreeError("release " + options.release + " of the solution " + solution.name +
                        " is already there: choose another --release, or replace it with --force");
    }
    WriteManifests(release, solution, configuration);
    if (common.json)
    {
        PrintDocument(SolutionDocument(tree, solution, configuration));
    }
    else if (!common.quiet)
    {
        WriteOutput(fmt::format("{} {}: {}, {} in use\n  {}\n", Shown(solution.name), options.release,
                                CountText(solution.projects.size(), "project"), configuration.projects.size(),
                                Shown(release.string())));
    }
    return ExitDone;
}
} // namespace

void AddSolutionCommand(CommandSet &commands)
{
    const auto options = std::make_shared<SolutionOptions>();
    CLI::App &command =
        commands.Add({"solution", "Bind releases of several projects into one file system", SolutionFooter, true},
                     [&commands, options]
                     {
                         return WriteSolution(*options, ParseSolution(*options), commands.GetCommon());
                     });
    command.add_option("--root", options->root, "The deployment tree, a directory named MORV (default: $MORV_ROOT)")
        ->type_name("DIR");
    command.add_option("--name", options->name, "The solution's name")->type_name("NAME")->required();
    command.add_option("--release", options->release, "The solution's release, as in 0.0.1.0")
        ->type_name("VERSION")
        ->required();
    command
        .add_option("--project", options->projects, "A project; the higher its priority, the earlier it is searched")
        ->type_name("NAME=VERSION:PRIORITY")
        ->allow_extra_args(false)
        ->required();
    command.add_option("--configuration", options->configurations, "A named set of the projects")
        ->type_name("NAME=PROJECT,...")
        ->allow_extra_args(false);
    command
        .add_option("--use", options->use,
                    "The projects in use here; without it those of the first configuration, or all")
        ->type_name("PROJECT,...");
    command.add_flag("--force", options->force, "Replace a release of the solution that is already there");
}
} // namespace Keld::Morv
