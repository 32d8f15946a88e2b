#include "KeldFoundation/CStd/Assertion.h"

#include <boost/lexical_cast.hpp>

#include <cerrno>
#include <string>

namespace Keld
{
namespace
{
void Report(const Reporter &reporter, const char *text)
{
    if (reporter)
    {
        reporter(text);
    }
}
} // namespace

Reporter &gOkayReporter()
{
    static Reporter &reporter = *new Reporter;
    return reporter;
}

Reporter &gWarningReporter()
{
    static Reporter &reporter = *new Reporter;
    return reporter;
}

Reporter &gErrorReporter()
{
    static Reporter &reporter = *new Reporter;
    return reporter;
}

void SetReporters(const Reporter &okay, const Reporter &warning, const Reporter &error)
{
    gOkayReporter() = okay;
    gWarningReporter() = warning;
    gErrorReporter() = error;
}

void ReportOkay(const char *text)
{
    Report(gOkayReporter(), text);
}

void ReportWarning(const char *text)
{
    Report(gWarningReporter(), text);
}

void ReportError(const char *text)
{
    Report(gErrorReporter(), text);
}

void ReportAssertionFailure(const char *expression, const char *description, const char *file, int line,
                            const char *function)
{
    std::string text = "Assertion failed!";
    text += "\n\n";
    text += "File: ";
    text += file;
    text += "\n";
    text += "Line: ";
    text += boost::lexical_cast<std::string>(line);
    text += "\n\n";
    text += "Function: ";
    text += function;
    text += "\n\n";
    text += "Expression: ";
    text += expression;
    if (description != nullptr && description[0] != '\0')
    {
        text += "\n\n";
        text += "Description: ";
        text += description;
    }
    ReportError(text.c_str());
}

void AssertionStop()
{
    // For whoever opens the core file; it goes no further.
    [[maybe_unused]] volatile const int error = errno;
#if defined(__aarch64__)
    // The trap builtin is a breakpoint with some compilers here, which would arrive as another signal.
    __asm__ volatile("udf #0");
    __builtin_unreachable();
#else
    __builtin_trap();
#endif
}
} // namespace Keld
