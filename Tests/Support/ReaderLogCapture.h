#pragma once

#include "KeldFoundation/logger/BuiltInLogger.h"
#include "KeldMorvIO/ReaderLog.h"
#include "Support/LogRecorder.h"

namespace Keld::Test
{
/// For tests inside the static targets: messages go to the recorder, with the recorder's groups as the library's own,
/// from this object's construction on; the built-in logger is back afterwards.
class ReaderLogCapture
{
public:
    ReaderLogCapture()
    {
        LogRecorder::Clear();
        SetCurrentLogger(LogRecorder::Table());
        MORV::Reader::gMorvLogGroups.store(LogRecorder::OwnGroups, std::memory_order_relaxed);
    }

    ~ReaderLogCapture()
    {
        SetCurrentLogger(GetBuiltInLogger());
        MORV::Reader::gMorvLogGroups.store(0, std::memory_order_relaxed);
    }

    ReaderLogCapture(const ReaderLogCapture &) = delete;
    ReaderLogCapture &operator=(const ReaderLogCapture &) = delete;

    /// Holds every line since the last look against `expected`, traces and progress included, and forgets them.
    void ExpectAll(const std::vector<ExpectedLine> &expected)
    {
        ExpectLines(LogRecorder::Lines(), expected);
        LogRecorder::Clear();
    }

    /// The same for warnings and errors alone.
    void ExpectFailures(const std::vector<ExpectedLine> &expected)
    {
        ExpectLines(LogRecorder::Failures(), expected);
        LogRecorder::Clear();
    }
};
} // namespace Keld::Test
