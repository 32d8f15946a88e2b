#include "KeldFoundation/logger/LegacyLog.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/counters/StatusHeader.h"
#include "KeldFoundation/logger/BuiltInLogger.h"
#include "KeldFoundation/logger/Log.h"
#include "KeldFoundation/logger/MessageRing.h"
#include "KeldFoundation/sync/Mutex.h"

#include <array>
#include <cstdarg>

namespace Keld
{
namespace
{
enum class LevelChange
{
    Nothing,
    Set,
    Mute
};

struct LevelMapping
{
    const char *name;
    int32 severity; ///< of messages
    uint32 groups;  ///< of messages
    LevelChange change;
    int32 level; ///< of the logger, when it is set
};

constexpr std::array<LevelMapping, LegacyLevelCount> Levels = {{
    {"OPD", OKAY, 0, LevelChange::Nothing, OKAY},
    {"ALL", OKAY, GEN, LevelChange::Set, OKAY},
    {"LEGACY", OKAY, GEN, LevelChange::Nothing, OKAY},
    {"TRACE", OKAY, DBG | XTR, LevelChange::Set, OKAY},
    {"DEBUG", OKAY, DBG | XTR, LevelChange::Set, OKAY},
    {"INFO", OKAY, GEN, LevelChange::Set, OKAY},
    {"PERFORMANCE_ISSUE", WARN, DBG | PRF, LevelChange::Set, WARN},
    {"MEMORY_LEAK", WARN, DBG | MEM, LevelChange::Set, WARN},
    {"WARN", WARN, DBG, LevelChange::Set, WARN},
    {"ERROR", ERROR, DBG, LevelChange::Set, ERROR},
    {"FATAL", ERROR, DBG, LevelChange::Set, ERROR},
    {"ALWAYS", ALWAYS, GEN, LevelChange::Set, ALWAYS},
    {"MEMORY_DEBUG", OKAY, 0, LevelChange::Set, ALWAYS},
    {"NONE", OKAY, GEN, LevelChange::Mute, OKAY},
}};

/// The older entry points' own state, never destroyed.
struct LegacyState
{
    Mutex mutex;
    Logger::MessageRing texts;
};

LegacyState &GetState()
{
    static LegacyState *const state = new LegacyState;
    return *state;
}

__attribute__((format(printf, 1, 0))) void Keep(const char *format, va_list arguments)
{
    char text[4096];
    std_vsnprintf(text, sizeof text, format, arguments);
    LegacyState &state = GetState();
    const MutexLock lock(state.mutex);
    state.texts.Store(text);
}
} // namespace

void LegacyLog(uint32 level, const char *format, ...)
{
    if (level == LegacyOpd)
    {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    if (level == LegacyMemoryDebug)
    {
        Keep(format, arguments);
    }
    else
    {
        const LevelMapping &mapping = Levels[level < LegacyLevelCount ? level : LegacyNone];
        gBuiltInLogger.Log(mapping.severity, mapping.groups, 0, format, arguments);
    }
    va_end(arguments);
}

void SetLegacyLevel(uint32 level)
{
    if (level >= LegacyLevelCount)
    {
        return;
    }
    const LevelMapping &mapping = Levels[level];
    switch (mapping.change)
    {
    case LevelChange::Nothing:
        break;
    case LevelChange::Set:
        gBuiltInLogger.Unmute();
        gBuiltInLogger.SetLevel(mapping.level);
        break;
    case LevelChange::Mute:
        gBuiltInLogger.Mute();
        break;
    }
}

uint32 ParseLegacyLevel(const char *name)
{
    for (uint32 level = 0; level < LegacyLevelCount; ++level)
    {
        if (std_stricmp(name, Levels[level].name) == 0)
        {
            return level;
        }
    }
    return std_stricmp(name, "OKAY") == 0 ? static_cast<uint32>(LegacyInfo) : LegacyLevelCount;
}

void DumpLegacyLog()
{
    LegacyState &state = GetState();
    const MutexLock lock(state.mutex);
    state.texts.ForEach([](const std::string &) {});
}

std::vector<std::string> GetLegacyTexts()
{
    std::vector<std::string> texts;
    LegacyState &state = GetState();
    const MutexLock lock(state.mutex);
    state.texts.ForEach(
        [&](const std::string &text)
        {
            texts.push_back(text);
        });
    return texts;
}

void SetMemoryHeader(bool flag)
{
    const MutexLock lock(GetState().mutex);
    gStatusHeader.mMemoryHeader.store(flag, std::memory_order_relaxed);
}

void SetHeaderCounters(bool flag)
{
    {
        const MutexLock lock(GetState().mutex);
        gStatusHeader.mHeaderCounters.store(flag, std::memory_order_relaxed);
    }
    if (flag)
    {
        gBuiltInLogger.SetLevel(OKAY);
    }
}
} // namespace Keld
