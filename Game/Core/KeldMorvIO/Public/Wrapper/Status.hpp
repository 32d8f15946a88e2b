/// \file
/// Questions about a path. Included by KeldMorvIO.hpp.
#ifndef KELD_MORV_IO_WRAPPER_STATUS_HPP
#define KELD_MORV_IO_WRAPPER_STATUS_HPP

#include "Directory.hpp"

#include <algorithm>
#include <memory>

namespace Keld::MorvIO
{
/// Whether a path is there, as a file or as a directory. One lookup; the cheapest question.
inline bool Exists(const std::string &path)
{
    return Detail::IsThere(path);
}

/// \cond internal
namespace Detail
{
/// As the library compares names: letters of ASCII alone have two cases.
inline char ToLower(char letter)
{
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

inline bool IsEqualName(const std::string &left, const std::string &right)
{
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](char one, char other)
                      {
                          return ToLower(one) == ToLower(other);
                      });
}

/// A path's directory and its last name; separators at its end do not count.
inline std::pair<std::string, std::string> SplitPath(std::string path)
{
    const std::size_t last = path.find_last_not_of("/\\");
    path.erase(last == std::string::npos ? 0 : last + 1);
    const std::size_t separator = path.find_last_of("/\\");
    if (separator == std::string::npos)
    {
        return {std::string(), path};
    }
    return {path.substr(0, separator + 1), path.substr(separator + 1)};
}

/// What a directory shows under one name. In a solution that may be a file and a directory.
struct Shown
{
    bool hasFile = false;
    bool hasDirectory = false;
    Entry file;      ///< the file of the highest priority
    Entry directory; ///< the directory of the highest priority
};

inline Shown Look(const std::string &path)
{
    const std::pair<std::string, std::string> parts = SplitPath(path);
    Shown shown;
    std::error_code ignored;                              // the caller has asked for the path itself
    Directory parent(parts.first, parts.second, ignored); // a name fits itself as a pattern, and may fit others
    Entry entry;
    while (parent.Next(entry))
    {
        bool &has = entry.isDirectory ? shown.hasDirectory : shown.hasFile;
        if (!has && IsEqualName(entry.name, parts.second))
        {
            has = true;
            (entry.isDirectory ? shown.directory : shown.file) = std::move(entry);
        }
    }
    return shown;
}
} // namespace Detail
/// \endcond

/// What a path is: its name with the letters of the release, its kind, and its size without opening it. It looks
/// through the directory that holds it. The root has an empty name.
///
/// \param error  NotFound.
inline Entry GetStatus(const std::string &path, std::error_code &error)
{
    error.clear();
    if (!Exists(path))
    {
        error = Error::NotFound;
        return {};
    }
    const Detail::Shown shown = Detail::Look(path);
    if (shown.hasFile && shown.hasDirectory)
    {
        // One project holds a file of this path and another a directory. Only an open tells which of them is served.
        OpenFileHandle *const handle = MorvOpenFile(path.c_str());
        MorvCloseFile(handle);
        return handle != nullptr ? shown.file : shown.directory;
    }
    if (shown.hasFile)
    {
        return shown.file;
    }
    Entry directory = shown.directory;
    directory.isDirectory = true;
    return directory;
}

#if KELD_MORV_IO_EXCEPTIONS
/// The same; throws std::system_error.
inline Entry GetStatus(const std::string &path)
{
    std::error_code error;
    Entry entry = GetStatus(path, error);
    ThrowIfFailed(error, path);
    return entry;
}
#endif

/// Whether a path is there and is a directory.
inline bool IsDirectory(const std::string &path)
{
    std::error_code error;
    const bool isDirectory = GetStatus(path, error).isDirectory;
    return !error && isDirectory;
}

/// Whether a path is there and is a file.
inline bool IsFile(const std::string &path)
{
    std::error_code error;
    const bool isDirectory = GetStatus(path, error).isDirectory;
    return !error && !isDirectory;
}
} // namespace Keld::MorvIO

#endif
