/// \file
/// The record by which a log target is handed to a logger: twelve function pointers and nothing else.
///
/// This header is C99, and C++11 as well, and compiles alone. It is a binary interface between modules that are built
/// apart, so the order and the types of the slots never change. Group masks are 64 bits wide, one bit per log group;
/// they go in as two 32-bit words, low word first.
#ifndef KELD_FOUNDATION_LOGGER_IKELDLOGTARGET_H
#define KELD_FOUNDATION_LOGGER_IKELDLOGTARGET_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C"
{
#endif

    /// One message as a target receives it. The times are local; `millisecond` is always 0.
    typedef struct LogRecord
    {
        int32_t year;   ///< the full year, as in 2010
        int32_t month;  ///< 1 to 12
        int32_t day;    ///< 1 to 31
        int32_t hour;   ///< 0 to 23
        int32_t minute; ///< 0 to 59
        int32_t second; ///< 0 to 60
        int32_t millisecond;
        int32_t severity;    ///< 0 OKAY, 1 WARN, 2 ERROR, 3 ALWAYS
        uint64_t groups;     ///< the message's groups; may be empty
        const char *message; ///< borrowed: valid only during the call that hands the record over
    } LogRecord;

    typedef struct IKeldLogTarget IKeldLogTarget;

    /// Every operation takes the record itself first. `Write` runs under the logger's lock, on the logging thread.
    struct IKeldLogTarget
    {
        uint32_t (*GetInterfaceVersion)(IKeldLogTarget *self);    ///< 1
        void (*SetLevel)(IKeldLogTarget *self, int32_t severity); ///< records below are not for this target
        int32_t (*GetLevel)(IKeldLogTarget *self);
        /// A record with an ignored group is not for this target, nor one without any of the required, unless none is
        /// required or the record has no groups at all. A group in both masks is only ignored.
        void (*SetGroups)(IKeldLogTarget *self, uint32_t requiredLow, uint32_t requiredHigh, uint32_t ignoredLow,
                          uint32_t ignoredHigh);
        uint64_t (*GetRequiredGroups)(IKeldLogTarget *self);
        uint64_t (*GetIgnoredGroups)(IKeldLogTarget *self);
        const char *(*GetName)(IKeldLogTarget *self);                            ///< owned by the target
        const char *(*GetFormat)(IKeldLogTarget *self, const LogRecord *record); ///< owned by the target
        void (*Attach)(IKeldLogTarget *self);                                    ///< adds itself to its logger, once
        void (*Detach)(IKeldLogTarget *self); ///< removes itself; a logger that ends asks all of its targets for it
        uint8_t (*IsAttached)(IKeldLogTarget *self);                     ///< 0 or 1
        uint8_t (*Write)(IKeldLogTarget *self, const LogRecord *record); ///< 1 when written; the logger does not look
    };

#ifdef __cplusplus
}
#endif

#endif
