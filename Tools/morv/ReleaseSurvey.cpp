#include "Tools/morv/ReleaseSurvey.h"

#include "Tools/Common/ParallelWork.h"
#include "Tools/TreeReader/Storage.h"
#include "Tools/TreeReader/TreeError.h"

#include "KeldMorvIO/TreeWords.h"

namespace Keld::Morv
{
using TreeReader::ManifestTree;

namespace
{
template <class Value>
Value Require(TreeReader::Result<Value> result)
{
    if (!result)
    {
        throw TreeReader::TreeError(result.GetFault().GetMessage());
    }
    return std::move(*result);
}

void CountFile(FilesAndBytes &count, uint32 size)
{
    ++count.files;
    count.bytes += size;
}

void CountFiles(const ManifestTree &tree, SurveyedRelease &release)
{
    for (uint32 number = 0; number < tree.GetFileCount(); ++number)
    {
        const auto &fields = tree.GetTables().GetFile(number);
        CountFile(release.all, fields.size);
        // A naked file belongs to its release, whatever version its record states.
        const bool isOwn = fields.version == tree.GetReleaseVersion() ||
                           TreeReader::StorageOf(fields.flags) == TreeReader::Storage::Naked;
        if (!isOwn)
        {
            CountFile(release.bases[fields.version], fields.size);
        }
    }
}

void Survey(const TreeReader::Tree &tree, SurveyedRelease &release)
{
    const std::string directory = tree.GetReleaseDirectory(release.project, release.version);
    const auto manifest = ManifestTree::Load(directory + "/" + MORV::Reader::ReleaseManifestName);
    if (!manifest)
    {
        release.failure = manifest.GetFault();
        return;
    }
    const ManifestTree &listed = **manifest;
    release.directories = listed.GetDirectoryCount();
    CountFiles(listed, release);
    if (listed.GetProjectName() != release.project || listed.GetReleaseVersion() != release.version)
    {
        release.manifestName = std::string(listed.GetProjectName()) + " " + FormatVersion(listed.GetReleaseVersion());
    }
}

void SurveySolutions(TreeReader::Tree &tree, ReleaseSurvey &survey)
{
    for (const std::string &name : Require(tree.ListSolutions()))
    {
        for (const MorvVersion version : Require(tree.ListSolutionReleases(name)))
        {
            SurveyedSolution solution{{true, name, version}, std::nullopt, std::nullopt};
            auto view = TreeReader::View::Open(tree, solution.name);
            if (view)
            {
                solution.view = std::move(*view);
            }
            else
            {
                solution.failure = view.GetFault();
            }
            survey.solutions.push_back(std::move(solution));
        }
    }
}
} // namespace

ReleaseSurvey SurveyReleases(TreeReader::Tree &tree, unsigned threadCount)
{
    ReleaseSurvey survey;
    survey.projects = Require(tree.ListProjects());
    for (const std::string &project : survey.projects)
    {
        for (const MorvVersion version : Require(tree.ListReleases(project)))
        {
            SurveyedRelease &release = survey.releases.emplace_back();
            release.project = project;
            release.version = version;
        }
    }
    Common::ForEachInParallel(threadCount, survey.releases.size(),
                              [&](std::size_t index)
                              {
                                  Survey(tree, survey.releases[index]);
                              });
    SurveySolutions(tree, survey);
    return survey;
}
} // namespace Keld::Morv
