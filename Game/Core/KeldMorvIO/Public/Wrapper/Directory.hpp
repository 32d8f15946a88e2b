/// \file
/// The entries of one directory. Included by KeldMorvIO.hpp.
#ifndef KELD_MORV_IO_WRAPPER_DIRECTORY_HPP
#define KELD_MORV_IO_WRAPPER_DIRECTORY_HPP

#include "../KeldMorvIO.h"
#include "EntryIterator.hpp"
#include "Error.hpp"

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

namespace Keld::MorvIO
{
/// One file or directory, as an enumeration shows it.
struct Entry
{
    std::string name;         ///< its own name, with the letters of the release, at most 1023 bytes
    std::uint64_t size = 0;   ///< bytes of a file's content; 0 for a directory
    bool isDirectory = false; ///< whether it is a directory
};

/// \cond internal
namespace Detail
{
struct FindCloser
{
    void operator()(FindHandle *handle) const noexcept { MorvFindClose(handle); }
};

/// A path with one separator at its end, to put a name behind it; the root stays empty.
inline std::string WithSeparator(const std::string &path)
{
    const bool hasEnd = path.empty() || path.back() == '/' || path.back() == '\\';
    return hasEnd ? path : path + '/';
}

inline bool HasNul(const std::string &text)
{
    return text.find('\0') != std::string::npos;
}

/// The library knows the root as "/".
inline bool IsThere(const std::string &path)
{
    return !HasNul(path) && MorvFileExists(path.empty() ? "/" : path.c_str()) != 0;
}
} // namespace Detail
/// \endcond

/// The entries of a directory that fit a pattern, to be walked once:
///
///     for (const Entry &entry : Directory("textures", "*.tga"))
///
/// The order is that of MorvFindNextFile: within one project directories come first, each group by name. In a solution
/// whose projects hold the directory too, all are merged, and an entry is shown once for most, though not for all
/// constellations: a name may come twice, the one of the higher priority first.
class Directory
{
public:
    using Iterator = Detail::EntryIterator<Directory, Entry>; ///< an input iterator

    Directory() noexcept = default;

    /// \param path     a virtual path; "" is the root.
    /// \param pattern  a wildcard pattern of MorvFindFirstFile, without a separator. The empty one is refused: behind a
    ///                 directory the library would look for that directory in the one above it.
    /// \param error    NotFound, NotDirectory, InvalidArgument. The range is empty then.
    Directory(const std::string &path, const std::string &pattern, std::error_code &error)
    {
        error.clear();
        if (Detail::HasNul(path) || pattern.empty() ||
            pattern.find_first_of(std::string("/\\\0", 3)) != std::string::npos)
        {
            error = Error::InvalidArgument;
            return;
        }
        mFind.reset(MorvFindFirstFile((Detail::WithSeparator(path) + pattern).c_str()));
        if (mFind == nullptr)
        {
            error = Detail::IsThere(path) ? Error::NotDirectory : Error::NotFound;
        }
    }

#if KELD_MORV_IO_EXCEPTIONS
    /// The same; throws std::system_error.
    explicit Directory(const std::string &path, const std::string &pattern = "*")
    {
        std::error_code error;
        *this = Directory(path, pattern, error);
        ThrowIfFailed(error, path);
    }
#endif

    /// Steps to the next entry.
    ///
    /// \returns false at the end, and then `entry` is left as it is.
    bool Next(Entry &entry)
    {
        char name[NameCapacity];
        std::uint32_t isDirectory = 0;
        std::uint64_t size = 0;
        if (mFind == nullptr || MorvFindNextFile(mFind.get(), &isDirectory, &size, NameCapacity, name) < 0)
        {
            return false;
        }
        entry.name = name;
        entry.size = size;
        entry.isDirectory = isDirectory != 0;
        return true;
    }

    /// The entry that the next step delivers, and all behind it. Iterators point into this object: it must stay where
    /// it is.
    Iterator begin()
    {
        return Iterator(*this);
    }

    /// The end of every walk.
    Iterator end() const
    {
        return Iterator();
    }

private:
    /// A longer name would make a path that no call takes; the library cuts it.
    static constexpr std::uint32_t NameCapacity = 1024;

    std::unique_ptr<FindHandle, Detail::FindCloser> mFind;
};
} // namespace Keld::MorvIO

#endif
