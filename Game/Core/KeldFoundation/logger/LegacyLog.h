#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <string>
#include <vector>

// The entry points of older code, which knows fourteen levels instead of severities and groups. They talk to the
// built-in logger, whatever the current one is.
namespace Keld
{
enum LegacyLevel : uint32
{
    LegacyOpd = 0,
    LegacyAll = 1,
    LegacyLegacy = 2,
    LegacyTrace = 3,
    LegacyDebug = 4,
    LegacyInfo = 5,
    LegacyPerformanceIssue = 6,
    LegacyMemoryLeak = 7,
    LegacyWarn = 8,
    LegacyError = 9,
    LegacyFatal = 10,
    LegacyAlways = 11,
    LegacyMemoryDebug = 12, ///< kept in memory instead of being logged
    LegacyNone = 13,
    LegacyLevelCount = 14
};

/// Level 0 logs nothing; a number above 13 logs like 13.
__attribute__((format(printf, 2, 3))) void LegacyLog(uint32 level, const char *format, ...);

/// Sets the built-in logger's level, or mutes it for 13. 0, 2 and all that is no level change nothing.
void SetLegacyLevel(uint32 level);

/// The level of a name, whatever its case, or LegacyLevelCount. "OKAY" is another name of level 5.
uint32 ParseLegacyLevel(const char *name);

/// Walks the texts of level 12 that are still kept. It prints nothing; they are there for a debugger.
void DumpLegacyLog();

/// The same texts, the oldest first.
std::vector<std::string> GetLegacyTexts();

/// What the token #H prints: memory figures behind the time, and two more figures between them. The second switch, when
/// it is set, also sets the built-in logger's level to OKAY.
void SetMemoryHeader(bool flag);
void SetHeaderCounters(bool flag);
} // namespace Keld
