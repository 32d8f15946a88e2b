#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <atomic>
#include <chrono>
#include <mutex>
#include <string>

namespace Keld::Morv
{
/// One line on standard error that tells how far a long work has come, with its rate and the time left. It appears only
/// on a terminal and once the work has taken half a second, and is wiped away at the end. Any thread may report.
class Progress
{
public:
    /// \param what    the work in a word or two, as "packing"
    /// \param total   bytes to be done; 0 where nobody knows, and then no share and no time left are told
    /// \param wanted  false keeps it silent, as -q asks for
    Progress(std::string what, uint64 total, bool wanted);
    ~Progress();

    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    /// Sets how long the works that begin from now on stay silent: half a second, if this is not called. For tests.
    static void AppearAfter(std::chrono::milliseconds patience);

    /// So many more bytes are done.
    void Add(uint64 bytes);

    /// The line as it is shown, without what moves the cursor.
    static std::string Line(const std::string &what, uint64 done, uint64 total, double seconds);

private:
    using Clock = std::chrono::steady_clock;

    void Draw(Clock::time_point now);

    const std::string mWhat;
    const uint64 mTotal;
    const bool mShown;
    const Clock::time_point mBegin;
    std::atomic<uint64> mDone{0};
    std::atomic<Clock::rep> mNextDraw; ///< since the clock's epoch
    std::mutex mDrawing;
    bool mDrawn = false; ///< guarded by mDrawing
};
} // namespace Keld::Morv
