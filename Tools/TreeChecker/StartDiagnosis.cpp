#include "Tools/TreeChecker/StartDiagnosis.h"

#include "Tools/TreeChecker/StartRemedy.h"

#include "Tools/TreeReader/SolutionProjects.h"
#include "Tools/TreeReader/Tree.h"

#include <sys/resource.h>

namespace Keld::TreeChecker
{
using TreeReader::Fault;
using TreeReader::FaultKind;
using TreeReader::Release;
using TreeReader::Tree;

namespace
{
// Descriptors that a program has open besides: the standard streams, its own libraries and files.
constexpr uint64 UsualDescriptors = 16;

/// Follows the steps of a start, up to the one at which it ends.
class StartWalk
{
public:
    StartWalk(const StartPath &path, unsigned threadCount, StartDiagnosis &diagnosis)
        : mPath(path), mThreadCount(threadCount), mTree(path.root), mDiagnosis(diagnosis)
    {
    }

    void Run();

private:
    using Project = MORV::Reader::SolutionManifest::PROJECT;

    void End(StartOutcome outcome, StartCause cause)
    {
        mDiagnosis.outcome = outcome;
        mDiagnosis.cause = std::move(cause);
    }

    /// One project that cannot be loaded ends the start of a solution. A project by itself starts without anything.
    StartOutcome GetFailedOutcome() const
    {
        return mPath.name.isSolution ? StartOutcome::Refused : StartOutcome::Empty;
    }

    bool ListProjects(std::vector<Project> &projects);
    bool LoadProject(const Project &project);
    bool TakeFiles(const Release &release, const std::string &project);
    void AddWarnings();

    const StartPath &mPath;
    const unsigned mThreadCount;
    Tree mTree;
    StartDiagnosis &mDiagnosis;
};

void StartWalk::Run()
{
    std::vector<Project> projects;
    if (!ListProjects(projects))
    {
        return;
    }
    mDiagnosis.outcome = StartOutcome::Whole;
    for (const Project &project : projects)
    {
        if (!LoadProject(project))
        {
            break;
        }
    }
    AddWarnings();
}

bool StartWalk::ListProjects(std::vector<Project> &projects)
{
    if (!mPath.name.isSolution)
    {
        projects.push_back({mPath.name.name, mPath.name.version, 0, 0});
        return true;
    }
    const std::string directory = mTree.GetSolutionDirectory(mPath.name.name, mPath.name.version);
    if (directory.empty())
    {
        End(StartOutcome::Refused, ExplainManifest({FaultKind::PathTooLong, mPath.root,
                                                    "the path of the solution's directory has 1,024 bytes or more"}));
        return false;
    }
    const auto solution = TreeReader::ReadSolutionProjects(directory);
    if (!solution)
    {
        const Fault &fault = solution.GetFault();
        StartCause cause = ExplainSolution(fault);
        const std::string log = cause.log;
        if (fault.kind == FaultKind::NotThere)
        {
            cause = ExplainAbsence(mPath, directory, fault);
            cause.log = log;
        }
        End(StartOutcome::Refused, std::move(cause));
        return false;
    }
    projects = solution->projects;
    if (projects.empty())
    {
        End(StartOutcome::Empty, {{FaultKind::BadSolution, directory, "its configuration uses no project"},
                                  "choose projects with \"morv solution --use\"",
                                  ""});
    }
    return !projects.empty();
}

bool StartWalk::LoadProject(const Project &project)
{
    const auto release = mTree.OpenRelease(project.name, project.version);
    if (release)
    {
        mDiagnosis.archives.Add(**release);
        return TakeFiles(**release, project.name);
    }
    const Fault &fault = release.GetFault();
    const std::string directory = mTree.GetReleaseDirectory(project.name, project.version);
    StartCause cause = ExplainManifest(fault);
    if (fault.kind == FaultKind::NotThere && !mPath.name.isSolution)
    {
        const std::string log = cause.log;
        cause = ExplainAbsence(mPath, directory, fault);
        cause.log = log;
    }
    else if (fault.kind == FaultKind::NotThere)
    {
        cause.remedy = "pack or copy release " + FormatVersion(project.version) + " of the project \"" + project.name +
                       "\" into the tree, or choose another with \"morv solution\"";
    }
    const bool isRefused = directory.empty() || cause.isThrown;
    End(isRefused ? StartOutcome::Refused : GetFailedOutcome(), std::move(cause));
    return false;
}

bool StartWalk::TakeFiles(const Release &release, const std::string &project)
{
    const uint32 count = release.GetTree().GetFileCount();
    if (count == 0)
    {
        End(GetFailedOutcome(), {{FaultKind::BadManifest, release.GetDirectory(),
                                  "lists no file, and the library makes nothing of a release without one"},
                                 "pack the release with at least one file",
                                 ""});
        return false;
    }
    const auto missing = release.GetMissing(mThreadCount);
    mDiagnosis.files += count;
    mDiagnosis.missing += missing.size();
    if (missing.empty())
    {
        return true;
    }
    StartCause cause = ExplainMissingFile(release, project, missing.front());
    if (missing.size() == count)
    {
        cause.fault.text += "; and so with all files of " + project + " " + FormatVersion(release.GetVersion());
        End(GetFailedOutcome(), std::move(cause));
        return false;
    }
    if (mDiagnosis.outcome == StartOutcome::Whole)
    {
        End(StartOutcome::Incomplete, std::move(cause));
    }
    return true;
}

void StartWalk::AddWarnings()
{
    const ArchivePlaces &archives = mDiagnosis.archives;
    if (!archives.writable.empty())
    {
        const std::size_t more = archives.writable.size() - 1;
        mDiagnosis.warnings.push_back(
            "this user may write " + archives.writable.front() +
            (more > 0 ? " and " + std::to_string(more) + " more directories of archives" : "") +
            ": the library deletes an index there that it cannot read, if only for want of descriptors. Start programs "
            "as a user who may not write the tree");
    }
    struct rlimit limit = {};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY &&
        archives.archives + UsualDescriptors > limit.rlim_cur)
    {
        mDiagnosis.warnings.push_back("the library keeps up to " + std::to_string(archives.archives) +
                                      " archives open, and this process may hold " + std::to_string(limit.rlim_cur) +
                                      " files: allow more, see \"ulimit -n\"");
    }
    const auto view = TreeReader::View::Open(mTree, mPath.name);
    if (view)
    {
        mDiagnosis.warnings.insert(mDiagnosis.warnings.end(), view->GetNotes().begin(), view->GetNotes().end());
    }
}
} // namespace

const char *NameOf(StartOutcome outcome)
{
    switch (outcome)
    {
    case StartOutcome::Whole:
        return "whole";
    case StartOutcome::Incomplete:
        return "incomplete";
    case StartOutcome::Empty:
        return "empty";
    case StartOutcome::Refused:
        break;
    }
    return "refused";
}

StartDiagnosis DiagnoseStart(const std::string &directory, unsigned threadCount)
{
    StartDiagnosis diagnosis;
    StartPath path;
    StartCause cause;
    if (!ReadStartPath(directory, path, cause))
    {
        diagnosis.cause = std::move(cause);
        return diagnosis;
    }
    diagnosis.path = path;
    StartWalk(path, threadCount, diagnosis).Run();
    return diagnosis;
}
} // namespace Keld::TreeChecker
