#include "Support/LogRecorder.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <mutex>

namespace Keld::Test
{
namespace
{
struct Recording
{
    std::mutex mutex;
    std::vector<LogLine> lines;
    std::vector<std::string> tags;
};

// Leaked on purpose: the library logs from its exit destructors too.
Recording &GetRecording()
{
    static Recording *recording = new Recording;
    return *recording;
}

KeldGroupMask RegisterGroup(const char *tag)
{
    Recording &recording = GetRecording();
    const std::lock_guard<std::mutex> lock(recording.mutex);
    recording.tags.emplace_back(tag);
    return KeldGroupMask{static_cast<std::uint32_t>(LogRecorder::OwnGroups),
                         static_cast<std::uint32_t>(LogRecorder::OwnGroups >> 32)};
}

__attribute__((format(printf, 4, 0))) void Record(std::int32_t severity, std::uint32_t groupLow,
                                                  std::uint32_t groupHigh, const char *format, va_list arguments)
{
    va_list measured;
    va_copy(measured, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, measured);
    va_end(measured);
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    std::vsnprintf(text.data(), text.size(), format, arguments);
    text.pop_back();

    Recording &recording = GetRecording();
    const std::lock_guard<std::mutex> lock(recording.mutex);
    recording.lines.push_back(LogLine{severity, groupLow, groupHigh, format, std::move(text)});
    errno = EDOM; // a consumer's logger may leave anything here, and must not change what the library reports
}

constexpr IKeldLogger MakeTable()
{
    IKeldLogger table{};
    table.RegisterGroup = RegisterGroup;
    table.Log = Record;
    return table;
}

constexpr IKeldLogger RecorderTable = MakeTable();

struct KindFields
{
    const char *name;
    std::int32_t severity;
    std::uint32_t groups;
};

KindFields FieldsOf(LineKind kind)
{
    switch (kind)
    {
    case LineKind::Error:
        return {"ERROR/DBG", 2, 1};
    case LineKind::Warning:
        return {"WARN/DBG", 1, 1};
    case LineKind::Progress:
        return {"OKAY/GEN", 0, 2};
    case LineKind::Trace:
        break;
    }
    return {"OKAY/DBG+XTR", 0, 5};
}

bool EndsWith(const std::string &text, const std::string &end)
{
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

void ExpectLine(const LogLine &actual, const ExpectedLine &expected, std::uint64_t ownGroups)
{
    const KindFields fields = FieldsOf(expected.kind);
    EXPECT_EQ(actual.severity, fields.severity) << "expected " << fields.name << " for: " << actual.text;
    EXPECT_EQ(actual.groupLow, static_cast<std::uint32_t>(ownGroups) | fields.groups) << actual.text;
    EXPECT_EQ(actual.groupHigh, static_cast<std::uint32_t>(ownGroups >> 32)) << actual.text;
    EXPECT_EQ(actual.format.substr(0, 4), "%s: ") << actual.format;
    if (expected.signature.empty())
    {
        EXPECT_TRUE(EndsWith(actual.text, ": " + expected.message))
            << "actual:   " << actual.text << "\nexpected: ...: " << expected.message;
    }
    else
    {
        EXPECT_EQ(actual.text, expected.signature + ": " + expected.message);
    }
}
} // namespace

std::ostream &operator<<(std::ostream &stream, const LogLine &line)
{
    return stream << line.severity << '/' << line.groupLow << '+' << line.groupHigh << "<<32 " << line.text;
}

const IKeldLogger *LogRecorder::Table()
{
    return &RecorderTable;
}

void LogRecorder::Clear()
{
    Recording &recording = GetRecording();
    const std::lock_guard<std::mutex> lock(recording.mutex);
    recording.lines.clear();
    recording.tags.clear();
}

std::vector<LogLine> LogRecorder::Lines()
{
    Recording &recording = GetRecording();
    const std::lock_guard<std::mutex> lock(recording.mutex);
    return recording.lines;
}

std::vector<LogLine> LogRecorder::Failures()
{
    std::vector<LogLine> failures;
    for (LogLine &line : Lines())
    {
        if (line.severity > 0)
        {
            failures.push_back(std::move(line));
        }
    }
    return failures;
}

std::vector<std::string> LogRecorder::RegisteredTags()
{
    Recording &recording = GetRecording();
    const std::lock_guard<std::mutex> lock(recording.mutex);
    return recording.tags;
}

void ExpectLines(const std::vector<LogLine> &actual, const std::vector<ExpectedLine> &expected, std::uint64_t ownGroups)
{
    EXPECT_EQ(actual.size(), expected.size());
    for (std::size_t index = 0; index < actual.size() && index < expected.size(); ++index)
    {
        SCOPED_TRACE("log line " + std::to_string(index));
        ExpectLine(actual[index], expected[index], ownGroups);
    }
    for (std::size_t index = expected.size(); index < actual.size(); ++index)
    {
        ADD_FAILURE() << "unexpected log line " << index << ": " << actual[index];
    }
    for (std::size_t index = actual.size(); index < expected.size(); ++index)
    {
        ADD_FAILURE() << "missing log line " << index << ": " << expected[index].message;
    }
}
} // namespace Keld::Test
