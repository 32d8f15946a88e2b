#include "Support/TestTree.h"

#include <fcntl.h>
#include <sstream>
#include <stdexcept>
#include <unistd.h>

namespace Keld::Test
{
namespace
{
constexpr std::uint32_t ManagedFlag = 0x01;
const std::string ManagedVersion = "1.0.0.0";
} // namespace

std::uint32_t VersionNumber(const std::string &text)
{
    std::istringstream stream(text);
    std::string part;
    std::uint32_t number = 0;
    while (std::getline(stream, part, '.'))
    {
        number = number << 8 | static_cast<std::uint32_t>(std::stoul(part));
    }
    return number;
}

std::string TestTree::Project(const std::string &name, const std::string &version,
                              const std::vector<ReleaseFile> &files) const
{
    const std::string project = "MORV/projects/" + name;
    const std::string release = project + "/releases/" + version;
    ManifestImage manifest(name, VersionNumber(version));
    for (const ReleaseFile &file : files)
    {
        if (file.path.ends_with('/'))
        {
            manifest.Directory(file.path.substr(0, file.path.size() - 1));
            continue;
        }
        ManifestFile record;
        record.flags = file.managed ? ManagedFlag : 0;
        record.size = static_cast<std::uint32_t>(file.content.size());
        record.version = VersionNumber(ManagedVersion);
        manifest.File(file.path, record);
        if (!file.missing)
        {
            const std::string folder = file.managed ? project + "/managedfiles/" + ManagedVersion : release + "/deploy";
            mDisk.Write(folder + "/" + file.path, file.content);
        }
    }
    mDisk.MakeDirectory(release + "/deploy");
    mDisk.Write(release + "/releasemanifest", manifest.Bytes());
    return mDisk.Path(release);
}

std::string TestTree::Solution(const std::string &name, const std::string &version,
                               const std::vector<SolutionProject> &projects) const
{
    std::vector<std::string> names;
    names.reserve(projects.size());
    for (const SolutionProject &project : projects)
    {
        names.push_back(project.name);
    }
    return Solution(name, version, projects, names);
}

std::string TestTree::Solution(const std::string &name, const std::string &version,
                               const std::vector<SolutionProject> &projects,
                               const std::vector<std::string> &configuration) const
{
    std::vector<std::string> solution = {"MORV Solution Manifest", "1.0.0.0", name, version,
                                         std::to_string(projects.size())};
    for (const SolutionProject &project : projects)
    {
        solution.insert(solution.end(), {project.name, project.version, std::to_string(project.priority), "0"});
    }
    solution.push_back("0");

    std::vector<std::string> chosen = {"MORV Configuration Manifest", "1.0.0.0", "default",
                                       std::to_string(configuration.size())};
    chosen.insert(chosen.end(), configuration.begin(), configuration.end());

    const std::string release = "MORV/solutions/" + name + "/releases/" + version;
    mDisk.MakeDirectory(release + "/deploy");
    mDisk.Write(release + "/solutionmanifest", ManifestLines(solution));
    mDisk.Write(release + "/configurationmanifest", ManifestLines(chosen));
    return mDisk.Path(release);
}

std::string ManifestLines(const std::vector<std::string> &lines, const std::string &lineEnd)
{
    std::string text;
    for (const std::string &line : lines)
    {
        text += line + lineEnd;
    }
    return text;
}

WorkingDirectory::WorkingDirectory(const std::string &path) : mPrevious(open(".", O_RDONLY | O_DIRECTORY))
{
    if (chdir(path.c_str()) != 0)
    {
        throw std::runtime_error("cannot change to " + path);
    }
}

WorkingDirectory::~WorkingDirectory()
{
    if (mPrevious >= 0 && fchdir(mPrevious) == 0)
    {
        close(mPrevious);
    }
}
} // namespace Keld::Test
