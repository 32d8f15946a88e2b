#include "Tools/TreeMount/DecodedFile.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace Keld::TreeMount
{
using TreeReader::Fault;
using TreeReader::FaultKind;

namespace
{
[[noreturn]] void FailWith(const std::string &what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

/// Where large files may lie for a while. The directory for small ones is often in memory.
std::string TemporaryDirectory()
{
    const char *chosen = std::getenv("TMPDIR");
    return chosen != nullptr && *chosen != '\0' ? chosen : "/var/tmp";
}

int MakeNamelessFile()
{
    std::string path = TemporaryDirectory() + "/morv-decoded-XXXXXX";
    const int descriptor = mkostemp(path.data(), O_CLOEXEC);
    if (descriptor < 0)
    {
        FailWith("cannot make a temporary file in " + TemporaryDirectory());
    }
    unlink(path.c_str());
    return descriptor;
}
} // namespace

DecodedFile::DecodedFile(std::unique_ptr<char[]> memory, int descriptor, uint64 size)
    : mMemory(std::move(memory)), mDescriptor(descriptor), mSize(size)
{
}

DecodedFile::~DecodedFile()
{
    if (mDescriptor >= 0)
    {
        close(mDescriptor);
    }
}

std::unique_ptr<DecodedFile> DecodedFile::MakeInMemory(uint64 size)
{
    return std::unique_ptr<DecodedFile>(new DecodedFile(std::unique_ptr<char[]>(new char[size]), -1, size));
}

std::unique_ptr<DecodedFile> DecodedFile::MakeOnDisk(uint64 size)
{
    return std::unique_ptr<DecodedFile>(new DecodedFile(nullptr, MakeNamelessFile(), size));
}

void DecodedFile::Append(std::string_view bytes)
{
    if (IsInMemory())
    {
        std::memcpy(mMemory.get() + mFilled, bytes.data(), bytes.size());
        mFilled += bytes.size();
        return;
    }
    while (!bytes.empty())
    {
        const ssize_t count = pwrite(mDescriptor, bytes.data(), bytes.size(), static_cast<off_t>(mFilled));
        if (count < 0 && errno == EINTR)
        {
            continue;
        }
        if (count < 0)
        {
            FailWith("cannot write to a temporary file in " + TemporaryDirectory());
        }
        bytes.remove_prefix(static_cast<uint_size>(count));
        mFilled += static_cast<uint64>(count);
    }
}

TreeReader::Result<std::string_view> DecodedFile::Read(uint64 offset, uint_size size, std::vector<char> &buffer) const
{
    if (IsInMemory())
    {
        return std::string_view(mMemory.get() + offset, size);
    }
    buffer.resize(size);
    for (uint_size done = 0; done < size;)
    {
        const ssize_t count = pread(mDescriptor, buffer.data() + done, size - done, static_cast<off_t>(offset + done));
        if (count < 0 && errno == EINTR)
        {
            continue;
        }
        if (count <= 0)
        {
            return Fault{FaultKind::ReadError, TemporaryDirectory(),
                         std::string("a temporary file cannot be read: ") +
                             (count == 0 ? "it ends early" : std::strerror(errno))};
        }
        done += static_cast<uint_size>(count);
    }
    return std::string_view(buffer.data(), size);
}
} // namespace Keld::TreeMount
