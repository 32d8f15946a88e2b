#include "KeldMorvIO/environment/SolutionManifest.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/CStd/ReadyFiles.h"
#include "KeldFoundation/file/StreamCloser.h"
#include "KeldMorvIO/ReaderLog.h"
#include "KeldMorvIO/TreeWords.h"
#include "KeldMorvIO/environment/ManifestFields.h"
#include "KeldMorvIO/environment/ManifestSteps.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <set>

namespace Keld::MORV::Reader
{
namespace
{
constexpr MorvVersion UnknownVersion = 0xFFFFFFFF;

constexpr const char *LoadProjectsSignature = "HRESULT Keld::MORV::Reader::SolutionManifest::LoadProjects(FILE *const)";
constexpr const char *LoadConfigurationsSignature =
    "HRESULT Keld::MORV::Reader::SolutionManifest::LoadConfigurations(FILE *const)";

// `atoi` on a platform where `long` has 32 bits: saturates, with ERANGE. Decimal only, unlike the other numbers of the
// file.
int ParseCount(const char *text)
{
    const long value = std_strtol(text, nullptr, 10);
    const long count = std::clamp<long>(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max());
    if (count != value)
    {
        errno = ERANGE;
    }
    return static_cast<int>(count);
}

// At the end of the file the count is 0, unless an old error number makes the line a failure. Both tables share the
// text of that failure.
HRESULT ReadCount(FILE *const file, int &count, const char *signature)
{
    char line[ManifestLineLimit];
    if (!ReadLine(file, line, sizeof line, signature))
    {
        LogError("%s: fgets failed while reading project count", signature);
        return E_FAIL;
    }
    count = ParseCount(line);
    return S_OK;
}

// What is no version counts as version 0.
MorvVersion VersionOrZero(const std::string &text)
{
    MorvVersion version = 0;
    ParseVersion(text.c_str(), &version);
    return version;
}

// Reads the project names of one configuration, sorted. The first duplicate ends them: behind the end of the file
// every further name would be one.
bool TakeProjectNames(ManifestSteps &steps, FILE *const file, DWORD count, std::vector<std::string> &names)
{
    std::set<std::string, ManifestNameOrder> sorted;
    bool complete = true;
    for (DWORD index = 0; complete && index < count; ++index)
    {
        std::string name;
        complete = steps.Take(ReadString(file, name, ManifestLineLimit),
                              "%s: Failed to read name of project in configuration") &&
                   steps.Require(sorted.insert(name).second, "%s: Duplicate project in configuration");
    }
    names.assign(sorted.begin(), sorted.end());
    return complete;
}
} // namespace

HRESULT SolutionManifest::Load(const std::string &path)
{
    constexpr const char *signature = "HRESULT Keld::MORV::Reader::SolutionManifest::Load(const std::string &)";
    LogProgress("%s: (\"%s\")", signature, path.c_str());
    mProjects.clear();
    mConfigurations.clear();

    const Stream file(std_fopen_ready(path.c_str()));
    if (file == nullptr)
    {
        LogErrorText(signature, std_errno());
        LogError("%s: Failed to open \"%s\".", signature, path.c_str());
        return E_FAIL;
    }
    ManifestSteps steps(signature);
    const bool complete = steps.Take(LoadHeader(file.get()), "%s: Failed to load header") &&
                          steps.Take(LoadProjects(file.get()), "%s: Failed to load projects") &&
                          steps.Take(LoadConfigurations(file.get()), "%s: Failed to load configurations");
    return complete ? S_OK : E_FAIL;
}

HRESULT SolutionManifest::LoadHeader(FILE *const file)
{
    constexpr const char *signature = "HRESULT Keld::MORV::Reader::SolutionManifest::LoadHeader(FILE *const)";
    ManifestSteps steps(signature);
    std::string magic;
    std::string fileVersion;
    std::string version;
    const bool complete =
        steps.Take(ReadString(file, magic, ManifestLineLimit), "%s: Failure while getting magic string") &&
        steps.Require(std_stricmp(magic.c_str(), SolutionManifestMagic) == 0, "%s: Magic string does not match") &&
        steps.Take(ReadString(file, fileVersion, ManifestLineLimit), "%s: Failure while getting file version string") &&
        steps.Require(VersionOrZero(fileVersion) == TextManifestVersion, "%s: File version mismatch") &&
        steps.Take(ReadString(file, mName, ManifestLineLimit), "%s: Failed to read solution name") &&
        steps.Take(ReadString(file, version, ManifestLineLimit), "%s: Failure while getting solution version string");
    if (complete && !ParseVersion(version.c_str(), &mVersion))
    {
        LogError("%s: Invalid format for solution version string \"%s\".", signature, version.c_str());
        return E_FAIL;
    }
    return steps.GetResult();
}

HRESULT SolutionManifest::LoadProjects(FILE *const file)
{
    int count = 0;
    HRESULT result = ReadCount(file, count, LoadProjectsSignature);
    for (int index = 0; result >= 0 && index < count; ++index)
    {
        result = LoadProject(file);
    }
    return result;
}

HRESULT SolutionManifest::LoadProject(FILE *const file)
{
    ManifestSteps steps(LoadProjectsSignature);
    std::string name;
    MorvVersion version = UnknownVersion;
    DWORD priority = 0;
    DWORD flags = 0;
    const bool complete = steps.Take(ReadString(file, name, ManifestLineLimit), "%s: Failed to read project name") &&
                          steps.Take(ReadMorvVersion(file, version), "%s: Failed to read project version") &&
                          steps.Take(ReadDWORD(file, priority), "%s: Failed to read priority") &&
                          steps.Take(ReadDWORD(file, flags), "%s: Failed to read flags");
    if (complete)
    {
        steps.Take(AddProject(name, version, priority, flags), "%s: Failed to add project");
    }
    return steps.GetResult();
}

HRESULT SolutionManifest::AddProject(const std::string &name, MorvVersion version, DWORD priority, DWORD flags)
{
    return mProjects.insert(PROJECT{name, version, priority, flags}).second ? S_OK : E_FAIL;
}

HRESULT SolutionManifest::LoadConfigurations(FILE *const file)
{
    int count = 0;
    HRESULT result = ReadCount(file, count, LoadConfigurationsSignature);
    for (int index = 0; result >= 0 && index < count; ++index)
    {
        result = LoadConfiguration(file);
    }
    return result;
}

HRESULT SolutionManifest::LoadConfiguration(FILE *const file)
{
    ManifestSteps steps(LoadConfigurationsSignature);
    std::string name;
    DWORD flags = 0;
    DWORD projectCount = 0;
    std::vector<std::string> projects;
    const bool complete = steps.Take(ReadString(file, name, ManifestLineLimit), "%s: Failed to read name") &&
                          steps.Take(ReadDWORD(file, flags), "%s: Failed to read flags") &&
                          steps.Take(ReadDWORD(file, projectCount), "%s: Failed to read project count") &&
                          TakeProjectNames(steps, file, projectCount, projects);
    if (complete)
    {
        steps.Take(AddConfiguration(name, projects, flags), "%s: Failed to add configuration");
    }
    return steps.GetResult();
}

HRESULT SolutionManifest::AddConfiguration(const std::string &name, const std::vector<std::string> &projects,
                                           const DWORD flags)
{
    constexpr const char *signature = "HRESULT Keld::MORV::Reader::SolutionManifest::AddConfiguration(const "
                                      "std::string &, const std::vector<std::string> &, const DWORD)";
    for (const std::string &project : projects)
    {
        if (mProjects.find(project) == mProjects.end())
        {
            LogError("%s: Configuration references unknown project.  Add projects before configurations.", signature);
            return E_FAIL;
        }
    }
    return mConfigurations.insert(CONFIGURATION{name, flags, projects}).second ? S_OK : E_FAIL;
}
} // namespace Keld::MORV::Reader
