/// \file
/// What a consumer needs to hear the library: the table of a logger and the record of a log target.
///
/// This header is C99, and C++11 as well, and compiles alone. A logger is an IKeldLogger, passed to MorvSetLogger of
/// KeldMorvIO.h. The library calls two of its slots:
///
///  - `RegisterGroup`, once, with the tag "MRV": it returns the mask that marks every message of the library;
///  - `Log`, from any thread, also while the library holds locks of its own: it must not call the library. Severities
///    are 0 OKAY, 1 WARN, 2 ERROR and 3 ALWAYS. In the low word of the groups, beside the library's own, failures and
///    warnings carry the bit 1 (DBG), progress the bit 2 (GEN), and traces of calls the bits 1 and 4 (DBG, XTR).
///
/// The other slots are for whoever else shares the logger, and may be null where nobody does. A log target, an
/// IKeldLogTarget, is what a logger hands its finished messages to; where a logger of the consumer's keeps targets, it
/// calls them in the same manner as the library's own: `Write` for each record whose severity is not below `GetLevel`
/// and whose groups, if it has any, have no bit of `GetIgnoredGroups` and, if `GetRequiredGroups` is not 0, a bit of
/// that.
#ifndef KELD_LOGGER_H
#define KELD_LOGGER_H

#include "KeldFoundation/logger/IKeldLogTarget.h"
#include "KeldFoundation/logger/IKeldLogger.h"

#endif
