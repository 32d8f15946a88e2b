#include "Tools/TreeWriter/PrunedPlaces.h"

#include "Tools/TreeWriter/KeptPlaces.h"

#include "KeldMorvIO/TreeWords.h"

#include <algorithm>

namespace Keld::TreeWriter
{
void PrunedPlaces::AddProject(const std::string &project)
{
    for (const std::string &directory : DirectoriesOf(project))
    {
        if (std::string place = SettlePath(directory); !place.empty())
        {
            mPlaces.push_back(std::move(place));
        }
    }
}

bool PrunedPlaces::Hold(const std::string &path) const
{
    const std::string place = SettlePath(path);
    return std::any_of(mPlaces.begin(), mPlaces.end(),
                       [&place](const std::string &pruned)
                       {
                           return place == pruned || place.starts_with(pruned + "/");
                       });
}

bool PrunedPlaces::Serve(const TreeReader::View &release) const
{
    const TreeReader::Release &files = release.GetRelease(0);
    std::vector<std::string> directories = DirectoriesOf(files.GetProject());
    directories.push_back(files.GetDirectory());
    return std::any_of(directories.begin(), directories.end(),
                       [this](const std::string &directory)
                       {
                           return Hold(directory);
                       });
}

/// Each may be a link by itself.
std::vector<std::string> PrunedPlaces::DirectoriesOf(const std::string &project) const
{
    const std::string directory = mRoot + "/" + MORV::Reader::ProjectsDirectory + "/" + project;
    return {directory, directory + "/" + MORV::Reader::FileArchivesDirectory,
            directory + "/" + MORV::Reader::ManagedFilesDirectory, directory + "/" + MORV::Reader::ReleasesDirectory};
}
} // namespace Keld::TreeWriter
