#pragma once

#include <boost/function.hpp>

// An assertion guards against programming errors, never against bad data: a null pointer, a count that would cut a
// text. Its failure is reported and never survived, in every build. It is used in the standard-call layer alone; the
// code above reports with log lines and results.
namespace Keld
{
using Reporter = boost::function<void(const char *)>;

/// The process-wide slots by which this layer reaches the logger without knowing it. Empty until `SetReporters`; made
/// at their first use and never destroyed, so that an assertion in a late exit handler finds them alive.
Reporter &gOkayReporter();
Reporter &gWarningReporter();
Reporter &gErrorReporter();

/// Called once, by the logger when it is made, under its lock.
void SetReporters(const Reporter &okay, const Reporter &warning, const Reporter &error);

/// Each hands a text to its slot. An empty slot swallows the text.
void ReportOkay(const char *text);
void ReportWarning(const char *text);
void ReportError(const char *text);

/// Reports a failed assertion in one text of several lines. `description` may be null or empty.
void ReportAssertionFailure(const char *expression, const char *description, const char *file, int line,
                            const char *function);

/// Ends the process by an illegal instruction, without a word.
[[noreturn]] void AssertionStop();
} // namespace Keld

/// Ends the process unless `condition` holds. The unit defines `AssertionFile`, its own path from the root of the
/// source tree, so that the text is the same wherever the tree is built; `function` is the full signature.
#define KELD_ASSERT(condition, description, function)                                                                  \
    do                                                                                                                 \
    {                                                                                                                  \
        if (!(condition))                                                                                              \
        {                                                                                                              \
            ::Keld::ReportAssertionFailure(#condition, description, AssertionFile, __LINE__, function);                \
            ::Keld::AssertionStop();                                                                                   \
        }                                                                                                              \
    } while (false)
