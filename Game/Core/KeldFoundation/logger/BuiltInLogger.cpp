#include "KeldFoundation/logger/BuiltInLogger.h"

#include <cstdio>

namespace Keld
{
namespace
{
KeldGroupMask RegisterGroup(const char *)
{
    return KeldGroupMask{0x100, 0};
}

void WriteMessage(int32_t severity, uint32_t, uint32_t, const char *format, va_list arguments)
{
    if (severity > 0)
    {
        std::vfprintf(stderr, format, arguments);
        std::fputc('\n', stderr);
    }
}

constexpr IKeldLogger MakeTable()
{
    IKeldLogger table{};
    table.RegisterGroup = RegisterGroup;
    table.Log = WriteMessage;
    return table;
}
} // namespace

constinit const IKeldLogger gBuiltInLogger = MakeTable();
} // namespace Keld
