#pragma once

#include "KeldFoundation/logger/IKeldLogger.h"

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace Keld::Test
{
/// One message as a logger's table received it.
struct LogLine
{
    std::int32_t severity = 0;
    std::uint32_t groupLow = 0;
    std::uint32_t groupHigh = 0;
    std::string format;
    std::string text; ///< formatted, signature included

    bool operator==(const LogLine &) const = default;
};

std::ostream &operator<<(std::ostream &stream, const LogLine &line);

/// A consumer's logger that keeps every message, from any thread. It links neither the reader nor its log calls, so
/// that it serves tests of the static targets and consumers of the shared library alike: they install `Table()`.
///
/// The messages live in one process-wide recorder that is never destroyed, since messages may come until the very end
/// of the process. `RegisterGroup` answers with `OwnGroups` and counts its calls.
class LogRecorder
{
public:
    static constexpr std::uint64_t OwnGroups = 0x0000'0040'0000'0100; ///< bits in both words, to prove that both go out

    static const IKeldLogger *Table();

    static void Clear();
    static std::vector<LogLine> Lines();

    /// The lines that are neither progress nor traces: severities WARN and above.
    static std::vector<LogLine> Failures();
    static std::vector<std::string> RegisteredTags();
};

/// The four forms of a line of the library, without the own groups, which `Expect...` below knows.
enum class LineKind
{
    Error,    ///< ERROR/DBG
    Warning,  ///< WARN/DBG
    Progress, ///< OKAY/GEN
    Trace     ///< OKAY/DBG+XTR
};

/// A line that a test expects: the text must equal `signature + ": " + message`, or end in ": " + message when the
/// signature is left empty.
struct ExpectedLine
{
    LineKind kind;
    std::string message;
    std::string signature = {};
};

inline ExpectedLine Error(std::string message, std::string signature = {})
{
    return {LineKind::Error, std::move(message), std::move(signature)};
}
inline ExpectedLine Warning(std::string message, std::string signature = {})
{
    return {LineKind::Warning, std::move(message), std::move(signature)};
}
inline ExpectedLine Progress(std::string message, std::string signature = {})
{
    return {LineKind::Progress, std::move(message), std::move(signature)};
}
inline ExpectedLine Trace(std::string message, std::string signature = {})
{
    return {LineKind::Trace, std::move(message), std::move(signature)};
}

/// Asserts severity, both group words, the leading "%s: " of the format, and the text of every line, in order.
/// `ownGroups` is what the library was given at registration: LogRecorder::OwnGroups, or 0 when none was.
void ExpectLines(const std::vector<LogLine> &actual, const std::vector<ExpectedLine> &expected,
                 std::uint64_t ownGroups = LogRecorder::OwnGroups);
} // namespace Keld::Test
