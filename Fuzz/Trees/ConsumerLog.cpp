#include "Trees/ConsumerLog.h"

#include "FuzzSupport.h"

#include "KeldFoundation/logger/IKeldLogger.h"
#include "KeldMorvIO/Public/KeldMorvIO.h"

#include <cstdio>
#include <cstring>

namespace Keld::Fuzz
{
namespace
{
constexpr uint32 OwnGroup = 0x100;
constexpr int32 HighestSeverity = 2; // the library's own: ERROR

KeldGroupMask Register(const char *tag)
{
    Require(std::strcmp(tag, "MRV") == 0, "the library's group is called MRV");
    return {OwnGroup, 0};
}

void Format(int32 severity, uint32 groupLow, uint32, const char *format, va_list arguments)
{
    Require(severity >= 0 && severity <= HighestSeverity, "a message has one of three severities");
    Require((groupLow & OwnGroup) != 0, "a message is in the library's group");
    Require(std::strncmp(format, "%s: ", 4) == 0, "a message begins with its caller");
    static char line[8192];
    Require(std::vsnprintf(line, sizeof line, format, arguments) > 0, "a message can be formatted");
}

constexpr IKeldLogger MakeTable()
{
    IKeldLogger table{};
    table.RegisterGroup = Register;
    table.Log = Format;
    return table;
}

constexpr IKeldLogger Table = MakeTable();
} // namespace

void UseConsumerLog()
{
    MorvSetLogger(&Table);
}
} // namespace Keld::Fuzz
