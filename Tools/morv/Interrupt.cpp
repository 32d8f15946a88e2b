#include "Tools/morv/Interrupt.h"

#include <atomic>
#include <iterator>

namespace Keld::Morv
{
namespace
{
std::atomic<int> gNotedSignal{0}; // any thread may look
static_assert(std::atomic<int>::is_always_lock_free, "it is written by a signal handler");

void NoteSignal(int signal)
{
    gNotedSignal = signal;
}
} // namespace

InterruptGuard::InterruptGuard()
{
    static_assert(std::size(Signals) == sizeof mPrevious / sizeof *mPrevious);
    gNotedSignal = 0;
    for (std::size_t index = 0; index < std::size(Signals); ++index)
    {
        struct sigaction noting = {};
        noting.sa_handler = NoteSignal;
        noting.sa_flags = SA_RESTART;
        sigaction(Signals[index], nullptr, &mPrevious[index]);
        if (mPrevious[index].sa_handler != SIG_IGN)
        {
            sigaction(Signals[index], &noting, nullptr);
        }
    }
}

InterruptGuard::~InterruptGuard()
{
    for (std::size_t index = 0; index < std::size(Signals); ++index)
    {
        sigaction(Signals[index], &mPrevious[index], nullptr);
    }
}

void InterruptGuard::Check()
{
    if (const int signal = gNotedSignal; signal != 0)
    {
        throw Interrupted(signal);
    }
}

void EndBySignal(int signal)
{
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}
} // namespace Keld::Morv
