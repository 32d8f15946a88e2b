#include "KeldFoundation/logger/IKeldLogger.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <type_traits>

// The two function tables and the record pass between modules that are built apart: every slot has its place and type
// for ever. The same is held in C by LoggerInterfaceInC.c.
namespace Keld::Test
{
namespace
{
template <class Slot, class Type>
constexpr bool Is = std::is_same_v<Slot, Type>;

#define EXPECT_SLOT(table, index, slot, ...)                                                                           \
    static_assert(offsetof(table, slot) == (index) * sizeof(void *));                                                  \
    static_assert(Is<decltype(table::slot), __VA_ARGS__>)

static_assert(std::is_standard_layout_v<IKeldLogger> && sizeof(IKeldLogger) == 26 * sizeof(void *));
EXPECT_SLOT(IKeldLogger, 0, GetInterfaceVersion, std::uint32_t (*)());
EXPECT_SLOT(IKeldLogger, 1, Startup, void (*)());
EXPECT_SLOT(IKeldLogger, 2, Shutdown, void (*)());
EXPECT_SLOT(IKeldLogger, 3, SetLevel, void (*)(std::int32_t));
EXPECT_SLOT(IKeldLogger, 4, GetLevel, std::int32_t (*)());
EXPECT_SLOT(IKeldLogger, 5, SetIgnoredGroups, void (*)(std::uint32_t, std::uint32_t));
EXPECT_SLOT(IKeldLogger, 6, GetIgnoredGroups, std::uint64_t (*)());
EXPECT_SLOT(IKeldLogger, 7, Mute, void (*)());
EXPECT_SLOT(IKeldLogger, 8, Unmute, void (*)());
EXPECT_SLOT(IKeldLogger, 9, SetReservedSwitch, void (*)());
EXPECT_SLOT(IKeldLogger, 10, ClearReservedSwitch, void (*)());
EXPECT_SLOT(IKeldLogger, 11, AddTarget, void (*)(IKeldLogTarget *));
EXPECT_SLOT(IKeldLogger, 12, RemoveTarget, void (*)(IKeldLogTarget *));
EXPECT_SLOT(IKeldLogger, 13, FindTarget, IKeldLogTarget *(*)(const char *));
EXPECT_SLOT(IKeldLogger, 14, GetStdOutTarget, IKeldLogTarget *(*)());
EXPECT_SLOT(IKeldLogger, 15, GetStdErrTarget, IKeldLogTarget *(*)());
EXPECT_SLOT(IKeldLogger, 16, GetExtraTarget, IKeldLogTarget *(*)());
EXPECT_SLOT(IKeldLogger, 17, RegisterGroup, KeldGroupMask (*)(const char *));
EXPECT_SLOT(IKeldLogger, 18, FormatGroupNames, void (*)(char *, std::size_t, std::uint64_t));
EXPECT_SLOT(IKeldLogger, 19, FormatLine, void (*)(char *, std::size_t, const char *, const LogRecord *));
EXPECT_SLOT(IKeldLogger, 20, GetSeverityName, const char *(*)(std::int32_t));
EXPECT_SLOT(IKeldLogger, 21, GetApplicationName, const char *(*)());
EXPECT_SLOT(IKeldLogger, 22, GetTimestamp, void (*)(LogRecord *));
EXPECT_SLOT(IKeldLogger, 23, FormatTimestamp, void (*)(char *, std::size_t, const LogRecord *));
EXPECT_SLOT(IKeldLogger, 24, FormatFileTimestamp, void (*)(char *, std::size_t, const LogRecord *));
EXPECT_SLOT(IKeldLogger, 25, Log, void (*)(std::int32_t, std::uint32_t, std::uint32_t, const char *, va_list));

static_assert(std::is_standard_layout_v<IKeldLogTarget> && sizeof(IKeldLogTarget) == 12 * sizeof(void *));
EXPECT_SLOT(IKeldLogTarget, 0, GetInterfaceVersion, std::uint32_t (*)(IKeldLogTarget *));
EXPECT_SLOT(IKeldLogTarget, 1, SetLevel, void (*)(IKeldLogTarget *, std::int32_t));
EXPECT_SLOT(IKeldLogTarget, 2, GetLevel, std::int32_t (*)(IKeldLogTarget *));
EXPECT_SLOT(IKeldLogTarget, 3, SetGroups,
            void (*)(IKeldLogTarget *, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t));
EXPECT_SLOT(IKeldLogTarget, 4, GetRequiredGroups, std::uint64_t (*)(IKeldLogTarget *));
EXPECT_SLOT(IKeldLogTarget, 5, GetIgnoredGroups, std::uint64_t (*)(IKeldLogTarget *));
EXPECT_SLOT(IKeldLogTarget, 6, GetName, const char *(*)(IKeldLogTarget *));
EXPECT_SLOT(IKeldLogTarget, 7, GetFormat, const char *(*)(IKeldLogTarget *, const LogRecord *));
EXPECT_SLOT(IKeldLogTarget, 8, Attach, void (*)(IKeldLogTarget *));
EXPECT_SLOT(IKeldLogTarget, 9, Detach, void (*)(IKeldLogTarget *));
EXPECT_SLOT(IKeldLogTarget, 10, IsAttached, std::uint8_t (*)(IKeldLogTarget *));
EXPECT_SLOT(IKeldLogTarget, 11, Write, std::uint8_t (*)(IKeldLogTarget *, const LogRecord *));

static_assert(std::is_trivial_v<LogRecord> && sizeof(LogRecord) == 48);
static_assert(offsetof(LogRecord, year) == 0 && offsetof(LogRecord, month) == 4 && offsetof(LogRecord, day) == 8);
static_assert(offsetof(LogRecord, hour) == 12 && offsetof(LogRecord, minute) == 16);
static_assert(offsetof(LogRecord, second) == 20 && offsetof(LogRecord, millisecond) == 24);
static_assert(offsetof(LogRecord, severity) == 28 && offsetof(LogRecord, groups) == 32);
static_assert(offsetof(LogRecord, message) == 40);
static_assert(std::is_trivial_v<KeldGroupMask> && sizeof(KeldGroupMask) == 8);
static_assert(offsetof(KeldGroupMask, low) == 0 && offsetof(KeldGroupMask, high) == 4);

extern "C" const IKeldLogger *KeldTestLoggerInC();

TEST(LoggerInterfaceTest, ATableWrittenInCIsCalledByItsPlaces)
{
    const IKeldLogger *const table = KeldTestLoggerInC();
    EXPECT_EQ(table->GetInterfaceVersion(), 1u);
    const KeldGroupMask mask = table->RegisterGroup("MRV");
    EXPECT_EQ(mask.low, 0x4D525600u);
    EXPECT_EQ(mask.high, 0x56u);
    table->SetIgnoredGroups(0x11111111, 0x22222222);
    EXPECT_EQ(table->GetIgnoredGroups(), 0x2222222211111111u);
}
} // namespace
} // namespace Keld::Test
