#include "KeldFoundation/CStd/ReadyFiles.h"

#include "KeldFoundation/CStd/CStd.h"
#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

namespace Keld::Test
{
TEST(ReadyFilesTest, ReadsAFileByAPathWithBackslashes)
{
    const TempTree tree;
    tree.Write("a/text", "words");
    std::FILE *const file = std_fopen_ready((tree.Root() + "\\a\\text").c_str());
    ASSERT_NE(file, nullptr);
    char words[6] = {};
    EXPECT_EQ(std_fread(words, 1, sizeof words, file), 5U);
    EXPECT_STREQ(words, "words");
    EXPECT_EQ(std_fclose(file), 0);
}

TEST(ReadyFilesTest, RefusesWhatIsNeitherAFileNorADirectoryWithoutWaiting)
{
    const TempTree tree;
    const std::string fifo = tree.Path("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    ASSERT_EQ(symlink(fifo.c_str(), tree.Path("link").c_str()), 0);
    for (const std::string &path : {fifo, tree.Path("link"), std::string("/dev/zero")})
    {
        errno = 0;
        EXPECT_EQ(std_open_ready(path.c_str()), -1) << path;
        EXPECT_EQ(errno, EINVAL) << path;
        errno = 0;
        EXPECT_EQ(std_fopen_ready(path.c_str()), nullptr) << path;
        EXPECT_EQ(errno, EINVAL) << path;
    }
}

TEST(ReadyFilesTest, OpensADirectoryAsAPlainOpenDoes)
{
    const TempTree tree;
    std::FILE *const stream = std_fopen_ready(tree.Root().c_str());
    ASSERT_NE(stream, nullptr);
    char byte = 0;
    EXPECT_EQ(std_fread(&byte, 1, 1, stream), 0U);
    EXPECT_EQ(errno, EISDIR);
    EXPECT_EQ(std_fclose(stream), 0);
}

TEST(ReadyFilesTest, TellsWhyAPathCannotBeOpened)
{
    const TempTree tree;
    errno = 0;
    EXPECT_EQ(std_fopen_ready(tree.Path("missing").c_str()), nullptr);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(std_fopen_ready(std::string(1024, 'a').c_str()), nullptr);
    EXPECT_EQ(errno, ENAMETOOLONG);
}
} // namespace Keld::Test
