#include "Tools/morv/Progress.h"

#include "Tools/morv/Quantity.h"
#include "Tools/morv/Terminal.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>

#include <unistd.h>

namespace Keld::Morv
{
namespace
{
std::chrono::milliseconds gPatience(500);
constexpr std::chrono::milliseconds Interval(100);
constexpr const char *StartOfLine = "\r\x1b[K"; // and nothing on it
} // namespace

Progress::Progress(std::string what, uint64 total, bool wanted)
    : mWhat(std::move(what)), mTotal(total), mShown(wanted && IsTerminal(STDERR_FILENO)), mBegin(Clock::now()),
      mNextDraw((mBegin + gPatience).time_since_epoch().count())
{
}

void Progress::AppearAfter(std::chrono::milliseconds patience)
{
    gPatience = patience;
}

Progress::~Progress()
{
    if (mDrawn)
    {
        std::fputs(StartOfLine, stderr);
    }
}

void Progress::Add(uint64 bytes)
{
    mDone += bytes;
    const Clock::time_point now = mShown ? Clock::now() : Clock::time_point();
    if (mShown && now.time_since_epoch().count() >= mNextDraw)
    {
        Draw(now);
    }
}

void Progress::Draw(Clock::time_point now)
{
    const std::unique_lock<std::mutex> lock(mDrawing, std::try_to_lock);
    if (lock)
    {
        mNextDraw = (now + Interval).time_since_epoch().count();
        const std::string line = Line(mWhat, mDone, mTotal, std::chrono::duration<double>(now - mBegin).count());
        const std::size_t width = GetTerminalWidth(STDERR_FILENO);
        std::fprintf(stderr, "%s%s", StartOfLine, line.substr(0, width - 1).c_str());
        mDrawn = true;
    }
}

std::string Progress::Line(const std::string &what, uint64 done, uint64 total, double seconds)
{
    const std::string rate = RateText(done, seconds);
    if (total == 0)
    {
        return fmt::format("{} {}, {}", what, ByteText(done), rate);
    }
    const uint64 bounded = std::min(done, total);
    const double share = static_cast<double>(bounded) / static_cast<double>(total);
    const std::string line =
        fmt::format("{} {:3.0f} %  {} of {}, {}", what, share * 100, ByteText(bounded), ByteText(total), rate);
    return bounded == 0 ? line : line + ", " + DurationText(seconds / share - seconds) + " left";
}
} // namespace Keld::Morv
