#include "Tools/Delivery/Fetch/WantedSet.h"

#include "Tools/Delivery/Sources/SourceCatalogue.h"
#include "Tools/Delivery/Text/TreePath.h"
#include "Tools/TreeReader/SolutionProjects.h"
#include "Tools/TreeReader/TreeText.h"
#include "Tools/TreeWriter/DirectoryProtection.h"
#include "Tools/TreeWriter/FileOutput.h"

#include "KeldMorvIO/TreeWords.h"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <filesystem>
#include <system_error>

#include <stdlib.h>

namespace Keld::Delivery
{
namespace fs = std::filesystem;
using TreeReader::ReleaseName;

namespace
{
// What is read into memory from somebody else is bounded: a manifest of ten million files fits.
constexpr uint64 LargestManifest = uint64{1} << 30; // bytes
constexpr uint64 LargestText = 16 << 20;            // bytes, of a solution's manifests
constexpr std::size_t MostVersionsTold = 10;

/// "; it has 1.0.0.0, 1.0.0.1", where the source tells.
std::string TellWhatIsThere(Source &source, const ReleaseName &name)
{
    const auto versions = ListReleases(source, name);
    if (!versions)
    {
        return "";
    }
    if (versions->empty())
    {
        return std::string("; it has no release of that ") + (name.isSolution ? "solution" : "project");
    }
    std::string text;
    for (std::size_t index = versions->size() - std::min(versions->size(), MostVersionsTold); index < versions->size();
         ++index)
    {
        text += (text.empty() ? "; it has " : ", ") + FormatVersion((*versions)[index]);
    }
    return text;
}

/// Where the manifest lies in a tree one level deeper, somebody left out the last part of the source's name.
void RequireNoTreeBelow(Source &source, const std::string &path)
{
    std::optional<uint64> size;
    try
    {
        size = source.GetSize(std::string(MORV::Reader::RootDirectory) + "/" + path);
    }
    catch (const SourceError &)
    {
        return; // what is to be told is that the release is not there
    }
    if (size)
    {
        throw SourceError(SourceTrouble::NotThere, source.GetName() +
                                                       ": this is no deployment tree; the one in it is " +
                                                       source.GetName() + "/" + MORV::Reader::RootDirectory);
    }
}

LargeVector<char> ReadManifest(Source &source, const ReleaseName &name, const char *file, uint64 limit)
{
    const std::string path = PathOfReleases(name) + "/" + FormatVersion(name.version) + "/" + file;
    auto bytes = source.ReadWhole(path, limit);
    if (!bytes)
    {
        RequireNoTreeBelow(source, path);
        throw SourceError(SourceTrouble::NotThere,
                          source.GetName() + " has no " + name.GetText() + TellWhatIsThere(source, name));
    }
    return std::move(*bytes);
}

/// A directory of its own outside the tree, for texts that can only be read from a disk.
class ScratchDirectory
{
public:
    ScratchDirectory() : mPath((fs::temp_directory_path() / "morv-XXXXXX").string())
    {
        if (mkdtemp(mPath.data()) == nullptr)
        {
            throw std::system_error(errno, std::generic_category(), "cannot make " + mPath);
        }
    }

    ~ScratchDirectory()
    {
        try
        {
            TreeWriter::RemoveTree(mPath);
        }
        catch (const std::exception &)
        {
            // It stays among the temporary files, and hurts nobody.
        }
    }

    ScratchDirectory(const ScratchDirectory &) = delete;
    ScratchDirectory &operator=(const ScratchDirectory &) = delete;

    const std::string &GetPath() const { return mPath; }

private:
    std::string mPath;
};

TreeReader::SolutionProjects ReadProjects(const WantedSet &set, const std::string &where)
{
    const ScratchDirectory scratch;
    for (const WantedText &text : set.texts)
    {
        TreeWriter::WriteFile(scratch.GetPath() / fs::path(text.path).filename(),
                              {text.bytes.data(), text.bytes.size()});
    }
    auto projects = TreeReader::ReadSolutionProjects(scratch.GetPath());
    if (!projects)
    {
        throw SourceError(SourceTrouble::Untrue,
                          where + ": " + set.name.GetText() + " there " + projects.GetFault().text);
    }
    return std::move(*projects);
}
} // namespace

std::vector<std::string> WantedSet::GetProjects() const
{
    std::vector<std::string> projects;
    for (const auto &release : releases)
    {
        projects.push_back(release->GetName().name);
    }
    return projects;
}

WantedSet ReadWantedSet(Source &source, const std::string &root, const ReleaseName &name)
{
    WantedSet set;
    set.name = name;
    std::vector<ReleaseName> projects;
    if (name.isSolution)
    {
        for (const char *file : {MORV::Reader::ConfigurationManifestName, MORV::Reader::SolutionManifestName})
        {
            set.texts.push_back({PathOfReleases(name) + "/" + FormatVersion(name.version) + "/" + file,
                                 ReadManifest(source, name, file, LargestText)});
        }
        for (const auto &project : ReadProjects(set, source.GetName()).projects)
        {
            ReleaseName known{false, project.name, project.version};
            if (std::find(projects.begin(), projects.end(), known) == projects.end()) // a text may name it twice
            {
                projects.push_back(std::move(known));
            }
        }
    }
    else
    {
        projects.push_back(name);
    }
    for (const ReleaseName &project : projects)
    {
        if (const TreeReader::Failure failure = CheckDirectoryName(project.name))
        {
            throw SourceError(SourceTrouble::Untrue, failure->GetMessage());
        }
        set.releases.push_back(std::make_unique<WantedRelease>(
            root, project, ReadManifest(source, project, MORV::Reader::ReleaseManifestName, LargestManifest),
            source.GetName() + "/" + PathOfReleases(project) + "/" + FormatVersion(project.version) + "/" +
                MORV::Reader::ReleaseManifestName));
    }
    return set;
}

ManifestState GetTextState(const std::string &root, const WantedText &text)
{
    const std::string path = root + "/" + text.path;
    return CompareWithDisk(path, text.bytes,
                           [&](const LargeVector<char> &)
                           {
                               const std::string directory = path.substr(0, path.rfind('/'));
                               return static_cast<bool>(TreeReader::ReadSolutionProjects(directory));
                           });
}
} // namespace Keld::Delivery
