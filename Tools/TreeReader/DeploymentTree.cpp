#include "Tools/TreeReader/DeploymentTree.h"

#include "Tools/TreeReader/TreeError.h"

#include "KeldFoundation/CStd/Hash.h"

#include <algorithm>

namespace Keld::TreeReader
{
namespace fs = std::filesystem;

fs::path DeploymentTree::Project(std::string_view project) const
{
    return mRoot / "projects" / project;
}

fs::path DeploymentTree::Release(std::string_view project, MorvVersion release) const
{
    return Project(project) / "releases" / FormatVersion(release);
}

fs::path DeploymentTree::ReleaseManifest(std::string_view project, MorvVersion release) const
{
    return Release(project, release) / ReleaseManifestName;
}

fs::path DeploymentTree::NakedFiles(std::string_view project, MorvVersion release) const
{
    return Release(project, release) / "deploy";
}

fs::path DeploymentTree::ManagedFiles(std::string_view project, MorvVersion version) const
{
    return Project(project) / "managedfiles" / FormatVersion(version);
}

fs::path DeploymentTree::Archives(std::string_view project, MorvVersion version) const
{
    return Project(project) / "filearchives" / FormatVersion(version);
}

fs::path DeploymentTree::Solution(std::string_view solution, MorvVersion release) const
{
    return mRoot / "solutions" / solution / "releases" / FormatVersion(release);
}

MorvVersion ParseVersionText(const std::string &text)
{
    MorvVersion version = 0;
    if (!ParseVersion(text.c_str(), &version) || FormatVersion(version) != text)
    {
        throw TreeError("\"" + text + "\" is no version: write four numbers from 0 to 255, as in 1.0.0.0");
    }
    return version;
}

std::string FoldPath(std::string path)
{
    std::transform(path.begin(), path.end(), path.begin(), FoldCase);
    return path;
}

bool EqualsIgnoringCase(const std::string &left, const std::string &right)
{
    return left.size() == right.size() && std::equal(left.begin(), left.end(), right.begin(),
                                                     [](char leftByte, char rightByte)
                                                     {
                                                         return FoldCase(leftByte) == FoldCase(rightByte);
                                                     });
}
} // namespace Keld::TreeReader
