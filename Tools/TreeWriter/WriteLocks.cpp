#include "Tools/TreeWriter/WriteLocks.h"

#include "KeldMorvIO/TreeWords.h"

#include <set>

namespace Keld::TreeWriter
{
namespace fs = std::filesystem;

WriteLocks::WriteLocks(const fs::path &root, const std::vector<std::string> &projects,
                       const std::vector<std::string> &solutions, const std::function<void()> &whileWaiting)
{
    TakeAll(root / MORV::Reader::ProjectsDirectory, projects, whileWaiting);
    TakeAll(root / MORV::Reader::SolutionsDirectory, solutions, whileWaiting);
}

WriteLock &WriteLocks::Take(const fs::path &directory, const std::function<void()> &whileWaiting)
{
    return *mLocks.emplace_back(std::make_unique<WriteLock>(directory, whileWaiting));
}

void WriteLocks::TakeAll(const fs::path &place, const std::vector<std::string> &names,
                         const std::function<void()> &whileWaiting)
{
    std::set<fs::path> directories; // a link and what it leads to have one lock, which is not taken twice
    for (const std::string &name : names)
    {
        directories.insert(fs::weakly_canonical(place / name));
    }
    for (const fs::path &directory : directories)
    {
        Take(directory, whileWaiting);
    }
}
} // namespace Keld::TreeWriter
