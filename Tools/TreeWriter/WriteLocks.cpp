#include "Tools/TreeWriter/WriteLocks.h"

#include "KeldMorvIO/TreeWords.h"

#include <algorithm>

namespace Keld::TreeWriter
{
namespace fs = std::filesystem;

WriteLocks::WriteLocks(const fs::path &root, std::vector<std::string> projects, std::vector<std::string> solutions,
                       const std::function<void()> &whileWaiting)
{
    TakeAll(root / MORV::Reader::ProjectsDirectory, std::move(projects), whileWaiting);
    TakeAll(root / MORV::Reader::SolutionsDirectory, std::move(solutions), whileWaiting);
}

WriteLock &WriteLocks::Take(const fs::path &directory, const std::function<void()> &whileWaiting)
{
    return *mLocks.emplace_back(std::make_unique<WriteLock>(directory, whileWaiting));
}

void WriteLocks::TakeAll(const fs::path &place, std::vector<std::string> names,
                         const std::function<void()> &whileWaiting)
{
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
    for (const std::string &name : names)
    {
        Take(place / name, whileWaiting);
    }
}
} // namespace Keld::TreeWriter
