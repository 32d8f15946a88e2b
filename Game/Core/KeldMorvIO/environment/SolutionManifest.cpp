#include "KeldMorvIO/environment/SolutionManifest.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/file/StreamCloser.h"
#include "KeldMorvIO/ReaderLog.h"
#include "KeldMorvIO/TreeWords.h"
#include "KeldMorvIO/environment/ManifestFields.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <limits>

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
    const long value = std::strtol(text, nullptr, 10);
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

// Reads the project names of one configuration, sorted. The first duplicate ends them: behind the end of the file
// every further name would be one.
HRESULT ReadProjectNames(FILE *const file, DWORD count, std::vector<std::string> &names)
{
    for (DWORD index = 0; index < count; ++index)
    {
        std::string name;
        const HRESULT result = ReadString(file, name, ManifestLineLimit);
        if (result < 0)
        {
            LogError("%s: Failed to read name of project in configuration", LoadConfigurationsSignature);
            return result;
        }
        const auto range = std::equal_range(names.begin(), names.end(), name, ManifestNameOrder());
        if (range.first != range.second)
        {
            LogError("%s: Duplicate project in configuration", LoadConfigurationsSignature);
            return E_FAIL;
        }
        names.insert(range.first, name);
    }
    return S_OK;
}
} // namespace

HRESULT SolutionManifest::Load(const std::string &path)
{
    constexpr const char *signature = "HRESULT Keld::MORV::Reader::SolutionManifest::Load(const std::string &)";
    LogProgress("%s: (\"%s\")", signature, path.c_str());
    mProjects.clear();
    mConfigurations.clear();

    const Stream file(std_fopen(path.c_str(), "rt"));
    if (file == nullptr)
    {
        LogErrorText(signature, std_errno());
        LogError("%s: Failed to open \"%s\".", signature, path.c_str());
        return E_FAIL;
    }
    if (LoadHeader(file.get()) < 0)
    {
        LogError("%s: Failed to load header", signature);
        return E_FAIL;
    }
    if (LoadProjects(file.get()) < 0)
    {
        LogError("%s: Failed to load projects", signature);
        return E_FAIL;
    }
    if (LoadConfigurations(file.get()) < 0)
    {
        LogError("%s: Failed to load configurations", signature);
        return E_FAIL;
    }
    return S_OK;
}

HRESULT SolutionManifest::LoadHeader(FILE *const file)
{
    constexpr const char *signature = "HRESULT Keld::MORV::Reader::SolutionManifest::LoadHeader(FILE *const)";
    std::string text;
    HRESULT result = ReadString(file, text, ManifestLineLimit);
    if (result < 0)
    {
        LogError("%s: Failure while getting magic string", signature);
        return result;
    }
    if (std_stricmp(text.c_str(), SolutionManifestMagic) != 0)
    {
        LogError("%s: Magic string does not match", signature);
        return E_FAIL;
    }

    result = ReadString(file, text, ManifestLineLimit);
    if (result < 0)
    {
        LogError("%s: Failure while getting file version string", signature);
        return result;
    }
    // A text that is no version counts as version 0.
    MorvVersion fileVersion = 0;
    ParseVersion(text.c_str(), &fileVersion);
    if (fileVersion != TextManifestVersion)
    {
        LogError("%s: File version mismatch", signature);
        return E_FAIL;
    }

    result = ReadString(file, mName, ManifestLineLimit);
    if (result < 0)
    {
        LogError("%s: Failed to read solution name", signature);
        return result;
    }
    result = ReadString(file, text, ManifestLineLimit);
    if (result < 0)
    {
        LogError("%s: Failure while getting solution version string", signature);
        return result;
    }
    if (!ParseVersion(text.c_str(), &mVersion))
    {
        LogError("%s: Invalid format for solution version string \"%s\".", signature, text.c_str());
        return E_FAIL;
    }
    return S_OK;
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
    std::string name;
    HRESULT result = ReadString(file, name, ManifestLineLimit);
    if (result < 0)
    {
        LogError("%s: Failed to read project name", LoadProjectsSignature);
        return result;
    }
    MorvVersion version = UnknownVersion;
    result = ReadMorvVersion(file, version);
    if (result < 0)
    {
        LogError("%s: Failed to read project version", LoadProjectsSignature);
        return result;
    }
    DWORD priority = 0;
    result = ReadDWORD(file, priority);
    if (result < 0)
    {
        LogError("%s: Failed to read priority", LoadProjectsSignature);
        return result;
    }
    DWORD flags = 0;
    result = ReadDWORD(file, flags);
    if (result < 0)
    {
        LogError("%s: Failed to read flags", LoadProjectsSignature);
        return result;
    }
    result = AddProject(name, version, priority, flags);
    if (result < 0)
    {
        LogError("%s: Failed to add project", LoadProjectsSignature);
    }
    return result;
}

HRESULT SolutionManifest::AddProject(const std::string &name, MorvVersion version, DWORD priority, DWORD flags)
{
    const auto range = std::equal_range(mProjects.begin(), mProjects.end(), name, ManifestNameOrder());
    if (range.first != range.second)
    {
        return E_FAIL;
    }
    mProjects.insert(range.first, PROJECT{name, version, priority, flags});
    return S_OK;
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
    std::string name;
    HRESULT result = ReadString(file, name, ManifestLineLimit);
    if (result < 0)
    {
        LogError("%s: Failed to read name", LoadConfigurationsSignature);
        return result;
    }
    DWORD flags = 0;
    result = ReadDWORD(file, flags);
    if (result < 0)
    {
        LogError("%s: Failed to read flags", LoadConfigurationsSignature);
        return result;
    }
    DWORD projectCount = 0;
    result = ReadDWORD(file, projectCount);
    if (result < 0)
    {
        LogError("%s: Failed to read project count", LoadConfigurationsSignature);
        return result;
    }
    std::vector<std::string> projects;
    result = ReadProjectNames(file, projectCount, projects);
    if (result < 0)
    {
        return result;
    }
    result = AddConfiguration(name, projects, flags);
    if (result < 0)
    {
        LogError("%s: Failed to add configuration", LoadConfigurationsSignature);
    }
    return result;
}

HRESULT SolutionManifest::AddConfiguration(const std::string &name, const std::vector<std::string> &projects,
                                           const DWORD flags)
{
    constexpr const char *signature = "HRESULT Keld::MORV::Reader::SolutionManifest::AddConfiguration(const "
                                      "std::string &, const std::vector<std::string> &, const DWORD)";
    for (const std::string &project : projects)
    {
        if (!std::binary_search(mProjects.begin(), mProjects.end(), project, ManifestNameOrder()))
        {
            LogError("%s: Configuration references unknown project.  Add projects before configurations.", signature);
            return E_FAIL;
        }
    }
    CONFIGURATION configuration{name, flags, projects};
    const auto range = std::equal_range(mConfigurations.begin(), mConfigurations.end(), name, ManifestNameOrder());
    if (range.first != range.second)
    {
        return E_FAIL;
    }
    mConfigurations.insert(range.first, std::move(configuration));
    return S_OK;
}
} // namespace Keld::MORV::Reader
