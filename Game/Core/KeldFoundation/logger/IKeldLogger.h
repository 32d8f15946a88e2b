/// \file
/// The table of a logger: 26 function pointers that work on one process-wide logger and take no object.
///
/// This header is C and compiles alone as C. It is a binary interface between modules that are built apart, so the
/// order and the types of the slots never change. The library itself calls two of them: `RegisterGroup`, once, and
/// `Log`, from any thread.
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

    typedef struct IKeldLogger
    {
        uint32_t (*GetInterfaceVersion)(void); ///< 1
        void (*Startup)(void);
        void (*Shutdown)(void);
        void (*SetLevel)(int32_t severity);
        int32_t (*GetLevel)(void);
        void (*SetIgnoredGroups)(uint32_t low, uint32_t high);
        uint64_t (*GetIgnoredGroups)(void);
        void (*Mute)(void);
        void (*Unmute)(void);
        void (*SetReservedSwitch)(void);
        void (*ClearReservedSwitch)(void);
        void (*AddTarget)(IKeldLogTarget *target); ///< borrowed until it is removed
        void (*RemoveTarget)(IKeldLogTarget *target);
        IKeldLogTarget *(*FindTarget)(const char *name); ///< null when no target has that name
        IKeldLogTarget *(*GetStdOutTarget)(void);
        IKeldLogTarget *(*GetStdErrTarget)(void);
        IKeldLogTarget *(*GetExtraTarget)(void); ///< null
        KeldGroupMask (*RegisterGroup)(const char *tag);
        void (*FormatGroupNames)(char *buffer, size_t size, uint64_t mask);
        void (*FormatLine)(char *buffer, size_t size, const char *format, const LogRecord *record);
        const char *(*GetSeverityName)(int32_t severity);
        const char *(*GetApplicationName)(void);
        void (*GetTimestamp)(LogRecord *record);
        void (*FormatTimestamp)(char *buffer, size_t size, const LogRecord *record);
        void (*FormatFileTimestamp)(char *buffer, size_t size, const LogRecord *record);
        /// `arguments` can be walked once: a logger that formats twice makes a `va_copy` first.
        void (*Log)(int32_t severity, uint32_t groupLow, uint32_t groupHigh, const char *format, va_list arguments);
    } IKeldLogger;

#ifdef __cplusplus
}
#endif

#endif
