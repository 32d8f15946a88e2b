#include "FuzzSupport.h"

#include "KeldFoundation/logger/Log.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include <sys/mman.h>
#include <unistd.h>

namespace Keld::Fuzz
{
namespace
{
void Ignore(int32, uint32, uint32, const char *, va_list) {}

constexpr IKeldLogger MakeSilentTable()
{
    IKeldLogger table{};
    table.Log = Ignore;
    return table;
}

constexpr IKeldLogger SilentTable = MakeSilentTable();
} // namespace

void Require(bool condition, const char *what)
{
    if (!condition)
    {
        std::fprintf(stderr, "This must hold, and does not: %s\n", what);
        std::abort();
    }
}

void SilenceLog()
{
    SetCurrentLogger(&SilentTable);
}

MemoryFile::MemoryFile(const uint8 *data, std::size_t size) : mDescriptor(memfd_create("input", MFD_CLOEXEC))
{
    Require(mDescriptor != -1, "a file in memory can be made");
    Require(size == 0 || write(mDescriptor, data, size) == static_cast<ssize_t>(size), "its bytes can be written");
}

MemoryFile::~MemoryFile()
{
    close(mDescriptor);
}

uint8 InputReader::Byte()
{
    if (mLeft.empty())
    {
        return 0;
    }
    const auto byte = static_cast<uint8>(mLeft.front());
    mLeft.remove_prefix(1);
    return byte;
}

uint32 InputReader::HalfWord()
{
    const uint32 low = Byte();
    return low | uint32{Byte()} << 8;
}

std::string InputReader::Line()
{
    const std::size_t end = mLeft.find('\n');
    std::string line(mLeft.substr(0, end));
    mLeft.remove_prefix(end == std::string_view::npos ? mLeft.size() : end + 1);
    return line;
}
} // namespace Keld::Fuzz
