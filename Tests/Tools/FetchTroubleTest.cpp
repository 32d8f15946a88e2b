#include "Tools/FaultServer.h"
#include "Tools/FetchFixture.h"
#include "Tools/ToolRun.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <thread>

#include <fcntl.h>
#include <sys/resource.h>
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
    const pid_t child = fork();
    if (child == 0)
    {
        execl(KELD_MORV_PROGRAM, "morv", "fetch", server.GetUrl().c_str(), "--root", Client().c_str(), "--project",
              "game", "--release", "1.0.0.0", "-q", nullptr);
        _exit(127);
    }
    WaitUntilAsked(server, "large.n", child);
    std::atomic<int> looks{0};
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
        });
    while (looks < 3) // it waits for the lock: nothing else is done so early
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_FALSE(IsHere(First));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
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
    const pid_t child = fork();
    if (child == 0)
    {
        // As on a full disk, a write fails from some byte on.
        const rlimit limit = {150'000, 150'000};
        signal(SIGXFSZ, SIG_IGN);
        setrlimit(RLIMIT_FSIZE, &limit);
        const std::string refusal = Refusal(Server(), Request());
        _exit(refusal.find("cannot write what comes of projects/game/") != std::string::npos ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
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
    const std::string errors = mTree.Path("errors");
    const pid_t child = fork();
    if (child == 0)
    {
        const int output = open(errors.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        dup2(output, STDERR_FILENO);
        execl(KELD_MORV_PROGRAM, "morv", "fetch", server.GetUrl().c_str(), "--root", Client().c_str(), "--project",
              "game", "--release", "1.0.0.0", nullptr);
        _exit(127);
    }
    WaitUntilAsked(server, "large.n", child);
    kill(child, SIGINT);
    int status = 0;
    waitpid(child, &status, 0);

    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGINT);
    EXPECT_NE(mTree.Read("errors").find("the same command goes on where this one ended"), std::string::npos)
        << mTree.Read("errors");
    EXPECT_FALSE(IsHere(First));
    FetchFrom(server.GetUrl(), Request());
    ExpectServes(First, mFiles);
}
} // namespace
} // namespace Keld::Test
