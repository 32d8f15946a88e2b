#include "Tools/FaultServer.h"
#include "Tools/FetchFixture.h"
#include "Tools/ToolRun.h"

#include "Support/FullDisk.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <thread>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;
using Delivery::FetchRequest;

/// What happens on this side while a release comes.
class FetchTroubleTest : public FetchFixture
{
protected:
    FetchTroubleTest()
    {
        setenv("no_proxy", "127.0.0.1", 1);
        Pack(mFiles, First);
    }

    /// The first time.
    static void StallAtLargeFile(const ServedRequest &request, ServedAnswer &answer)
    {
        if (request.path.ends_with("large.n") && request.number == 0)
        {
            answer.cutAfter = 100'000;
            answer.stalls = true;
        }
    }

    /// The tool, which fetches the first release; what it says goes to the file "errors".
    pid_t BeginFetch(const FaultServer &server) const
    {
        const std::string errors = mTree.Write("errors", "");
        const pid_t child = fork();
        if (child == 0)
        {
            const int output = open(errors.c_str(), O_WRONLY | O_CLOEXEC);
            if (output >= 0 && dup2(output, STDERR_FILENO) >= 0)
            {
                execl(KELD_MORV_PROGRAM, "morv", "fetch", server.GetUrl().c_str(), "--root", Client().c_str(),
                      "--project", "game", "--release", "1.0.0.0", nullptr);
            }
            _exit(127);
        }
        return child;
    }

    /// Sends a signal to a process, and expects that it ends by that.
    static void EndBy(int signal, pid_t child)
    {
        EXPECT_EQ(kill(child, signal), 0);
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << status;
    }

    /// Until a server was asked for a file, or the process that is to ask for it has ended.
    static void WaitUntilAsked(const FaultServer &server, const char *end, pid_t child)
    {
        const auto isAsked = [&]
        {
            const auto requests = server.GetRequests();
            return std::any_of(requests.begin(), requests.end(),
                               [end](const ServedRequest &request)
                               {
                                   return request.path.ends_with(end);
                               });
        };
        siginfo_t ended = {};
        while (!isAsked() && waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOHANG | WNOWAIT) == 0 &&
               ended.si_pid == 0)
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }

    const FileContents mFiles = SomeFiles();
};

TEST_F(FetchTroubleTest, TwoFetchesOfOneReleaseComeToOne)
{
    std::vector<std::string> refusals(2);
    std::thread other(
        [&]
        {
            refusals[0] = Refusal(Server(), Request());
        });
    refusals[1] = Refusal(Server(), Request());
    other.join();

    EXPECT_EQ(refusals, (std::vector<std::string>{"", ""}));
    ExpectServes(First, mFiles);
    EXPECT_FALSE(HasStaging());
}

TEST_F(FetchTroubleTest, TwoFetchesOfTwoReleasesDoNotHurtEachOther)
{
    FileContents files = mFiles;
    files["b.a"] += "changed";
    Pack(files, Second, First);
    std::thread other(
        [&]
        {
            EXPECT_EQ(Refusal(Server(), Request(First)), "");
        });
    EXPECT_EQ(Refusal(Server(), Request(Second)), "");
    other.join();

    ExpectServes(First, mFiles);
    ExpectServes(Second, files);
}

TEST_F(FetchTroubleTest, AKilledFetchLeavesNoLockToTheOneThatWaitsForIt)
{
    const FaultServer server(Server(), &StallAtLargeFile);
    const pid_t child = BeginFetch(server);
    WaitUntilAsked(server, "large.n", child);
    std::atomic<int> looks{0};
    std::atomic<bool> hasEnded{false};
    std::string refusal;
    std::thread other(
        [&]
        {
            FetchRequest request = Request();
            request.checkpoint = [&looks]
            {
                ++looks;
            };
            refusal = Refusal(Server(), request);
            hasEnded = true;
        });
    while (looks < 3 && !hasEnded) // it waits for the lock: nothing else is done so early
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_FALSE(hasEnded);
    EXPECT_FALSE(IsHere(First));
    EndBy(SIGKILL, child);
    other.join();

    EXPECT_EQ(refusal, "");
    ExpectServes(First, mFiles);
    EXPECT_FALSE(HasStaging());
}

TEST_F(FetchTroubleTest, GoesOnAfterItWasStoppedAtAnyMoment)
{
    struct Stopped
    {
    };
    int stops = 0;
    for (bool done = false; !done; ++stops)
    {
        std::atomic<int> countdown = stops; // any thread may call the checkpoint
        FetchRequest request = Request();
        request.threadCount = 1;
        request.checkpoint = [&countdown]
        {
            if (countdown-- == 0)
            {
                throw Stopped();
            }
        };
        try
        {
            FetchFrom(Server(), request);
            done = true;
        }
        catch (const Stopped &)
        {
            EXPECT_FALSE(IsHere(First));
        }
        ASSERT_LT(stops, 500);
    }
    EXPECT_GT(stops, 10);
    ExpectServes(First, mFiles);
    EXPECT_FALSE(HasStaging());
}

TEST_F(FetchTroubleTest, TellsThatTheDiskTakesNoMoreAndGoesOnLater)
{
    std::string refusal;
    {
        const FullDisk disk(150'000);
        refusal = Refusal(Server(), Request());
    }
    EXPECT_NE(refusal.find("cannot write what comes of projects/game/"), std::string::npos) << refusal;
    EXPECT_FALSE(IsHere(First));

    FetchRelease();

    ExpectServes(First, mFiles);
}

TEST_F(FetchTroubleTest, TellsThatTheTreeCannotBeWritten)
{
    mTree.Write("client", "a file where a directory should be");
    EXPECT_NE(Refusal(Server(), Request()).find("client"), std::string::npos);
    mTree.Remove("client");
    mTree.Write("client/MORV/projects", "a file where a directory should be");
    EXPECT_NE(Refusal(Server(), Request()).find("projects"), std::string::npos);
}

#ifdef KELD_CAN_MOUNT_DISKS
TEST_F(FetchTroubleTest, TellsThatTheFileSystemCanOnlyBeRead)
{
    FetchRelease();
    FileContents files = mFiles;
    files["b.a"] = "changed";
    Pack(files, Second, First);
    mTree.MakeDirectory("disk");
    const std::string disk = "'" + mTree.Path("disk") + "'";
    const std::string release = "--project game --release 1.0.0.1";
    const auto run = [](const std::string &words)
    {
        return "'" KELD_MORV_PROGRAM "' " + words + " && exit 1\n";
    };
    // A disk of its own, in a name space of its own, that is a copy of the client's tree and then closed to writers.
    mTree.Write("commands", "set -e\nmount -t tmpfs none " + disk + "\ncp -a '" + Client() + "' " + disk +
                                "\nmount -o remount,ro " + disk + "\ncd " + disk + "\nset +e\n" +
                                run("fetch '" + Server() + "' --root MORV " + release) +
                                run("repair game/1.0.0.1 --root MORV --from '" + Server() + "'") +
                                run("apply ../bundle --root MORV") + "cd ..\ndiff -r " + disk + "/MORV '" + Client() +
                                "'\n");
    const ToolResult bundled =
        RunMorv(mTree.Root(), {"bundle", "--root", Server(), "game/1.0.0.0", "game/1.0.0.1", "-o", "bundle"});
    ASSERT_EQ(bundled.exitCode, 0) << bundled.error;
    const std::string unshare = geteuid() == 0 ? "unshare -m" : "unshare -rm";
    const std::string line = unshare + " sh '" + mTree.Path("commands") + "' >'" + mTree.Path("log") + "' 2>&1";
    EXPECT_EQ(std::system(line.c_str()), 0) << mTree.Read("log");
    const std::string log = mTree.Read("log");
    std::size_t told = 0;
    for (std::size_t at = log.find("Read-only file system"); at != std::string::npos;
         at = log.find("Read-only file system", at + 1))
    {
        ++told;
    }
    EXPECT_EQ(told, 3U) << log;
}
#endif

TEST_F(FetchTroubleTest, WritesThroughNoLinkInTheTree)
{
    mTree.MakeDirectory("elsewhere");
    mTree.MakeDirectory("client/MORV/projects/game");
    fs::create_directory_symlink(mTree.Path("elsewhere"), Client() + "/projects/game/managedfiles");

    EXPECT_NE(Refusal(Server(), Request()), "");

    EXPECT_TRUE(fs::is_empty(mTree.Path("elsewhere")));
    EXPECT_FALSE(IsHere(First));
}

TEST_F(FetchTroubleTest, AnInterruptEndsItAndTellsHowToGoOn)
{
    const FaultServer server(Server(), &StallAtLargeFile);
    const pid_t child = BeginFetch(server);
    WaitUntilAsked(server, "large.n", child);
    EndBy(SIGINT, child);

    EXPECT_NE(mTree.Read("errors").find("the same command goes on where this one ended"), std::string::npos)
        << mTree.Read("errors");
    EXPECT_FALSE(IsHere(First));
    FetchFrom(server.GetUrl(), Request());
    ExpectServes(First, mFiles);
}
} // namespace
} // namespace Keld::Test
