#pragma once

#include "KeldMorvIO/blocks/AsyncFile.h"

#include <gtest/gtest.h>

#include <string_view>

#include <fcntl.h>
#include <unistd.h>

namespace Keld::Test
{
/// A pipe, whose reads stay in flight until something is written.
class Pipe
{
public:
    Pipe() { EXPECT_EQ(pipe2(mEnds, O_CLOEXEC), 0); }
    ~Pipe()
    {
        close(mEnds[0]);
        close(mEnds[1]);
    }
    Pipe(const Pipe &) = delete;
    Pipe &operator=(const Pipe &) = delete;

    MORV::Reader::AsyncFile File() const { return static_cast<MORV::Reader::AsyncFile>(mEnds[0]); }
    void Write(std::string_view text) const
    {
        EXPECT_EQ(write(mEnds[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }

private:
    int mEnds[2] = {-1, -1};
};
} // namespace Keld::Test
