#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace Keld::Test
{
/// Sends a file descriptor of the process to a file, from construction to `Stop`, and gives back what came.
class FdCapture
{
public:
    explicit FdCapture(int descriptor) : mDescriptor(descriptor)
    {
        std::fflush(nullptr);
        std::array<char, 32> path{"/tmp/keld-capture-XXXXXX"};
        mFile = mkstemp(path.data());
        unlink(path.data());
        mSaved = fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
        EXPECT_GE(dup2(mFile, descriptor), 0);
    }

    ~FdCapture()
    {
        Restore();
        close(mFile);
    }

    FdCapture(const FdCapture &) = delete;
    FdCapture &operator=(const FdCapture &) = delete;

    std::string Stop()
    {
        Restore();
        std::string text;
        std::array<char, 4096> part;
        off_t offset = 0;
        for (ssize_t count = 0; (count = pread(mFile, part.data(), part.size(), offset)) > 0; offset += count)
        {
            text.append(part.data(), static_cast<std::size_t>(count));
        }
        return text;
    }

private:
    void Restore()
    {
        if (mSaved >= 0)
        {
            std::fflush(nullptr);
            dup2(mSaved, mDescriptor);
            close(mSaved);
            mSaved = -1;
        }
    }

    const int mDescriptor;
    int mFile = -1;
    int mSaved = -1;
};
} // namespace Keld::Test
