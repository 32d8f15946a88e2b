#include "Support/TempTree.h"

#include "Tools/TreeWriter/ArchiveInput.h"
#include "Tools/TreeWriter/TarSource.h"

#include <gtest/gtest.h>

#include <archive.h>
#include <unistd.h>

namespace Keld::Test
{
namespace
{
struct Impatience
{
};

TEST(ArchiveInputTest, WhoWaitsForBytesThatNeverComeCanBeInterrupted)
{
    const TempTree tree;
    int ends[2] = {};
    ASSERT_EQ(pipe(ends), 0);
    int calls = 0;
    const std::function<void()> checkpoint = [&calls]
    {
        if (++calls == 3)
        {
            throw Impatience();
        }
    };
    EXPECT_THROW(TreeWriter::SpoolTar(ends[0], tree.Root(), {}, checkpoint), Impatience);
    EXPECT_EQ(calls, 3);
    close(ends[0]);
    close(ends[1]);
}

TEST(ArchiveInputTest, WhatCannotBeReadIsToldWithTheCause)
{
    TreeWriter::ArchiveInput input(-1, [] {});
    archive *stream = archive_read_new();
    archive_read_support_format_tar(stream);
    EXPECT_EQ(input.Open(stream), ARCHIVE_FATAL);
    EXPECT_STREQ(archive_error_string(stream), "it cannot be read: Bad file descriptor");
    input.ThrowFailure(); // nothing, since no checkpoint threw
    archive_read_free(stream);
}
} // namespace
} // namespace Keld::Test
