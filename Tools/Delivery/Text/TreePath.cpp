#include "Tools/Delivery/Text/TreePath.h"

#include "Tools/TreeReader/ShipListNames.h"

#include "KeldMorvIO/TreeWords.h"
#include "KeldMorvIO/archive/ArchiveFormat.h"

#include <string_view>
#include <vector>

namespace Keld::Delivery
{
using TreeReader::Failure;
using TreeReader::Fault;
using TreeReader::FaultKind;
using TreeReader::Result;

namespace
{
constexpr uint_size PathLimit = 1024; // bytes, the NUL of the library's buffers included

using Names = std::vector<std::string_view>;

Names SplitPath(std::string_view path)
{
    Names names;
    for (uint_size begin = 0; begin <= path.size();)
    {
        const uint_size end = std::min(path.find('/', begin), path.size());
        names.push_back(path.substr(begin, end - begin));
        begin = end + 1;
    }
    return names;
}

bool IsPlainName(std::string_view name)
{
    return !name.empty() && name != "." && name != ".." && name.find('\0') == std::string_view::npos &&
           name.find('/') == std::string_view::npos;
}

bool ReadVersion(std::string_view text, MorvVersion &version)
{
    const std::string terminated(text);
    return ParseVersion(terminated.c_str(), &version) && FormatVersion(version) == terminated;
}

bool ReadReleaseFile(const Names &names, FileRole &role)
{
    if (names.size() > 5 && names[4] == MORV::Reader::DeployDirectory)
    {
        role = FileRole::NakedFile;
        return true;
    }
    if (names.size() != 5)
    {
        return false;
    }
    const bool known = names[4] == MORV::Reader::ReleaseManifestName || names[4] == TreeReader::ShipListName ||
                       names[4] == TreeReader::ShipListSignatureName;
    role = names[4] == MORV::Reader::ReleaseManifestName ? FileRole::ReleaseManifest
           : names[4] == TreeReader::ShipListName        ? FileRole::ShipList
                                                         : FileRole::ShipListSignature;
    return known;
}

bool ReadProjectFile(const Names &names, FileRole &role)
{
    if (names[2] == MORV::Reader::ReleasesDirectory)
    {
        return ReadReleaseFile(names, role);
    }
    if (names[2] == MORV::Reader::ManagedFilesDirectory)
    {
        role = FileRole::ManagedFile;
        return true;
    }
    if (names[2] != MORV::Reader::FileArchivesDirectory || names.size() != 5)
    {
        return false;
    }
    const std::string indexSuffix = std::string(".") + MORV::Reader::ArchiveIndexExtension;
    const bool isIndex = names[4].ends_with(indexSuffix);
    const bool isData = names[4].ends_with(indexSuffix + "." + MORV::Reader::ArchiveDataExtension);
    role = isIndex ? FileRole::ArchiveIndex : FileRole::ArchiveData;
    return isIndex || isData;
}

bool ReadSolutionFile(const Names &names, FileRole &role)
{
    if (names[2] != MORV::Reader::ReleasesDirectory || names.size() != 5)
    {
        return false;
    }
    if (names[4] == MORV::Reader::SolutionManifestName)
    {
        role = FileRole::SolutionManifest;
        return true;
    }
    if (names[4] == MORV::Reader::ConfigurationManifestName)
    {
        role = FileRole::ConfigurationManifest;
        return true;
    }
    return ReadReleaseFile(names, role) && (role == FileRole::ShipList || role == FileRole::ShipListSignature);
}

Fault RefusePath(const std::string &path, const char *why)
{
    return {FaultKind::UnsafeName, path, why};
}
} // namespace

const char *NameOf(FileRole role)
{
    switch (role)
    {
    case FileRole::ArchiveData:
        return "archive data";
    case FileRole::ManagedFile:
        return "managed file";
    case FileRole::NakedFile:
        return "naked file";
    case FileRole::ArchiveIndex:
        return "archive index";
    case FileRole::ShipList:
        return "shiplist";
    case FileRole::ShipListSignature:
        return "signature of a shiplist";
    case FileRole::ReleaseManifest:
        return "release manifest";
    case FileRole::ConfigurationManifest:
        return "configuration manifest";
    case FileRole::SolutionManifest:
        break;
    }
    return "solution manifest";
}

Result<TreePath> ReadTreePath(const std::string &path)
{
    if (path.size() >= PathLimit)
    {
        return RefusePath(path, "is longer than a path of a tree can be");
    }
    const Names names = SplitPath(path);
    for (const std::string_view name : names)
    {
        if (!IsPlainName(name))
        {
            return RefusePath(path, "would leave the tree, or holds a name that is none");
        }
    }
    TreePath result;
    const bool isProject = names[0] == MORV::Reader::ProjectsDirectory;
    const bool isPlace = names.size() >= 5 && (isProject || names[0] == MORV::Reader::SolutionsDirectory) &&
                         ReadVersion(names[3], result.name.version);
    if (!isPlace || !(isProject ? ReadProjectFile(names, result.role) : ReadSolutionFile(names, result.role)))
    {
        return RefusePath(path, "is no place for a file of a release");
    }
    result.name.isSolution = !isProject;
    result.name.name = names[1];
    return result;
}

Failure CheckDirectoryName(const std::string &name)
{
    if (IsPlainName(name) && name.size() < PathLimit)
    {
        return std::nullopt;
    }
    return RefusePath("\"" + name + "\"", "is no name of a project or a solution");
}
} // namespace Keld::Delivery
