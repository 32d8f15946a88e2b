#include "KeldMorvIO/environment/ConfigurationManifest.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/file/StreamCloser.h"
#include "KeldMorvIO/ReaderLog.h"
#include "KeldMorvIO/TreeWords.h"
#include "KeldMorvIO/blocks/WholeFile.h"
#include "KeldMorvIO/environment/ManifestFields.h"
#include "KeldMorvIO/environment/ManifestSteps.h"

#include <algorithm>

namespace Keld::MORV::Reader
{
namespace
{
// A count may promise four billion names. This many may be missing behind the end of the file before it is refused.
constexpr uint32 MissingNameLimit = 65536;

constexpr const char *LoadSignature = "HRESULT Keld::MORV::Reader::ConfigurationManifest::Load(const std::string &)";

// A load that failed keeps its code, whatever the close says.
HRESULT CloseAfter(HRESULT result, FILE *file)
{
    if (std_fclose(file) == 0)
    {
        return result;
    }
    const int error = std_errno();
    LogErrorText(LoadSignature, error);
    return result >= 0 && error != 0 ? E_FAIL : result;
}
} // namespace

HRESULT ConfigurationManifest::Load(const std::string &path)
{
    LogProgress("%s: (\"%s\")", LoadSignature, path.c_str());
    mProjects.clear();

    FILE *stream = nullptr;
    const errno_t openError = morv_fopen_ready_s(&stream, path.c_str(), "rt");
    if (openError != 0 || stream == nullptr)
    {
        // Twice, as two levels of a checked open would report it.
        LogErrorText(LoadSignature, std_errno());
        LogErrorText(LoadSignature, std_errno());
        LogError("%s: Failed to open configuration file \"%s\".", LoadSignature, path.c_str());
        return E_FAIL;
    }
    Stream file(stream);
    const HRESULT result = LoadFields(file.get());
    return CloseAfter(result, file.release());
}

HRESULT ConfigurationManifest::LoadFields(FILE *const file)
{
    ManifestSteps steps(LoadSignature);
    std::string magic;
    uint32 version = 0;
    DWORD count = 0;
    const bool complete =
        steps.Take(ReadString(file, magic, ManifestLineLimit), "%s: Failure while getting magic string") &&
        steps.Require(std_stricmp(magic.c_str(), ConfigurationManifestMagic) == 0, "%s: Magic string does not match") &&
        steps.Take(ReadVersion(file, version), "%s: Failed to read version") &&
        steps.Require(version == TextManifestVersion, "%s: File version mismatch") &&
        steps.Take(ReadString(file, mName, ManifestLineLimit), "%s: Failed to read configuration name") &&
        steps.Take(ReadDWORD(file, count), "%s: Failed to read project count");
    return complete ? LoadProjectNames(file, count) : steps.GetResult();
}

HRESULT ConfigurationManifest::LoadProjectNames(FILE *const file, DWORD count)
{
    uint32 missing = 0;
    std::string name;
    for (DWORD index = 0; index < count; ++index)
    {
        HRESULT result = ReadString(file, name, ManifestLineLimit);
        if (result >= 0 && name.empty() && std_feof(file) != 0 && ++missing > MissingNameLimit)
        {
            result = E_FAIL;
        }
        if (result < 0)
        {
            LogError("%s: Failed to read project name %d of %d", LoadSignature, static_cast<int>(index),
                     static_cast<int>(count));
            return result;
        }
        mProjects.push_back(name); // a copy, which is as long as the name: what was read keeps room for a whole line
    }
    return S_OK;
}

HRESULT ConfigurationManifest::AddProject(const std::string &name)
{
    constexpr const char *signature =
        "HRESULT Keld::MORV::Reader::ConfigurationManifest::AddProject(const std::string &)";
    const auto range = std::equal_range(mProjects.begin(), mProjects.end(), name);
    if (range.first != range.second)
    {
        LogError("%s: Duplicate entry", signature);
        return E_FAIL;
    }
    mProjects.insert(range.first, name);
    return S_OK;
}
} // namespace Keld::MORV::Reader
