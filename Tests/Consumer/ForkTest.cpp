#include "Support/ReleaseFixture.h"

#include <sys/wait.h>
#include <unistd.h>

namespace Keld::Test
{
namespace
{
using ForkTest = ReleaseFixture;

TEST_F(ForkTest, AChildReadsWhatItsParentHasOpened)
{
    Start(mTree.Project("atlas", "1.0.0.0", {{"a", "content of a"}, {"b", "content of b", true}}));
    OpenFileHandle *const handle = MorvOpenFile("a");
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(Content("b"), "content of b");
    const pid_t child = fork();
    if (child == 0)
    {
        char buffer[4] = {};
        const bool good = MorvRead(handle, 8, 4, nullptr, buffer) == S_OK && std::string(buffer, 4) == "of a" &&
                          Content("b") == "content of b" && List("*") == Names({"a", "b"});
        _exit(good ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    char buffer[4] = {};
    EXPECT_EQ(MorvRead(handle, 0, 4, nullptr, buffer), S_OK);
    MorvCloseFile(handle);
}
} // namespace
} // namespace Keld::Test
