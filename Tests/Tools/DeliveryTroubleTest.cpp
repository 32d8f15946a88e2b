#include "Tools/DeliveryFixture.h"
#include "Tools/TreeSnapshot.h"

#include <csignal>

#include <grp.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;

/// A disk that takes nothing.
class DeliveryTroubleTest : public DeliveryFixture
{
protected:
    /// What delivering is refused with in a process of its own, for which `before` has made the world a worse one.
    template <class Before>
    std::string RefusalAfter(const Before &before) const
    {
        int ends[2] = {-1, -1};
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        const pid_t child = fork();
        if (child == 0)
        {
            before();
            const std::string refusal = DeliveryRefusal(Server());
            const bool isTold = write(ends[1], refusal.data(), refusal.size()) == static_cast<ssize_t>(refusal.size());
            _exit(isTold ? 0 : 1);
        }
        close(ends[1]);
        std::string refusal;
        char piece[512];
        for (ssize_t count = 0; (count = read(ends[0], piece, sizeof piece)) > 0;)
        {
            refusal.append(piece, static_cast<std::size_t>(count));
        }
        close(ends[0]);
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
        return refusal;
    }

    /// Lets everybody read what is in a directory, and nobody write it.
    void CloseToWriters(const std::string &directory) const
    {
        fs::permissions(directory, fs::perms(0555));
        for (const fs::directory_entry &entry : fs::recursive_directory_iterator(directory))
        {
            fs::permissions(entry.path(), entry.is_directory() ? fs::perms(0555) : fs::perms(0444));
        }
    }

    void OpenToUs(const std::string &directory) const
    {
        fs::permissions(directory, fs::perms(0755));
        for (const fs::directory_entry &entry : fs::recursive_directory_iterator(directory))
        {
            fs::permissions(entry.path(), entry.is_directory() ? fs::perms(0755) : fs::perms(0644));
        }
    }

    /// The superuser may write everywhere; somebody else may not.
    static void BecomeNobody()
    {
        constexpr unsigned nobody = 65534;
        if (geteuid() == 0 && (setgroups(0, nullptr) != 0 || setgid(nobody) != 0 || setuid(nobody) != 0))
        {
            _exit(1);
        }
    }
};

TEST_P(DeliveryTroubleTest, AFullDiskIsToldAndNothingIsHalfVisible)
{
    // As on a full disk, a write fails from some byte on.
    for (const rlim_t room : {rlim_t{0}, rlim_t{1}, rlim_t{20}, rlim_t{200}})
    {
        SCOPED_TRACE(room);
        BeginAnew();
        const std::string refusal = RefusalAfter(
            [room]
            {
                const rlimit limit = {room, room};
                signal(SIGXFSZ, SIG_IGN);
                setrlimit(RLIMIT_FSIZE, &limit);
            });
        EXPECT_NE(refusal.find("cannot write "), std::string::npos) << refusal;
        EXPECT_NE(refusal.find("File too large"), std::string::npos) << refusal;
        ExpectOldServes();
        EXPECT_TRUE(IsRepaired() || !IsTargetSeen());
        EXPECT_EQ(DeliveryRefusal(Server()), "");
        ExpectNewServes();
        EXPECT_FALSE(HasStaging());
    }
}

TEST_P(DeliveryTroubleTest, ATreeThatCannotBeWrittenIsToldAndNotTouched)
{
    BeginAnew();
    for (const char *place : {"client", "server"})
    {
        CloseToWriters(mTree.Path(place));
    }
    fs::permissions(mTree.Root(), fs::perms(0755));
    if (IsApplied())
    {
        fs::permissions(mTree.Path("bundle"), fs::perms(0444));
    }
    const TreeSnapshot before = TakeSnapshot(Client());
    const std::string refusal = RefusalAfter(&BecomeNobody);
    EXPECT_NE(refusal.find(Client()), std::string::npos) << refusal;
    EXPECT_NE(refusal.find("Permission denied"), std::string::npos) << refusal;
    EXPECT_TRUE(TakeSnapshot(Client()) == before);
    for (const char *place : {"client", "server"})
    {
        OpenToUs(mTree.Path(place));
    }
    ExpectOldServes();
    EXPECT_EQ(DeliveryRefusal(Server()), "");
    ExpectNewServes();
}

TEST_P(DeliveryTroubleTest, AFileWhereTheStagingPlaceShouldBeIsTold)
{
    BeginAnew();
    mTree.Write("client/MORV/arriving", "a file");
    EXPECT_NE(DeliveryRefusal(Server()).find(Client() + "/arriving"), std::string::npos);
    ExpectOldServes();
    EXPECT_EQ(mTree.Read("client/MORV/arriving"), "a file");
}

INSTANTIATE_TEST_SUITE_P(EveryWay, DeliveryTroubleTest,
                         testing::Values(Delivering::FetchRelease, Delivering::FetchSolution, Delivering::ApplyRelease,
                                         Delivering::ApplySolution, Delivering::RepairRelease,
                                         Delivering::RepairSolution));
} // namespace
} // namespace Keld::Test
