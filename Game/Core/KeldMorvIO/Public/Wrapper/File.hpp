/// \file
/// One open file. Included by KeldMorvIO.hpp.
#ifndef KELD_MORV_IO_WRAPPER_FILE_HPP
#define KELD_MORV_IO_WRAPPER_FILE_HPP

#include "../KeldMorvIO.h"
#include "Error.hpp"
#include "Status.hpp"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#if defined(__has_include)
#if __cplusplus >= 202002L && __has_include(<span>)
#include <span>
#endif
#endif

namespace Keld::MorvIO
{
/// \cond internal
namespace Detail
{
struct FileCloser
{
    void operator()(OpenFileHandle *handle) const noexcept { MorvCloseFile(handle); }
};
} // namespace Detail
/// \endcond

/// A file, open for reading from any number of threads at once. It has no position: each read tells its offset.
///
/// A compressed file is decompressed whole by its first open and stays in memory until its last close. One compressed
/// with LZMA cannot be opened again after its last close: keep it open.
class File
{
public:
    File() noexcept = default;

    /// \param error  NotFound, IsDirectory, CannotOpen, InvalidArgument.
    static File Open(const std::string &path, std::error_code &error)
    {
        error.clear();
        File file;
        if (Detail::HasNul(path))
        {
            error = Error::InvalidArgument;
            return file;
        }
        file.mHandle.reset(MorvOpenFile(path.c_str()));
        if (file.mHandle == nullptr)
        {
            error = WhyNotOpened(path);
        }
        return file;
    }

#if KELD_MORV_IO_EXCEPTIONS
    /// The same; throws std::system_error.
    static File Open(const std::string &path)
    {
        std::error_code error;
        File file = Open(path, error);
        ThrowIfFailed(error, path);
        return file;
    }
#endif

    /// Whether a file is open.
    explicit operator bool() const noexcept
    {
        return mHandle != nullptr;
    }

    /// Bytes of content, uncompressed, as the release lists them: at most 4294967295. 0 without an open file.
    std::uint64_t GetSize() const noexcept
    {
        return mHandle != nullptr ? static_cast<std::uint64_t>(MorvGetFileSize(mHandle.get())) : 0;
    }

    /// Reads from a byte of the content on, until `size` bytes are there or the content ends. It never delivers what
    /// lies behind the content, whatever the storage, and a signal does not end it. It changes `errno`.
    ///
    /// \param buffer  the caller's: room for `size` bytes.
    /// \param error   NotOpen; ReadFailed; EndsEarly where there are fewer bytes on disk than the release lists.
    /// \returns the bytes delivered: fewer than wanted only at the end of the content, or with an error.
    std::size_t ReadAt(std::uint64_t offset, void *buffer, std::size_t size, std::error_code &error) const
    {
        error.clear();
        if (mHandle == nullptr)
        {
            error = Error::NotOpen;
            return 0;
        }
        const std::uint64_t content = GetSize();
        const std::uint64_t left = offset < content ? content - offset : 0;
        const auto wanted = static_cast<std::uint32_t>(std::min<std::uint64_t>(left, size));
        std::uint32_t total = 0;
        while (total < wanted)
        {
            std::uint32_t delivered = 0;
            errno = 0;
            if (MorvRead(mHandle.get(), offset + total, wanted - total, &delivered,
                         static_cast<char *>(buffer) + total) < 0)
            {
                if (errno == EINTR)
                {
                    continue; // a signal ended the wait for a turn, and nothing was read
                }
                error = Error::ReadFailed; // what `delivered` says then is no count
                break;
            }
            if (delivered == 0)
            {
                error = Error::EndsEarly;
                break;
            }
            total += delivered;
        }
        return total;
    }

    /// All of the content. What memory it takes grows with what is read, not with what the release lists.
    ///
    /// \param error  as for ReadAt; the bytes that came before it are given back.
    std::vector<std::byte> ReadAll(std::error_code &error) const
    {
        return ReadInto<std::vector<std::byte>>(error);
    }

    /// The same as text, byte for byte.
    std::string ReadText(std::error_code &error) const
    {
        return ReadInto<std::string>(error);
    }

#if KELD_MORV_IO_EXCEPTIONS
    /// As above; throws std::system_error.
    std::size_t ReadAt(std::uint64_t offset, void *buffer, std::size_t size) const
    {
        std::error_code error;
        const std::size_t count = ReadAt(offset, buffer, size, error);
        ThrowIfFailed(error, "MorvRead");
        return count;
    }

    /// As above; throws std::system_error.
    std::vector<std::byte> ReadAll() const
    {
        std::error_code error;
        std::vector<std::byte> content = ReadAll(error);
        ThrowIfFailed(error, "MorvRead");
        return content;
    }

    /// As above; throws std::system_error.
    std::string ReadText() const
    {
        std::error_code error;
        std::string content = ReadText(error);
        ThrowIfFailed(error, "MorvRead");
        return content;
    }
#endif

#if defined(__cpp_lib_span)
    /// As above, into a span.
    std::size_t ReadAt(std::uint64_t offset, std::span<std::byte> buffer, std::error_code &error) const
    {
        return ReadAt(offset, buffer.data(), buffer.size(), error);
    }

#if KELD_MORV_IO_EXCEPTIONS
    /// As above, into a span; throws std::system_error.
    std::size_t ReadAt(std::uint64_t offset, std::span<std::byte> buffer) const
    {
        return ReadAt(offset, buffer.data(), buffer.size());
    }
#endif
#endif

    /// Closes the file, while nobody reads through it.
    void Close() noexcept
    {
        mHandle.reset();
    }

    /// The library's handle, borrowed, for its own calls. Null without an open file.
    OpenFileHandle *GetHandle() const noexcept
    {
        return mHandle.get();
    }

private:
    static Error WhyNotOpened(const std::string &path)
    {
        if (!Exists(path))
        {
            return Error::NotFound;
        }
        const Detail::Shown shown = Detail::Look(path);
        return shown.hasFile && !shown.hasDirectory ? Error::CannotOpen : Error::IsDirectory;
    }

    template <class Content>
    Content ReadInto(std::error_code &error) const
    {
        constexpr std::uint64_t leastStep = 1 << 20;
        Content content;
        std::uint64_t count = 0;
        do
        {
            const std::uint64_t step = std::min(GetSize() - count, std::max(leastStep, count));
            content.resize(static_cast<std::size_t>(count + step));
            count += ReadAt(count, content.data() + count, static_cast<std::size_t>(step), error);
        } while (!error && count < GetSize());
        content.resize(static_cast<std::size_t>(count));
        return content;
    }

    std::unique_ptr<OpenFileHandle, Detail::FileCloser> mHandle;
};

/// All of a file as text: opened, read, closed.
///
/// \param error  as for File::Open and File::ReadAt.
inline std::string ReadText(const std::string &path, std::error_code &error)
{
    const File file = File::Open(path, error);
    return error ? std::string() : file.ReadText(error);
}

/// All of a file: opened, read, closed.
///
/// \param error  as for File::Open and File::ReadAt.
inline std::vector<std::byte> ReadAll(const std::string &path, std::error_code &error)
{
    const File file = File::Open(path, error);
    return error ? std::vector<std::byte>() : file.ReadAll(error);
}

#if KELD_MORV_IO_EXCEPTIONS
/// The same; throws std::system_error.
inline std::string ReadText(const std::string &path)
{
    std::error_code error;
    std::string content = ReadText(path, error);
    ThrowIfFailed(error, path);
    return content;
}

/// The same; throws std::system_error.
inline std::vector<std::byte> ReadAll(const std::string &path)
{
    std::error_code error;
    std::vector<std::byte> content = ReadAll(path, error);
    ThrowIfFailed(error, path);
    return content;
}
#endif
} // namespace Keld::MorvIO

#endif
