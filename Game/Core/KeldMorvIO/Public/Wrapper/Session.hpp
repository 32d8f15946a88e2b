/// \file
/// Start and end of the library. Included by KeldMorvIO.hpp.
#ifndef KELD_MORV_IO_WRAPPER_SESSION_HPP
#define KELD_MORV_IO_WRAPPER_SESSION_HPP

#include "../KeldMorvIO.h"
#include "Error.hpp"

#include <filesystem>
#include <utility>

namespace Keld::MorvIO
{
/// The library, started for one release, for as long as this object lives. A process has one at a time.
///
/// A program may do without: the first path call starts the library with the process's working directory. It then ends
/// with the process.
class Session
{
public:
    Session() noexcept = default;

    Session(Session &&other) noexcept : mIsRunning(std::exchange(other.mIsRunning, false)) {}

    Session &operator=(Session &&other) noexcept
    {
        if (this != &other)
        {
            End();
            mIsRunning = std::exchange(other.mIsRunning, false);
        }
        return *this;
    }

    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    ~Session() { End(); }

    /// Starts the library for the release that a directory lies in. A relative directory is taken from the process's
    /// working directory, "." and ".." are resolved by their text, and symbolic links are left as they are: the names
    /// in the path decide. The directory need not exist. An empty one is no release.
    ///
    /// \param error  StartFailed also where the library runs already, which goes on then; the log tells which.
    static Session Start(const std::filesystem::path &directory, std::error_code &error)
    {
        error.clear();
        if (directory.native().find('\0') != std::string::npos)
        {
            error = Error::InvalidArgument;
            return Session();
        }
        const std::filesystem::path absolute =
            directory.empty() ? directory : std::filesystem::absolute(directory, error).lexically_normal();
        if (!error && MorvInitialize(0, 0, 0, absolute.c_str()) < 0)
        {
            error = Error::StartFailed;
        }
        return Session(!error);
    }

#if KELD_MORV_IO_EXCEPTIONS
    /// The same; throws std::system_error.
    static Session Start(const std::filesystem::path &directory)
    {
        std::error_code error;
        Session session = Start(directory, error);
        ThrowIfFailed(error, directory.string());
        return session;
    }
#endif

    /// Ends the library, unless this object is empty. While nothing else runs, and after every file is closed.
    void End() noexcept
    {
        if (std::exchange(mIsRunning, false))
        {
            MorvShutdown();
        }
    }

    /// Whether the library runs by this object.
    explicit operator bool() const noexcept
    {
        return mIsRunning;
    }

private:
    explicit Session(bool isRunning) noexcept : mIsRunning(isRunning) {}

    bool mIsRunning = false;
};
} // namespace Keld::MorvIO

#endif
