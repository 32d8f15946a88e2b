#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct OpenFileHandle;

namespace Keld::Morv
{
/// The library, started for a working directory, used through its exported calls alone. One at a time.
class Library
{
public:
    /// Throws TreeError that says what to do when the directory lies in no release or nothing of it can be served.
    explicit Library(const std::string &workingDirectory);
    ~Library();

    Library(const Library &) = delete;
    Library &operator=(const Library &) = delete;

    bool Exists(const std::string &path) const;
    bool IsDirectory(const std::string &path) const;

    struct Entry
    {
        std::string name;
        bool isDirectory = false;
        uint64 size = 0;
    };

    /// Walks a directory's entries whose names match the library's wildcard pattern. False when there is no such
    /// directory.
    bool Enumerate(const std::string &directory, const std::string &pattern,
                   const std::function<void(const Entry &)> &visit) const;

    /// The entry of a path other than the root, with its name as the release spells it, or nothing.
    std::optional<Entry> FindEntry(const std::string &path) const;

    /// Hands a file's content on in pieces. Throws TreeError when it cannot be opened or ends early.
    /// \param keepOpen for a file that will be read again: one that is compressed with LZMA cannot be opened twice.
    void ReadFile(const std::string &path, bool keepOpen, const std::function<void(std::string_view)> &sink);

private:
    struct FileCloser
    {
        void operator()(OpenFileHandle *handle) const;
    };

    std::vector<std::unique_ptr<OpenFileHandle, FileCloser>> mKeptOpen;
};

/// A path as it is typed in a shell, in the form of virtual paths: a leading "/" or "./" and trailing separators go.
std::string VirtualPath(std::string typed);

/// Whether an entry's name leads to it. A damaged release can list an empty name or one with separators, and the path
/// that such a name gives is that of another entry, which may be the very directory that lists it.
bool CanBeAskedFor(const std::string &name);

/// "directory/name", or the name alone in the root.
std::string JoinVirtual(const std::string &directory, const std::string &name);
} // namespace Keld::Morv
