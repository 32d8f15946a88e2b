#include "Tools/TreeWriter/SolutionWriter.h"

#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeReader/TreeText.h"

#include "KeldMorvIO/TreeWords.h"

#include <set>

namespace Keld::TreeWriter
{
namespace
{
using TreeReader::FoldPath;
using TreeReader::TreeError;

constexpr std::size_t LongestLine = 1022; // the reader takes 1023 characters at once, the line end included

std::string Line(const std::string &value)
{
    if (value.size() > LongestLine || value.find_first_of(std::string("\r\n\0", 3)) != value.npos)
    {
        throw TreeError("\"" + value +
                        "\" does not fit on one line of a manifest: at most 1022 characters, no line ends");
    }
    return value + "\n";
}

std::string Line(uint64 value)
{
    return std::to_string(value) + "\n";
}

/// The two lines by which a text manifest is known.
std::string Head(const char *magic)
{
    return Line(magic) + Line(FormatVersion(MORV::Reader::TextManifestVersion));
}

void AddOnce(std::set<std::string> &names, const std::string &name, const std::string &what)
{
    if (!names.insert(FoldPath(name)).second)
    {
        throw TreeError("the " + what + " \"" + name + "\" is named twice");
    }
}

std::string ProjectLines(const SolutionConfiguration &configuration)
{
    std::string lines = Line(configuration.projects.size());
    std::set<std::string> names;
    for (const std::string &project : configuration.projects)
    {
        AddOnce(names, project, "project of configuration \"" + configuration.name + "\"");
        lines += Line(project);
    }
    return lines;
}

void RequireKnownProjects(const SolutionConfiguration &configuration, const std::set<std::string> &known)
{
    for (const std::string &project : configuration.projects)
    {
        if (known.count(FoldPath(project)) == 0)
        {
            throw TreeError("the configuration \"" + configuration.name + "\" names \"" + project +
                            "\", which is no project of the solution");
        }
    }
}
} // namespace

std::string BuildSolutionManifest(const SolutionContents &solution)
{
    std::string text = Head(MORV::Reader::SolutionManifestMagic);
    text += Line(solution.name) + Line(FormatVersion(solution.release)) + Line(solution.projects.size());
    std::set<std::string> projects;
    for (const SolutionProject &project : solution.projects)
    {
        AddOnce(projects, project.name, "project");
        text +=
            Line(project.name) + Line(FormatVersion(project.version)) + Line(project.priority) + Line(project.flags);
    }
    // The last count is written even when it is 0: a reader judges a missing line by whatever errno holds.
    text += Line(solution.configurations.size());
    std::set<std::string> configurations;
    for (const SolutionConfiguration &configuration : solution.configurations)
    {
        AddOnce(configurations, configuration.name, "configuration");
        RequireKnownProjects(configuration, projects);
        text += Line(configuration.name) + Line(configuration.flags) + ProjectLines(configuration);
    }
    return text;
}

std::string BuildConfigurationManifest(const SolutionConfiguration &configuration)
{
    return Head(MORV::Reader::ConfigurationManifestMagic) + Line(configuration.name) + ProjectLines(configuration);
}
} // namespace Keld::TreeWriter
