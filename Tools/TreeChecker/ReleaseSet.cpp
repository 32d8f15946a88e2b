#include "Tools/TreeChecker/ReleaseSet.h"

#include "Tools/TreeChecker/SolutionCheck.h"

#include <algorithm>

namespace Keld::TreeChecker
{
using TreeReader::FaultKind;
using TreeReader::ReleaseName;
using TreeReader::View;

void ReleaseSet::Add(const ReleaseName &name)
{
    if (name.isSolution)
    {
        AddSolution(name);
        return;
    }
    AddProject(name, AddName(name));
}

uint32 ReleaseSet::AddName(const ReleaseName &name)
{
    std::vector<ReleaseName> &names = mReport.releases;
    const auto known = std::find(names.begin(), names.end(), name);
    const auto index = static_cast<uint32>(known - names.begin());
    if (known == names.end())
    {
        names.push_back(name);
    }
    return index;
}

void ReleaseSet::AddProject(const ReleaseName &name, uint32 user)
{
    const uint32 self = AddName(name);
    std::vector<uint32> users{self};
    MergeUsers(users, {user});
    const auto known = std::find_if(mReleases.begin(), mReleases.end(),
                                    [&name](const CheckedRelease &checked)
                                    {
                                        return checked.project == name.name && checked.version == name.version;
                                    });
    if (known != mReleases.end())
    {
        MergeUsers(known->users, users);
        return;
    }
    auto release = mTree.OpenRelease(name.name, name.version);
    if (!release)
    {
        mReport.AddFault({release.GetFault(), {}, {}, {}, users});
        return;
    }
    mReleases.push_back({*release, name.name, name.version, users});
    const auto view = View::Open(mTree, name);
    if (view)
    {
        CheckServable(*view, self);
    }
}

void ReleaseSet::AddSolution(const ReleaseName &name)
{
    const uint32 user = AddName(name);
    const auto view = View::Open(mTree, name);
    if (!view)
    {
        mReport.AddFault({view.GetFault(), {}, {}, {}, {user}});
        return;
    }
    for (const TreeReader::Layer &layer : view->GetLayers())
    {
        AddProject({false, layer.project, layer.version}, user);
    }
    CheckServable(*view, user);
    CheckSolution(mTree.GetSolutionDirectory(name.name, name.version), name, user, mReport);
}

/// A release whose files are all missing is told by these files.
void ReleaseSet::CheckServable(const View &view, uint32 user)
{
    const auto failure = view.CheckServable();
    if (failure && failure->kind != FaultKind::NotThere)
    {
        mReport.AddFault({*failure, {}, {}, {}, {user}});
    }
}
} // namespace Keld::TreeChecker
