/// \file
/// The table of a logger: 26 function pointers that work on one process-wide logger and take no object.
///
/// This header is C99, and C++11 as well, and compiles alone. It is a binary interface between modules that are built
/// apart, so the order and the types of the slots never change. The library itself calls two of them: `RegisterGroup`,
/// once, and `Log`, from any thread.
#ifndef KELD_FOUNDATION_LOGGER_IKELDLOGGER_H
#define KELD_FOUNDATION_LOGGER_IKELDLOGGER_H

#include "KeldFoundation/logger/IKeldLogTarget.h"

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C"
{
#endif

    /// A 64-bit group mask as slot 17 returns it: two words by value, low word first.
    typedef struct KeldGroupMask
    {
        uint32_t low;
        uint32_t high;
    } KeldGroupMask;

    // KeldMorvIO.h names it as well, and C99 has no name twice.
#ifndef KELD_LOGGER_NAMED
#define KELD_LOGGER_NAMED
    typedef struct IKeldLogger IKeldLogger;
#endif

    /// What the comments tell is what the library's own logger does. A consumer's table may do otherwise behind each
    /// slot, as long as modules that share it agree. Buffers are the caller's; `size` is their room in bytes, the NUL
    /// included, and what does not fit is cut. Texts that are returned live as long as the logger.
    struct IKeldLogger
    {
        uint32_t (*GetInterfaceVersion)(void); ///< 1
        void (*Startup)(void);                 ///< counted: the first makes the logger, unless a message has done so
        void (*Shutdown)(void);                ///< counted: the last one ends the logger
        void (*SetLevel)(int32_t severity);    ///< messages below are dropped; announces itself by a message
        int32_t (*GetLevel)(void);
        void (*SetIgnoredGroups)(uint32_t low, uint32_t high); ///< messages with any of these groups are dropped
        uint64_t (*GetIgnoredGroups)(void);
        void (*Mute)(void); ///< drops every message, whatever its severity
        void (*Unmute)(void);
        void (*SetReservedSwitch)(void); ///< without effect, as the next
        void (*ClearReservedSwitch)(void);
        void (*AddTarget)(IKeldLogTarget *target);    ///< borrowed until it is removed; twice added, twice written to
        void (*RemoveTarget)(IKeldLogTarget *target); ///< wherever it stands in the list
        IKeldLogTarget *(*FindTarget)(const char *name); ///< the first of that name; null when there is none
        IKeldLogTarget *(*GetStdOutTarget)(void);        ///< not attached until somebody does it
        IKeldLogTarget *(*GetStdErrTarget)(void);        ///< attached from the start
        IKeldLogTarget *(*GetExtraTarget)(void);         ///< null
        KeldGroupMask (*RegisterGroup)(const char *tag); ///< three letters; the mask of the group, made if need be
        /// The tags of a mask in ascending order of their bits, joined by ";".
        void (*FormatGroupNames)(char *buffer, size_t size, uint64_t mask);
        /// A record as a line that ends in a newline, by a target's format.
        void (*FormatLine)(char *buffer, size_t size, const char *format, const LogRecord *record);
        const char *(*GetSeverityName)(int32_t severity); ///< in six characters, as in " ERROR"
        const char *(*GetApplicationName)(void);
        void (*GetTimestamp)(LogRecord *record); ///< fills the time with the present; the rest is left alone
        void (*FormatTimestamp)(char *buffer, size_t size, const LogRecord *record);     ///< 2010-01-31T23:59:59.000
        void (*FormatFileTimestamp)(char *buffer, size_t size, const LogRecord *record); ///< 2010-01-31T23-59-59
        /// One message, from any thread. All pointers are borrowed for the call. `arguments` can be walked once: a
        /// logger that formats twice makes a `va_copy` first.
        void (*Log)(int32_t severity, uint32_t groupLow, uint32_t groupHigh, const char *format, va_list arguments);
    };

#ifdef __cplusplus
}
#endif

#endif
