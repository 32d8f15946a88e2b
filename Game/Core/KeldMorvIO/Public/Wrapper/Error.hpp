/// \file
/// The errors of the C++ wrapper. Included by KeldMorvIO.hpp.
#ifndef KELD_MORV_IO_WRAPPER_ERROR_HPP
#define KELD_MORV_IO_WRAPPER_ERROR_HPP

#include <string>
#include <system_error>
#include <type_traits>

/// 1 where the calls are declared that throw std::system_error, else 0.
#if defined(__cpp_exceptions)
#define KELD_MORV_IO_EXCEPTIONS 1
#else
#define KELD_MORV_IO_EXCEPTIONS 0
#endif

namespace Keld::MorvIO
{
/// What went wrong, as far as the library's results tell. 0 is no error.
enum class Error
{
    StartFailed = 1, ///< no release could be made out or loaded, or the library runs already
    NotFound,        ///< no such path; also if the path is too long, or the library cannot start
    IsDirectory,     ///< a directory where a file is needed
    NotDirectory,    ///< a file where a directory is needed
    CannotOpen,      ///< the file is listed, and its bytes are damaged, elsewhere or out of reach
    ReadFailed,      ///< the system refused the read
    EndsEarly,       ///< the stored bytes end before the content that the release lists
    NotOpen,         ///< the object holds no open file
    InvalidArgument  ///< a path with a NUL inside, or a pattern with a separator
};

/// Texts for Error, and the std::errc that each compares equal to.
class ErrorCategory final : public std::error_category
{
public:
    const char *name() const noexcept override { return "KeldMorvIO"; }

    std::string message(int value) const override
    {
        switch (static_cast<Error>(value))
        {
        case Error::StartFailed:
            return "the library could not start here, or runs already";
        case Error::NotFound:
            return "no such file or directory";
        case Error::IsDirectory:
            return "is a directory";
        case Error::NotDirectory:
            return "not a directory";
        case Error::CannotOpen:
            return "the file is listed but cannot be opened";
        case Error::ReadFailed:
            return "the read failed";
        case Error::EndsEarly:
            return "the stored bytes end too early";
        case Error::NotOpen:
            return "no open file";
        case Error::InvalidArgument:
            return "invalid argument";
        }
        return "unknown error";
    }

    std::error_condition default_error_condition(int value) const noexcept override
    {
        switch (static_cast<Error>(value))
        {
        case Error::NotFound:
            return std::errc::no_such_file_or_directory;
        case Error::IsDirectory:
            return std::errc::is_a_directory;
        case Error::NotDirectory:
            return std::errc::not_a_directory;
        case Error::CannotOpen:
        case Error::ReadFailed:
        case Error::EndsEarly:
            return std::errc::io_error;
        case Error::NotOpen:
            return std::errc::bad_file_descriptor;
        case Error::InvalidArgument:
            return std::errc::invalid_argument;
        case Error::StartFailed:
            break;
        }
        return {value, *this};
    }
};

/// The one category of the wrapper's errors.
inline const std::error_category &GetErrorCategory() noexcept
{
    static const ErrorCategory category;
    return category;
}

/// What std::error_code asks for; an Error turns into one by itself.
inline std::error_code make_error_code(Error error) noexcept
{
    return {static_cast<int>(error), GetErrorCategory()};
}

#if KELD_MORV_IO_EXCEPTIONS
/// Throws what `error` tells, if it tells something.
inline void ThrowIfFailed(const std::error_code &error, const std::string &path)
{
    if (error)
    {
        throw std::system_error(error, path);
    }
}
#endif
} // namespace Keld::MorvIO

/// \cond internal
// Lets an Error be compared with, and turned into, a std::error_code.
template <>
struct std::is_error_code_enum<Keld::MorvIO::Error> : std::true_type
{
};
/// \endcond

#endif
