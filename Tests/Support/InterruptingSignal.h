#pragma once

#include <gtest/gtest.h>

#include <signal.h>

namespace Keld::Test
{
/// Lets SIGUSR1 interrupt what a thread sleeps in.
class InterruptingSignal
{
public:
    InterruptingSignal()
    {
        struct sigaction action = {};
        action.sa_handler = [](int) {};
        EXPECT_EQ(sigaction(SIGUSR1, &action, &mBefore), 0);
    }
    ~InterruptingSignal() { sigaction(SIGUSR1, &mBefore, nullptr); }
    InterruptingSignal(const InterruptingSignal &) = delete;
    InterruptingSignal &operator=(const InterruptingSignal &) = delete;

private:
    struct sigaction mBefore = {};
};
} // namespace Keld::Test
