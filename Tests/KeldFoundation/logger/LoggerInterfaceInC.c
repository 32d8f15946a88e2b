// A logger's table as a module in C writes it, and the layout of what passes between modules as C sees it.
#include "KeldFoundation/logger/IKeldLogTarget.h"
#include "KeldFoundation/logger/IKeldLogger.h"

#include <assert.h>
#include <stddef.h>

#define CHECK_SLOT(table, index, slot)                                                                                 \
    static_assert(offsetof(table, slot) == (index) * sizeof(void (*)(void)), #slot " has moved")

static_assert(sizeof(IKeldLogger) == 26 * sizeof(void (*)(void)), "26 slots");
CHECK_SLOT(IKeldLogger, 0, GetInterfaceVersion);
CHECK_SLOT(IKeldLogger, 1, Startup);
CHECK_SLOT(IKeldLogger, 2, Shutdown);
CHECK_SLOT(IKeldLogger, 3, SetLevel);
CHECK_SLOT(IKeldLogger, 4, GetLevel);
CHECK_SLOT(IKeldLogger, 5, SetIgnoredGroups);
CHECK_SLOT(IKeldLogger, 6, GetIgnoredGroups);
CHECK_SLOT(IKeldLogger, 7, Mute);
CHECK_SLOT(IKeldLogger, 8, Unmute);
CHECK_SLOT(IKeldLogger, 9, SetReservedSwitch);
CHECK_SLOT(IKeldLogger, 10, ClearReservedSwitch);
CHECK_SLOT(IKeldLogger, 11, AddTarget);
CHECK_SLOT(IKeldLogger, 12, RemoveTarget);
CHECK_SLOT(IKeldLogger, 13, FindTarget);
CHECK_SLOT(IKeldLogger, 14, GetStdOutTarget);
CHECK_SLOT(IKeldLogger, 15, GetStdErrTarget);
CHECK_SLOT(IKeldLogger, 16, GetExtraTarget);
CHECK_SLOT(IKeldLogger, 17, RegisterGroup);
CHECK_SLOT(IKeldLogger, 18, FormatGroupNames);
CHECK_SLOT(IKeldLogger, 19, FormatLine);
CHECK_SLOT(IKeldLogger, 20, GetSeverityName);
CHECK_SLOT(IKeldLogger, 21, GetApplicationName);
CHECK_SLOT(IKeldLogger, 22, GetTimestamp);
CHECK_SLOT(IKeldLogger, 23, FormatTimestamp);
CHECK_SLOT(IKeldLogger, 24, FormatFileTimestamp);
CHECK_SLOT(IKeldLogger, 25, Log);

static_assert(sizeof(IKeldLogTarget) == 12 * sizeof(void (*)(void)), "12 slots");
CHECK_SLOT(IKeldLogTarget, 0, GetInterfaceVersion);
CHECK_SLOT(IKeldLogTarget, 1, SetLevel);
CHECK_SLOT(IKeldLogTarget, 2, GetLevel);
CHECK_SLOT(IKeldLogTarget, 3, SetGroups);
CHECK_SLOT(IKeldLogTarget, 4, GetRequiredGroups);
CHECK_SLOT(IKeldLogTarget, 5, GetIgnoredGroups);
CHECK_SLOT(IKeldLogTarget, 6, GetName);
CHECK_SLOT(IKeldLogTarget, 7, GetFormat);
CHECK_SLOT(IKeldLogTarget, 8, Attach);
CHECK_SLOT(IKeldLogTarget, 9, Detach);
CHECK_SLOT(IKeldLogTarget, 10, IsAttached);
CHECK_SLOT(IKeldLogTarget, 11, Write);

static_assert(sizeof(LogRecord) == 48, "the record has grown");
static_assert(offsetof(LogRecord, year) == 0 && offsetof(LogRecord, month) == 4, "year, month");
static_assert(offsetof(LogRecord, day) == 8 && offsetof(LogRecord, hour) == 12, "day, hour");
static_assert(offsetof(LogRecord, minute) == 16 && offsetof(LogRecord, second) == 20, "minute, second");
static_assert(offsetof(LogRecord, millisecond) == 24 && offsetof(LogRecord, severity) == 28, "millisecond, severity");
static_assert(offsetof(LogRecord, groups) == 32 && offsetof(LogRecord, message) == 40, "groups, message");
static_assert(sizeof(KeldGroupMask) == 8 && offsetof(KeldGroupMask, high) == 4, "low word first");

static uint64_t gIgnoredGroups;

static uint32_t GetInterfaceVersion(void)
{
    return 1;
}

static void SetIgnoredGroups(uint32_t low, uint32_t high)
{
    gIgnoredGroups = (uint64_t)high << 32 | low;
}

static uint64_t GetIgnoredGroups(void)
{
    return gIgnoredGroups;
}

// The tag in the low word, its last letter in the high one: nothing that a test could meet by chance.
static KeldGroupMask RegisterGroup(const char *tag)
{
    const KeldGroupMask mask = {(uint32_t)tag[0] << 24 | (uint32_t)tag[1] << 16 | (uint32_t)tag[2] << 8,
                                (uint32_t)tag[2]};
    return mask;
}

static const IKeldLogger gTable = {
    .GetInterfaceVersion = GetInterfaceVersion,
    .SetIgnoredGroups = SetIgnoredGroups,
    .GetIgnoredGroups = GetIgnoredGroups,
    .RegisterGroup = RegisterGroup,
};

const IKeldLogger *KeldTestLoggerInC(void);

const IKeldLogger *KeldTestLoggerInC(void)
{
    return &gTable;
}
