#pragma once

#include "KeldLogger.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Keld::Test::WholeTrace
{
/// What a consumer observes of the library, as lines of text: calls with their answers, and between them every record
/// that a logger is given. A line goes to its descriptor at once, so that nothing is lost when the process dies, and
/// records that come when the process ends are there too.
///
/// What differs from one machine to the next is left out: the tree's own directory, names that depend on the file
/// system's order (see TraceTree), and the system's texts for error numbers, which stand as "<error 2>".
class Trace
{
public:
    /// The trace becomes the process's: the logger's table has no place for an object. It must never be destroyed.
    /// \param descriptor borrowed
    explicit Trace(int descriptor);

    Trace(const Trace &) = delete;
    Trace &operator=(const Trace &) = delete;

    /// Shows `placeholder` wherever `text` occurs from now on. What is added last goes first.
    void Replace(std::string text, std::string placeholder);

    /// Announces a call. Its line is held back until a record comes or the call ends, so that a call without records
    /// takes one line.
    void Begin(std::string call);
    void End(const std::string &answer);

    /// A line of its own.
    void Line(const std::string &text);

    /// A text in quotes, placeholders put in, bytes that do not print as "\x..", the middle of a long one left out.
    std::string Quoted(std::string_view text) const;

    /// A logger that receives everything.
    /// \param keepsErrno false for one that leaves another error number behind, as a consumer's may
    static const IKeldLogger *Logger(bool keepsErrno);

    void Registered(const char *tag);
    void Record(std::int32_t severity, std::uint32_t groupLow, std::uint32_t groupHigh, const char *format,
                va_list arguments);

private:
    std::string Shown(std::string_view text) const;
    std::string Mark(const std::string &kind);
    void Write(const std::string &line) const;
    void WritePending();

    int mDescriptor;
    std::string mPending;
    std::vector<std::pair<std::string, std::string>> mReplacements;
    std::map<std::string, std::size_t> mMarks;
};

/// FNV-1a of 64 bits, in 16 hexadecimal digits.
std::string Digest(std::string_view bytes);
} // namespace Keld::Test::WholeTrace
