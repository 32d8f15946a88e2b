#include "KeldMorvIO/environment/WorkingDirectory.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/path/Path.h"
#include "KeldMorvIO/ReaderLog.h"
#include "KeldMorvIO/ReaderTypes.h"
#include "KeldMorvIO/TreeWords.h"

namespace Keld::MORV::Reader
{
namespace
{
// The start of a path's last, or first, "<directory>/". Null when it has none.
const char *FindLast(const char *path, const char *directory)
{
    return std_strrstr(path, (std::string(directory) + "/").c_str());
}

const char *FindFirst(const char *path, const char *directory)
{
    return std_strstr(path, (std::string(directory) + "/").c_str());
}

const char *Behind(const char *found, const char *directory)
{
    return found + std_strlen(directory) + 1;
}

// `start` points into `path`, directly behind the keyword. Whatever lies between the name and the releases is skipped
// over. `name` keeps its text when a later step fails.
bool DetectNameAndRelease([[maybe_unused]] const char *path, const char *start, std::string &name, MorvVersion &release)
{
    constexpr const char *signature = "bool Keld::MORV::Reader::DetectNameAndRelease(const char *, const char *, "
                                      "std::string &, MorvVersion &)";
    const char *const nameEnd = std_strchr(start, '/');
    if (nameEnd == nullptr)
    {
        return false;
    }
    name.assign(start, nameEnd);

    const char *const releases = FindFirst(start, ReleasesDirectory);
    if (releases == nullptr)
    {
        return false;
    }
    const char *const versionStart = Behind(releases, ReleasesDirectory);
    const char *const versionEnd = std_strchr(versionStart, '/');
    const std::string versionText =
        versionEnd != nullptr ? std::string(versionStart, versionEnd) : std::string(versionStart);
    if (name.empty() || versionText.empty())
    {
        return false;
    }
    if (!ParseVersion(versionText.c_str(), &release))
    {
        LogError("%s: Invalid release format \"%s\".", signature, versionText.c_str());
        return false;
    }
    return true;
}
} // namespace

std::string GetMorvRootDirectory(const char *path)
{
    char root[PathBufferSize];
    std_strncpy(root, sizeof root, path, TRUNCATE);
    CanonicalizePath(root, root, 0);
    const char *const word = FindLast(root, RootDirectory);
    return word != nullptr ? std::string(static_cast<const char *>(root), word + std_strlen(RootDirectory))
                           : std::string(root);
}

bool GetProjectTypeNameAndVersion(const char *path, RuntimeType &type, std::string &name, MorvVersion &version)
{
    // Named in the log as the operation of the class that offers it.
    constexpr const char *signature =
        "static bool Keld::MORV::Reader::RuntimeEnvironment::GetProjectTypeNameAndVersion(const char *, "
        "RuntimeEnvironment::RuntimeType &, std::string &, MorvVersion &)";
    const char *start = nullptr;
    // Projects first, over the whole path: a path with both words is a project, whichever comes later.
    if (const char *const projects = FindLast(path, ProjectsDirectory))
    {
        type = RuntimeTypeProject;
        start = Behind(projects, ProjectsDirectory);
    }
    else if (const char *const solutions = FindLast(path, SolutionsDirectory))
    {
        type = RuntimeTypeSolution;
        start = Behind(solutions, SolutionsDirectory);
    }
    else
    {
        LogWarning("%s: Did not find keywords \"projects\" or \"solutions\" in path %s", signature, path);
        return false;
    }
    if (*start == '\0')
    {
        LogError("%s: Incomplete path: %s", signature, path);
        return false;
    }
    if (!DetectNameAndRelease(path, start, name, version))
    {
        LogError("%s: Failed to determine name and version from the path %s", signature, path);
        return false;
    }
    return true;
}
} // namespace Keld::MORV::Reader
