#pragma once

#include "Tools/Delivery/Sums/WorkCalls.h"
#include "Tools/morv/Interrupt.h"
#include "Tools/morv/Progress.h"

#include <optional>

namespace Keld::Morv
{
/// Shows the stages of a delivery as they go on, and lets a signal end it. One at a time.
class WorkProgress
{
public:
    /// \param wanted false keeps it silent
    explicit WorkProgress(bool wanted) : mWanted(wanted) {}

    /// For use as long as this lives.
    Delivery::WorkCalls GetCalls()
    {
        Delivery::WorkCalls calls;
        calls.begin = [this](const char *stage, uint64 total)
        {
            mProgress.reset();
            mProgress.emplace(stage, total, mWanted);
        };
        calls.advance = [this](uint64 bytes)
        {
            if (mProgress) // what is done before the first stage is not shown
            {
                mProgress->Add(bytes);
            }
        };
        calls.checkpoint = InterruptGuard::Check;
        return calls;
    }

private:
    const bool mWanted;
    const InterruptGuard mGuard;
    std::optional<Progress> mProgress;
};
} // namespace Keld::Morv
