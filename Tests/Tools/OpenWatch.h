#pragma once

#include <map>
#include <string>

namespace Keld::Test
{
/// Counts how often somebody opens what lies below a directory, in any process: files, and directories that are there
/// from the start.
class OpenWatch
{
public:
    explicit OpenWatch(const std::string &directory);
    ~OpenWatch();

    OpenWatch(const OpenWatch &) = delete;
    OpenWatch &operator=(const OpenWatch &) = delete;

    /// How often what was opened since the last call, by the path below the directory, with a '/' behind a directory's.
    std::map<std::string, int> Take() const;

private:
    void Watch(const std::string &directory, const std::string &path);

    int mEvents;
    std::map<int, std::string> mPaths; ///< with a '/' behind, by the number of the watch
};
} // namespace Keld::Test
