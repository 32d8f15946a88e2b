#include "KeldMorvIO/LogCapture.h"

#include "KeldFoundation/CStd/CStd.h"

namespace Keld::MORV::Reader
{
namespace
{
thread_local LogCapture *tCurrent = nullptr;
} // namespace

LogCapture::LogCapture() : mOuter(tCurrent)
{
    tCurrent = this;
}

LogCapture::~LogCapture()
{
    tCurrent = mOuter;
}

LogCapture *LogCapture::GetCurrent()
{
    return tCurrent;
}

void LogCapture::TakeFailure(const char *line)
{
    const char *const end = std_strstr(line, ": ");
    mFailures.emplace_back(end != nullptr ? end + 2 : line);
}
} // namespace Keld::MORV::Reader
