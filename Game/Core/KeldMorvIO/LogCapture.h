#pragma once

#include <string>
#include <vector>

namespace Keld::MORV::Reader
{
/// While it lives, what the reader would log on this thread is kept here instead: for tools that call a part of the
/// reader and tell in their own words what became of it. The library itself has none. Traces are logged all the same.
/// The youngest of a thread takes the lines; they end in the reverse order of their beginnings.
class LogCapture
{
public:
    LogCapture();
    ~LogCapture();

    LogCapture(const LogCapture &) = delete;
    LogCapture &operator=(const LogCapture &) = delete;

    /// The warnings and errors so far, in order, each without the signature of the function that logged it.
    const std::vector<std::string> &GetFailures() const { return mFailures; }

    /// The youngest of this thread, or null.
    static LogCapture *GetCurrent();

    /// A line of the reader: "<signature>: <message>".
    void TakeFailure(const char *line);

private:
    LogCapture *const mOuter;
    std::vector<std::string> mFailures;
};
} // namespace Keld::MORV::Reader
