/// \file
/// A file as a standard input stream. Included by KeldMorvIO.hpp.
#ifndef KELD_MORV_IO_WRAPPER_FILE_STREAM_HPP
#define KELD_MORV_IO_WRAPPER_FILE_STREAM_HPP

#include "File.hpp"

#include <istream>
#include <memory>
#include <streambuf>
#include <utility>

namespace Keld::MorvIO
{
/// The buffer of a FileStream: seekable, and large reads go past it into the reader's own memory.
class FileStreamBuffer : public std::streambuf
{
public:
    FileStreamBuffer() = default;

    /// Takes over an open file, and stands at its first byte.
    explicit FileStreamBuffer(File file) : mFile(std::move(file)) {}

    FileStreamBuffer(FileStreamBuffer &&other) noexcept { *this = std::move(other); }

    FileStreamBuffer &operator=(FileStreamBuffer &&other) noexcept
    {
        if (this != &other)
        {
            std::streambuf::operator=(other); // the pointers stay right: the bytes do not move
            mFile = std::move(other.mFile);
            mBytes = std::move(other.mBytes);
            mNext = std::exchange(other.mNext, 0);
            mError = std::exchange(other.mError, {});
            other.setg(nullptr, nullptr, nullptr);
        }
        return *this;
    }

    /// The file.
    const File &GetFile() const { return mFile; }

    /// Why the last read gave less than the content; no error where it did not.
    const std::error_code &GetError() const { return mError; }

protected:
    /// Fills the buffer from where the file stands.
    int_type underflow() override
    {
        if (gptr() == egptr() && !Fill())
        {
            ThrowIfBad();
            return traits_type::eof();
        }
        return traits_type::to_int_type(*gptr());
    }

    /// What the buffer holds comes first; then large reads go straight to `target`.
    std::streamsize xsgetn(char *target, std::streamsize wanted) override
    {
        std::streamsize total = 0;
        while (total < wanted)
        {
            const std::streamsize left = wanted - total;
            if (gptr() == egptr() && left >= static_cast<std::streamsize>(BufferSize))
            {
                total += static_cast<std::streamsize>(Read(target + total, static_cast<std::size_t>(left)));
                break;
            }
            if (gptr() == egptr() && !Fill())
            {
                break;
            }
            const std::streamsize held = std::min<std::streamsize>(egptr() - gptr(), left);
            traits_type::copy(target + total, gptr(), static_cast<std::size_t>(held));
            gbump(static_cast<int>(held));
            total += held;
        }
        if (total == 0)
        {
            ThrowIfBad();
        }
        return total;
    }

    /// Bytes behind the buffer.
    std::streamsize showmanyc() override
    {
        const std::uint64_t size = mFile.GetSize();
        return mNext < size ? static_cast<std::streamsize>(size - mNext) : -1;
    }

    /// From the start, the place or the end; never in front of the file.
    pos_type seekoff(off_type offset, std::ios_base::seekdir from, std::ios_base::openmode which) override
    {
        const bool isInput = (which & std::ios_base::in) != 0;
        off_type base = 0;
        if (from == std::ios_base::cur)
        {
            base = static_cast<off_type>(mNext) - (egptr() - gptr());
        }
        else if (from == std::ios_base::end)
        {
            base = static_cast<off_type>(mFile.GetSize());
        }
        const bool fits = offset >= -base && offset <= MostOffset - base;
        if (!isInput || !mFile || !fits)
        {
            return pos_type(off_type(-1));
        }
        // A place inside of what the buffer holds costs no read.
        const off_type place = base + offset;
        const off_type start = static_cast<off_type>(mNext) - (egptr() - eback());
        if (place >= start && place <= static_cast<off_type>(mNext))
        {
            setg(eback(), eback() + (place - start), egptr());
        }
        else
        {
            setg(nullptr, nullptr, nullptr);
            mNext = static_cast<std::uint64_t>(place);
        }
        return pos_type(place);
    }

    /// The same from the start.
    pos_type seekpos(pos_type position, std::ios_base::openmode which) override
    {
        return seekoff(off_type(position), std::ios_base::beg, which);
    }

private:
    static constexpr std::size_t BufferSize = 0x10000;
    static constexpr off_type MostOffset = INT64_MAX / 2;

    /// Reads from where the file stands, past what the buffer holds, and steps on.
    std::size_t Read(char *target, std::size_t size)
    {
        setg(nullptr, nullptr, nullptr);
        const std::size_t count = mFile.ReadAt(mNext, target, size, mError);
        mNext += count;
        return count;
    }

    bool Fill()
    {
        if (mBytes == nullptr)
        {
            mBytes.reset(new char[BufferSize]);
        }
        const std::size_t count = Read(mBytes.get(), BufferSize);
        setg(mBytes.get(), mBytes.get(), mBytes.get() + count);
        return count != 0;
    }

    /// A stream turns what is thrown here into badbit.
    void ThrowIfBad() const
    {
#if KELD_MORV_IO_EXCEPTIONS
        if (mError)
        {
            throw std::ios_base::failure("KeldMorvIO", mError);
        }
#endif
    }

    File mFile;
    std::unique_ptr<char[]> mBytes; ///< made by the first read that needs it
    std::uint64_t mNext = 0;        ///< the offset behind what the buffer holds
    std::error_code mError;
};

/// A std::istream over a file. Where the stored bytes end too early or a read fails, the stream turns bad, a `read`
/// that has got some bytes by then at the next one; without exceptions it looks like the end of the file, and GetError
/// tells.
///
///     FileStream stream("docs/guide.txt");
///     for (std::string line; std::getline(stream, line);)
class FileStream : public std::istream
{
public:
    /// Takes over an open file. Without one every read fails.
    explicit FileStream(File file) : std::istream(nullptr), mBuffer(std::move(file)) { Attach(); }

    /// Opens a file; where that fails, so does the stream, and GetError tells why.
    explicit FileStream(const std::string &path) : std::istream(nullptr), mBuffer(File::Open(path, mOpenError))
    {
        Attach();
    }

    FileStream(FileStream &&other) noexcept
        : std::istream(std::move(other)), mOpenError(other.mOpenError), mBuffer(std::move(other.mBuffer))
    {
        set_rdbuf(&mBuffer);
    }

    FileStream &operator=(FileStream &&other) noexcept
    {
        mOpenError = other.mOpenError;
        mBuffer = std::move(other.mBuffer);
        std::istream::operator=(std::move(other)); // its state alone
        return *this;
    }

    /// The file.
    const File &GetFile() const { return mBuffer.GetFile(); }

    /// Why the file was not opened, or why the last read fell short; no error where neither happened.
    const std::error_code &GetError() const { return mOpenError ? mOpenError : mBuffer.GetError(); }

private:
    void Attach()
    {
        rdbuf(&mBuffer); // clears the state that the missing buffer has set
        if (!mBuffer.GetFile())
        {
            setstate(std::ios_base::failbit);
        }
    }

    std::error_code mOpenError; ///< before the buffer, whose making sets it
    FileStreamBuffer mBuffer;
};
} // namespace Keld::MorvIO

#endif
