/// \file
/// All that lies below a directory. Included by KeldMorvIO.hpp.
#ifndef KELD_MORV_IO_WRAPPER_RECURSIVE_DIRECTORY_HPP
#define KELD_MORV_IO_WRAPPER_RECURSIVE_DIRECTORY_HPP

#include "Status.hpp"

#include <cstddef>
#include <set>
#include <vector>

namespace Keld::MorvIO
{
/// \cond internal
namespace Detail
{
struct WalkLevel
{
    Directory directory;
    std::string prefix;            ///< what stands before the names in it
    std::set<std::string> entered; ///< the names of its directories so far, in small letters
};
} // namespace Detail
/// \endcond

/// An entry below the directory where a walk began.
struct WalkedEntry : Entry
{
    std::string path; ///< its virtual path, to be passed to any call
};

/// All files and directories below a directory, to be walked once: each directory before what lies in it. Of those in
/// one directory whose names differ at most in case only the first is stepped into, and none whose name is empty or has
/// a separator in it, as damaged releases can list them.
///
///     for (const WalkedEntry &entry : RecursiveDirectory(""))
class RecursiveDirectory
{
public:
    using Iterator = Detail::EntryIterator<RecursiveDirectory, WalkedEntry>; ///< an input iterator

    RecursiveDirectory() = default;

    /// \param path   a virtual path; "" is the root.
    /// \param error  NotFound, NotDirectory, InvalidArgument. The range is empty then.
    RecursiveDirectory(const std::string &path, std::error_code &error) { Enter(path, error); }

#if KELD_MORV_IO_EXCEPTIONS
    /// The same; throws std::system_error.
    explicit RecursiveDirectory(const std::string &path)
    {
        std::error_code error;
        Enter(path, error);
        ThrowIfFailed(error, path);
    }
#endif

    /// Steps to the next entry: into the directory that the last step delivered, if it was one and is not skipped.
    ///
    /// \returns false at the end, and then `entry` is left as it is.
    bool Next(WalkedEntry &entry)
    {
        if (!mPending.empty())
        {
            std::error_code error;
            Enter(mPending, error);
            mPending.clear();
            mError = mError ? mError : error;
        }
        while (!mLevels.empty() && !mLevels.back().directory.Next(entry))
        {
            mLevels.pop_back();
        }
        if (mLevels.empty())
        {
            return false;
        }
        entry.path = mLevels.back().prefix + entry.name;
        if (entry.isDirectory && LeadsDown(entry.name))
        {
            mPending = entry.path;
        }
        return true;
    }

    /// Leaves out what lies in the directory that the last step delivered.
    void SkipDirectory()
    {
        mPending.clear();
    }

    /// How many directories lie between the start and the entry of the last step: 0 for the start's own entries.
    std::size_t GetDepth() const
    {
        return mLevels.empty() ? 0 : mLevels.size() - 1;
    }

    /// Why the first directory below could not be walked, if one could not: its path is longer than the library takes.
    /// The walk goes on beside it.
    const std::error_code &GetError() const
    {
        return mError;
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
        return {};
    }

private:
    void Enter(const std::string &path, std::error_code &error)
    {
        Directory directory(path, "*", error);
        if (!error)
        {
            mLevels.push_back({std::move(directory), Detail::WithSeparator(path), {}});
        }
    }

    /// Whether a directory of the last level is to be stepped into. An empty name leads to where it is listed, for
    /// ever, and a name that comes twice on each level to more entries than anybody could wait for.
    bool LeadsDown(std::string name)
    {
        for (char &letter : name)
        {
            letter = Detail::ToLower(letter);
        }
        const bool isUsable = !name.empty() && name.find_first_of("/\\") == std::string::npos;
        return isUsable && mLevels.back().entered.insert(std::move(name)).second;
    }

    std::vector<Detail::WalkLevel> mLevels; ///< from the start down to where the walk stands
    std::string mPending;                   ///< the directory to step into next; empty for none
    std::error_code mError;
};
} // namespace Keld::MorvIO

#endif
