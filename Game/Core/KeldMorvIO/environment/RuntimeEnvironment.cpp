#include "KeldMorvIO/environment/RuntimeEnvironment.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/path/Path.h"
#include "KeldMorvIO/ReaderLog.h"
#include "KeldMorvIO/ReaderTypes.h"

#include <memory>

namespace Keld::MORV::Reader
{
namespace
{
// Both keywords are bare substrings: a directory in front may end in one of them, and the last occurrence counts.
constexpr const char *RootKeyword = "MORV/";
constexpr const char *ProjectKeyword = "projects/";
constexpr const char *SolutionKeyword = "solutions/";
constexpr const char *ReleaseKeyword = "releases/";

// `start` points into `path`, directly behind the keyword. Whatever lies between the name and the releases is skipped
// over. `name` keeps its text when a later step fails.
bool DetectNameAndRelease([[maybe_unused]] const char *path, const char *start, std::string &name,
                          MorvVersion &release)
{
    constexpr const char *signature = "bool Keld::MORV::Reader::DetectNameAndRelease(const char *, const char *, "
                                      "std::string &, MorvVersion &)";
    const char *const nameEnd = std_strchr(start, '/');
    if (nameEnd == nullptr)
    {
        return false;
    }
    name.assign(start, nameEnd);

    const char *const keyword = std_strstr(start, ReleaseKeyword);
    if (keyword == nullptr)
    {
        return false;
    }
    const char *const versionStart = keyword + std_strlen(ReleaseKeyword);
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

RuntimeEnvironment *RuntimeEnvironment::Create(const char *path)
{
    constexpr const char *signature =
        "static Keld::MORV::Reader::RuntimeEnvironment *Keld::MORV::Reader::RuntimeEnvironment::Create(const char *)";
    LogTrace("%s: ", signature);

    char canonical[PathBufferSize];
    RuntimeType type = RuntimeTypeProject;
    std::string name;
    MorvVersion version = 0;
    bool known = CanonicalizePathBounded(path, canonical, sizeof canonical, 0);
    std::string root;
    if (known)
    {
        root = GetMorvRootDirectory(canonical);
        LogProgress("%s: Creating MORV runtime environment: MORV root directory = \"%s\"", signature, root.c_str());
        known = GetProjectTypeNameAndVersion(canonical, type, name, version);
    }
    if (!known)
    {
        LogError("%s: MORV runtime environment creation failed because it was unable to get the project information.",
                 signature);
        return nullptr;
    }

    // Formatted anew, so that "01.02.03.04" in the path loads the release 1.2.3.4.
    const std::string versionText = FormatVersion(version);
    std::string deployRoot;
    std::vector<ProjectListing *> listings;
    if (!CollectProjects(type, root.c_str(), name.c_str(), versionText.c_str(), deployRoot, listings))
    {
        LogError("%s: MORV runtime environment creation failed because it was unable to collect the projects.",
                 signature);
        return nullptr;
    }
    return new RuntimeEnvironment(root, deployRoot, listings, type, name, version);
}

bool RuntimeEnvironment::GetProjectTypeNameAndVersion(const char *path, RuntimeEnvironment::RuntimeType &type,
                                                      std::string &name, MorvVersion &version)
{
    constexpr const char *signature =
        "static bool Keld::MORV::Reader::RuntimeEnvironment::GetProjectTypeNameAndVersion(const char *, "
        "RuntimeEnvironment::RuntimeType &, std::string &, MorvVersion &)";
    const char *start = nullptr;
    // Projects first, over the whole path: a path with both keywords is a project, whichever comes later.
    if (const char *const project = std_strrstr(path, ProjectKeyword))
    {
        type = RuntimeTypeProject;
        start = project + std_strlen(ProjectKeyword);
    }
    else if (const char *const solution = std_strrstr(path, SolutionKeyword))
    {
        type = RuntimeTypeSolution;
        start = solution + std_strlen(SolutionKeyword);
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

bool RuntimeEnvironment::CollectProjects(RuntimeType, const char *, const char *, const char *, std::string &,
                                         std::vector<class ProjectListing *> &)
{
    return true;
}

RuntimeEnvironment::RuntimeEnvironment(std::string &morvRoot, std::string &deployRoot,
                                       std::vector<ProjectListing *> &listings, RuntimeType type, std::string &name,
                                       MorvVersion version)
    : mRuntimeType(type), mVersion(version)
{
    mMorvRoot.swap(morvRoot);
    mDeployRoot.swap(deployRoot);
    mListings.swap(listings);
    mName.swap(name);
}

RuntimeEnvironment::~RuntimeEnvironment() = default;

std::string GetMorvRootDirectory(const char *path)
{
    char root[PathBufferSize];
    std_strncpy(root, sizeof root, path, TRUNCATE);
    CanonicalizePath(root, root, 0);
    const char *const keyword = std_strrstr(root, RootKeyword);
    // Ends behind the four letters: the separator is not part of the root.
    return keyword != nullptr ? std::string(static_cast<const char *>(root), keyword + std_strlen(RootKeyword) - 1)
                              : std::string(root);
}
} // namespace Keld::MORV::Reader
