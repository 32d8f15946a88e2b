#include "Support/TempTree.h"

#include "Tools/TreeWriter/ArchiveInput.h"
#include "Tools/TreeWriter/TarSource.h"

#include <gtest/gtest.h>

#include <archive.h>
#include <fcntl.h>
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
    const TempTree tree;
    const int directory = open(tree.Root().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    TreeWriter::ArchiveInput input(directory, [] {});
    archive *stream = archive_read_new();
    archive_read_support_format_tar(stream);
    EXPECT_EQ(input.Open(stream), ARCHIVE_FATAL);
    EXPECT_STREQ(archive_error_string(stream), "it cannot be read: Is a directory");
    input.ThrowFailure(); // nothing, since no checkpoint threw
    archive_read_free(stream);
    close(directory);
}
} // namespace
} // namespace Keld::Test
