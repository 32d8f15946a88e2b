#pragma once

#include <boost/function.hpp>

// An assertion guards against programming errors, never against bad data: a null pointer, a count that would cut a
// text. A failed one is reported and ends the process, in every build. Only the standard-call layer asserts; the code
// above it reports with log lines and results.
namespace Keld
{
using Reporter = boost::function<void(const char *)>;

/// The source unit that every assertion names: the layer is one unit to whoever reads a report, also where a call
/// stands in a file of its own. The report's function tells which call it was.
inline constexpr const char *AssertionFile = "Game/Core/KeldFoundation/CStd/CStd.cpp";

/// The process-wide slots by which this layer reaches the logger without knowing it. Empty until `SetReporters`; made
/// at their first use and never destroyed, so that an assertion in a late exit handler finds them alive.
Reporter &gOkayReporter();
Reporter &gWarningReporter();
Reporter &gErrorReporter();

/// Called once, by the logger at its creation, under its lock.
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

/// Reports and ends the process unless `condition` holds. `function` is the full signature of the call.
#define KELD_ASSERT(condition, description, function)                                                                  \
    do                                                                                                                 \
    {                                                                                                                  \
        if (!(condition))                                                                                              \
        {                                                                                                              \
            ::Keld::ReportAssertionFailure(#condition, description, ::Keld::AssertionFile, __LINE__, function);        \
            ::Keld::AssertionStop();                                                                                   \
        }                                                                                                              \
    } while (false)
