#pragma once

#include <gtest/gtest.h>

#include <csignal>

#include <sys/resource.h>

namespace Keld::Test
{
/// Until its end no file of this process grows beyond so many bytes: a write fails then, as on a full disk.
class FullDisk
{
public:
    explicit FullDisk(rlim_t room) : mHandler(std::signal(SIGXFSZ, SIG_IGN))
    {
        EXPECT_NE(mHandler, SIG_ERR);
        EXPECT_EQ(getrlimit(RLIMIT_FSIZE, &mBefore), 0);
        const rlimit limit = {room, mBefore.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    }
    ~FullDisk()
    {
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &mBefore), 0);
        std::signal(SIGXFSZ, mHandler);
    }

    FullDisk(const FullDisk &) = delete;
    FullDisk &operator=(const FullDisk &) = delete;

private:
    void (*const mHandler)(int);
    rlimit mBefore{};
};
} // namespace Keld::Test
