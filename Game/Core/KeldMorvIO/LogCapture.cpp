#include "KeldMorvIO/LogCapture.h"

#include "KeldFoundation/CStd/CStd.h"

namespace Keld::MORV::Reader
{
namespace
{
thread_local LogCapture *gCurrent = nullptr;
} // namespace

LogCapture::LogCapture() : mOuter(gCurrent)
{
    gCurrent = this;
}

LogCapture::~LogCapture()
{
    gCurrent = mOuter;
}

LogCapture *LogCapture::GetCurrent()
{
    return gCurrent;
}

void LogCapture::TakeFailure(const char *line)
{
    const char *const end = std_strstr(line, ": ");
    mFailures.emplace_back(end != nullptr ? end + 2 : line);
}
} // namespace Keld::MORV::Reader
