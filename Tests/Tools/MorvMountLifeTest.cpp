#include "Tools/MountedRelease.h"
#include "Tools/TreeSnapshot.h"

#include "Tools/TreeReader/TreeSet.h"

#include <fstream>

#include <unistd.h>

namespace Keld::Test
{
namespace
{
using MorvMountLifeTest = MountedRelease;

TEST_F(MorvMountLifeTest, UnmountingEndsTheProcess)
{
    ExpectMounted();
    const pid_t server = ServerOf(mTree.Path("mount"));
    ASSERT_GT(server, 0);
    Unmount();
    WaitForEnd(server);
    EXPECT_FALSE(IsMounted());
    ExpectMounted();
}

TEST_F(MorvMountLifeTest, ASignalUnmounts)
{
    for (const int signal : {SIGTERM, SIGINT, SIGHUP})
    {
        ExpectMounted({"-j", signal == SIGINT ? "1" : "3"});
        const pid_t server = ServerOf(mTree.Path("mount"));
        ASSERT_GT(server, 0);
        EXPECT_EQ(Output("cat " + Mounted("docs/readme.txt")), "read me\n");
        kill(server, signal);
        WaitForEnd(server);
        EXPECT_FALSE(IsMounted()) << signal;
    }
}

TEST_F(MorvMountLifeTest, InTheForegroundTheCommandServesUntilItIsInterrupted)
{
    const std::string log = mTree.Path("log");
    const std::string command = "exec " KELD_MORV_PROGRAM " mount --foreground game/1.0.0.0 " + mTree.Path("mount");
    mMounted = true;
    const pid_t server = fork();
    if (server == 0)
    {
        const std::string line = "cd " + mTree.Path("MORV") + " && " + command + " 2>" + log;
        execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
        _exit(127);
    }
    while (!IsMounted() || Output("ls " + mTree.Path("mount")).find("Docs") == std::string::npos)
    {
        ASSERT_EQ(waitpid(server, nullptr, WNOHANG), 0) << mTree.Read("log");
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    mTree.Remove("MORV/projects/game/releases/1.0.0.0/deploy/data/small.naked");
    EXPECT_NE(Output("cat " + Mounted("data/small.naked")).find("Input/output error"), std::string::npos);
    EXPECT_NE(Output("cat " + Mounted("data/small.naked")).find("Input/output error"), std::string::npos);
    kill(server, SIGINT);
    int status = 0;
    waitpid(server, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_FALSE(IsMounted());
    const std::string naked = mTree.Path("MORV/projects/game/releases/1.0.0.0/deploy/data/small.naked");
    EXPECT_EQ(mTree.Read("log"), "morv: note: mounted on " + mTree.Path("mount") +
                                     "; an interrupt or \"fusermount3 -u\" ends it\nmorv: data/small.naked: cannot be "
                                     "read: " +
                                     naked + ": is missing\n");
}

TEST_F(MorvMountLifeTest, ADirectoryThatCannotBeMountedOnIsRefusedWithAdvice)
{
    ExpectRefused(RunMorv(mTree.Path("MORV"), {"mount", "game/1.0.0.0"}), "game/1.0.0.0: is not there; make the");
    ExpectRefused(RunMorv(mTree.Path("MORV"), {"mount"}), "the directory to mount on is missing");
    ExpectRefused(RunMorv(mTree.Root(), {"mount", mTree.Path("MORV/projects/game/releases/1.0.0.0"), "source"}),
                  "source: is not empty");
    mTree.MakeDirectory("MORV/projects/game/releases/1.0.0.0/deploy/empty");
    ExpectRefused(RunMorv(mTree.Path("MORV/projects/game/releases/1.0.0.0/deploy"), {"mount", "empty"}),
                  mTree.Path("MORV/projects/game/releases/1.0.0.0/deploy/empty") + ": a mount there would hide");
    ExpectRefused(Mount({}, "game/9.9.9.9"), "");
    ExpectRefused(Mount({"-o", "rw"}), "-o rw: a release can only be read");
    EXPECT_FALSE(IsMounted());
}

TEST_F(MorvMountLifeTest, ASecondMountAtOnePlaceIsRefused)
{
    ExpectMounted();
    ExpectRefused(Mount(), mTree.Path("mount") + ": something is mounted there already; \"fusermount3 -u " +
                               mTree.Path("mount") + "\" takes it away");
    ExpectRefused(Mount({"-o", "nonempty"}), mTree.Path("mount") + ": something is mounted there already");
    EXPECT_EQ(Output("cat " + Mounted("docs/readme.txt")), "read me\n");
}

TEST_F(MorvMountLifeTest, AMountWhoseProcessWasKilledIsExplained)
{
    ExpectMounted();
    const pid_t server = ServerOf(mTree.Path("mount"));
    ASSERT_GT(server, 0);
    kill(server, SIGKILL);
    WaitForEnd(server);
    ExpectRefused(Mount(), mTree.Path("mount") + ": a mount stands there whose process has ended; \"fusermount3 -u " +
                               mTree.Path("mount") + "\" takes it away");
    Unmount();
    ExpectMounted();
}

TEST_F(MorvMountLifeTest, WhatIsMissingIsToldOnceAndTheRestIsServed)
{
    mTree.Remove("MORV/projects/game/releases/1.0.0.0/deploy/data/small.naked");
    mTree.Write("MORV/projects/game/filearchives/1.0.0.0/broken.vka", "no index");
    const TreeSnapshot before = TakeSnapshot(mTree.Path("MORV"));
    const ToolResult result = Mount();
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.error.find("morv: 1 of 12 files are missing and will not be found:\nmorv:   data/small.naked: "),
              0U)
        << result.error;
    EXPECT_NE(result.error.find("broken.vka"), std::string::npos) << result.error;
    EXPECT_EQ(Output("ls " + Mounted("data") + " | wc -l"), "9\n");
    EXPECT_EQ(Shell("cat " + Mounted("data") + "/* >/dev/null"), 0);
    Unmount();
    EXPECT_EQ(TakeSnapshot(mTree.Path("MORV")), before);
}

TEST_F(MorvMountLifeTest, DamagedContentIsAnInputErrorAndLeavesTheRestReadable)
{
    TreeReader::TreeSet trees;
    const auto opened = trees.Open("game/1.0.0.0", mTree.Path("MORV"));
    const auto stored = opened->Locate(opened->Find("data/large.zlib"));
    std::fstream data(stored->path, std::ios::in | std::ios::out | std::ios::binary);
    data.seekp(static_cast<std::streamoff>(stored->offset + 100));
    data.write("XXXX", 4);
    data.close();
    ExpectMounted();
    EXPECT_NE(Output("cat " + Mounted("data/large.zlib")).find("Input/output error"), std::string::npos);
    EXPECT_NE(Output("tail -c 1 " + Mounted("data/large.zlib")).find("Input/output error"), std::string::npos);
    EXPECT_EQ(Shell("cmp " + Mounted("data/large.lzma") + " " + mTree.Path("source/data/large.lzma")), 0);
}

TEST_F(MorvMountLifeTest, TheCommandsStandardOutputIsClosedWhenItReturns)
{
    mMounted = true;
    EXPECT_EQ(Output("cd " + mTree.Path("MORV") + " && " KELD_MORV_PROGRAM " mount game/1.0.0.0 " +
                     mTree.Path("mount") + " | cat; echo ended"),
              "ended\n");
    EXPECT_EQ(Output("cat " + Mounted("docs/readme.txt")), "read me\n");
}
} // namespace
} // namespace Keld::Test
