#include "Support/ReleaseFixture.h"

#include <cerrno>

namespace Keld::Test
{
namespace
{
class ErrorNumberTest : public ReleaseFixture
{
protected:
    // Makes a call and gives its result; the test fails if the call changes the thread's error number.
    template <class Call>
    static auto Leaves(const Call &call)
    {
        errno = EXDEV;
        const auto result = call();
        EXPECT_EQ(errno, EXDEV);
        return result;
    }
};

TEST_F(ErrorNumberTest, StaysAsItIsWhereNothingFails)
{
    const std::string directory =
        mTree.Project("atlas", "1.0.0.0", {{"data/a.txt", "content"}, {"b.bin", "0123456789", true}});
    EXPECT_EQ(Leaves(
                  [&]
                  {
                      return Initialize(directory);
                  }),
              S_OK);
    EXPECT_EQ(Leaves(
                  []
                  {
                      return MorvFileExists("data");
                  }),
              1u);
    for (const char *const path : {"data/a.txt", "b.bin"})
    {
        SCOPED_TRACE(path);
        OpenFileHandle *const handle = Leaves(
            [path]
            {
                return MorvOpenFile(path);
            });
        ASSERT_NE(handle, nullptr);
        const std::int64_t size = Leaves(
            [handle]
            {
                return MorvGetFileSize(handle);
            });
        char buffer[64];
        std::uint32_t bytesRead = 0;
        EXPECT_EQ(Leaves(
                      [&]
                      {
                          return MorvRead(handle, 0, sizeof buffer, &bytesRead, buffer);
                      }),
                  S_OK);
        EXPECT_EQ(bytesRead, size); // less than was wanted, which is no failure
        errno = EXDEV;
        MorvCloseFile(handle);
        EXPECT_EQ(errno, EXDEV);
    }
    FindHandle *const found = Leaves(
        []
        {
            return MorvFindFirstFile("data/*");
        });
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(Leaves(
                  [found]
                  {
                      return MorvFindNextFile(found, nullptr, nullptr, 0, nullptr);
                  }),
              S_OK);
    EXPECT_EQ(Leaves(
                  [found]
                  {
                      return MorvFindNextFile(found, nullptr, nullptr, 0, nullptr);
                  }),
              E_FAIL);
    errno = EXDEV;
    MorvFindClose(found);
    MorvSetLogger(LogRecorder::Table());
    MorvShutdown();
    EXPECT_EQ(errno, EXDEV);
}

TEST_F(ErrorNumberTest, StaysAsItIsInTheStartOfASolution)
{
    mTree.Project("client", "1.0.0.0", {{"a.txt", "a"}});
    const std::string directory = mTree.Solution("suite", "0.0.1.7", {{"client", "1.0.0.0", 10}});
    EXPECT_EQ(Leaves(
                  [&]
                  {
                      return Initialize(directory);
                  }),
              S_OK);
    EXPECT_EQ(Leaves(
                  []
                  {
                      return MorvFileExists("a.txt");
                  }),
              1u);
}

TEST_F(ErrorNumberTest, StaysAsItIsWhenAnArgumentIsRefused)
{
    Start(mTree.Project("atlas", "1.0.0.0", {{"data/a.txt", "content"}}));
    EXPECT_EQ(Leaves(
                  []
                  {
                      return Initialize("/nowhere");
                  }),
              E_FAIL);
    EXPECT_EQ(Leaves(
                  []
                  {
                      return MorvFileExists("missing");
                  }),
              0u);
    EXPECT_EQ(Leaves(
                  []
                  {
                      return MorvFileExists(nullptr);
                  }),
              0u);
    EXPECT_EQ(Leaves(
                  []
                  {
                      return MorvOpenFile("missing");
                  }),
              nullptr);
    EXPECT_EQ(Leaves(
                  []
                  {
                      return MorvOpenFile("data");
                  }),
              nullptr);
    EXPECT_EQ(Leaves(
                  []
                  {
                      return MorvFileExists(std::string(2000, 'p').c_str());
                  }),
              0u);
    EXPECT_EQ(Leaves(
                  []
                  {
                      return MorvGetFileSize(nullptr);
                  }),
              -1);
    EXPECT_EQ(Leaves(
                  []
                  {
                      return MorvRead(nullptr, 0, 1, nullptr, nullptr);
                  }),
              E_HANDLE);
    EXPECT_EQ(Leaves(
                  []
                  {
                      return MorvFindFirstFile("missing/*");
                  }),
              nullptr);
    EXPECT_EQ(Leaves(
                  []
                  {
                      return MorvFindNextFile(nullptr, nullptr, nullptr, 0, nullptr);
                  }),
              E_HANDLE);
    errno = EXDEV;
    MorvCloseFile(nullptr);
    MorvFindClose(nullptr);
    MorvSetLogger(nullptr);
    MorvShutdown();
    MorvShutdown();
    EXPECT_EQ(errno, EXDEV);
    EXPECT_EQ(Leaves(
                  []
                  {
                      return Initialize("/nowhere");
                  }),
              E_FAIL);
}
} // namespace
} // namespace Keld::Test
