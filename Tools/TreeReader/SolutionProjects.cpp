#include "Tools/TreeReader/SolutionProjects.h"

#include "Tools/TreeReader/DiskFile.h"

#include "KeldFoundation/CStd/PathLimit.h"
#include "KeldMorvIO/LogCapture.h"
#include "KeldMorvIO/TreeWords.h"
#include "KeldMorvIO/environment/SearchOrder.h"

#include <algorithm>
#include <cerrno>

#include <sys/stat.h>

namespace Keld::TreeReader
{
using MORV::Reader::ConfigurationManifest;
using MORV::Reader::LogCapture;
using MORV::Reader::SolutionManifest;

namespace
{
/// The first line is the cause, the others say what it led to.
std::string CauseIn(const LogCapture &log)
{
    return log.GetFailures().empty() ? "it cannot be read" : log.GetFailures().front();
}

/// Reads one of the text manifests. What the reader would log tells what is wrong with it.
template <class Manifest>
Failure LoadTextManifest(const std::string &path, Manifest &manifest)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0)
    {
        return ExplainSystemError(path, errno);
    }
    if (!S_ISREG(status.st_mode))
    {
        return Fault{FaultKind::WrongKind, path, "is no file"};
    }
    const LogCapture log;
    if (manifest.Load(path) >= 0)
    {
        return std::nullopt;
    }
    return Fault{FaultKind::BadSolution, path, "cannot be used: " + CauseIn(log)};
}
} // namespace

Result<SolutionProjects> ReadSolutionProjects(const std::string &directory)
{
    SolutionManifest solution;
    ConfigurationManifest configuration;
    const std::string solutionPath = directory + "/" + MORV::Reader::SolutionManifestName;
    const std::string configurationPath = directory + "/" + MORV::Reader::ConfigurationManifestName;
    if (std::max(solutionPath.size(), configurationPath.size()) >= PathBufferSize)
    {
        return Fault{FaultKind::PathTooLong, directory,
                     "the paths of the solution's manifests have 1,024 bytes or more, which the library refuses"};
    }
    if (Failure failure = LoadTextManifest(solutionPath, solution))
    {
        return *failure;
    }
    if (Failure failure = LoadTextManifest(configurationPath, configuration))
    {
        return *failure;
    }
    SolutionProjects found{configuration.GetName(), {}};
    const LogCapture log;
    if (MORV::Reader::GatherInSearchOrder(configuration, solution, found.projects) < 0)
    {
        return Fault{FaultKind::BadSolution, configurationPath, "cannot be used: " + CauseIn(log)};
    }
    return found;
}
} // namespace Keld::TreeReader
