#pragma once

#include <string>

namespace Keld
{
/// Tells of many files whether they exist, as std_file_exists does of one, with one query of the platform for each.
///
/// It asks once who the process is and whether both queries of std_file_exists must then agree; where they need not, it
/// asks both. Of a directory that is asked about more than once it keeps a descriptor, so that a query need not find
/// the way to it again. Answers are kept of none. For one thread.
class FileProbe
{
public:
    FileProbe();
    ~FileProbe();

    FileProbe(const FileProbe &) = delete;
    FileProbe &operator=(const FileProbe &) = delete;

    bool Exists(const char *path);

    /// Gives the descriptor back, so that whatever is opened next gets the number that it would get without this.
    void Release();

private:
    bool IsBesideLast(const char *path, const char *name);

    const bool mQueriesAgree;
    std::string mDirectory; ///< of the last path, with its '/' at the end
    bool mHasTried = false; ///< whether the directory was to be opened
    int mDescriptor = -1;   ///< of the directory
};
} // namespace Keld
