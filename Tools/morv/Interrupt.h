#pragma once

#include <csignal>
#include <exception>

namespace Keld::Morv
{
/// Somebody wants the program to end. Not an error: what was begun is taken back on the way out.
class Interrupted : public std::exception
{
public:
    explicit Interrupted(int signal, const char *text = "interrupted") : mSignal(signal), mText(text) {}

    int GetSignal() const { return mSignal; }

    /// What to tell about the state of things.
    const char *what() const noexcept override { return mText; }

private:
    int mSignal;
    const char *mText; ///< lives as long as the program
};

/// While it lives, the signals that end a program (interrupt, hang-up, terminate) are only noted. One at a time. A
/// signal that was ignored before stays so.
class InterruptGuard
{
public:
    InterruptGuard();
    ~InterruptGuard();

    InterruptGuard(const InterruptGuard &) = delete;
    InterruptGuard &operator=(const InterruptGuard &) = delete;

    /// Throws Interrupted when a signal was noted. For any thread.
    static void Check();

private:
    static constexpr int Signals[] = {SIGINT, SIGHUP, SIGTERM};

    struct sigaction mPrevious[3];
};

/// Ends the process by a signal, so that whoever started it sees why it ended.
void EndBySignal(int signal);
} // namespace Keld::Morv
