#pragma once

#include "Tools/TreeWriter/WriteLock.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Keld::TreeWriter
{
/// The locks of several projects and solutions of a tree, taken in one order by everybody, so that no two wait for each
/// other.
class WriteLocks
{
public:
    /// \param projects, solutions names, in any order
    /// \throws what WriteLock throws
    WriteLocks(const std::filesystem::path &root, const std::vector<std::string> &projects,
               const std::vector<std::string> &solutions, const std::function<void()> &whileWaiting);

    /// Takes one more, behind all others in the order.
    WriteLock &Take(const std::filesystem::path &directory, const std::function<void()> &whileWaiting);

private:
    void TakeAll(const std::filesystem::path &place, const std::vector<std::string> &names,
                 const std::function<void()> &whileWaiting);

    std::vector<std::unique_ptr<WriteLock>> mLocks;
};
} // namespace Keld::TreeWriter
