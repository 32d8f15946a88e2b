#include "Tools/TreeChecker/SolutionCheck.h"

#include "KeldMorvIO/LogCapture.h"
#include "KeldMorvIO/TreeWords.h"
#include "KeldMorvIO/environment/ConfigurationManifest.h"
#include "KeldMorvIO/environment/SolutionManifest.h"

#include <algorithm>

namespace Keld::TreeChecker
{
using TreeReader::FaultKind;

void CheckSolution(const std::string &directory, const TreeReader::ReleaseName &name, uint32 user, CheckReport &report)
{
    const std::string solutionPath = directory + "/" + MORV::Reader::SolutionManifestName;
    const std::string configurationPath = directory + "/" + MORV::Reader::ConfigurationManifestName;
    MORV::Reader::SolutionManifest solution;
    MORV::Reader::ConfigurationManifest configuration;
    const MORV::Reader::LogCapture quiet;
    if (solution.Load(solutionPath) < 0 || configuration.Load(configurationPath) < 0)
    {
        return; // told by whoever opened the solution
    }
    const auto addNote = [&](const std::string &path, const std::string &text)
    {
        report.notes.push_back({{FaultKind::WrongName, path, text}, {}, {}, {}, {user}});
    };
    if (solution.GetName() != name.name || solution.GetVersion() != name.version)
    {
        addNote(solutionPath, "says that it is " + solution.GetName() + " " + FormatVersion(solution.GetVersion()) +
                                  ", and its directory says " + name.name + " " + FormatVersion(name.version));
    }
    const auto known = solution.GetConfigurations();
    if (known.empty())
    {
        return; // as "morv solution" writes it for whoever names none
    }
    const auto match = std::find_if(known.begin(), known.end(),
                                    [&configuration](const auto &candidate)
                                    {
                                        return candidate.name == configuration.GetName();
                                    });
    std::vector<std::string> projects = configuration.GetProjects();
    std::sort(projects.begin(), projects.end(), MORV::Reader::ManifestNameOrder());
    if (match == known.end())
    {
        addNote(configurationPath, "uses a configuration \"" + configuration.GetName() +
                                       "\" that the solution does not list, which is allowed");
    }
    else if (match->projects != projects)
    {
        addNote(configurationPath, "uses other projects than the solution lists for the configuration \"" +
                                       configuration.GetName() + "\", which is allowed");
    }
}
} // namespace Keld::TreeChecker
