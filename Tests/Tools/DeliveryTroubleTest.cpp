#include "Tools/DeliveryFixture.h"
#include "Tools/TreeSnapshot.h"

#include "Support/AsNobody.h"
#include "Support/FullDisk.h"

#include <algorithm>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;

/// What happens to whoever delivers where nothing can be written.
class DeliveryTroubleTest : public DeliveryFixture
{
protected:
    /// Everybody may read what is in a directory; whether its owner may write there is chosen.
    static void SetWritable(const std::string &directory, bool isWritable)
    {
        const auto set = [isWritable](const fs::path &path)
        {
            const fs::perms read = fs::is_directory(path) ? fs::perms(0555) : fs::perms(0444);
            fs::permissions(path, isWritable ? read | fs::perms::owner_write : read);
        };
        set(directory);
        std::for_each(fs::recursive_directory_iterator(directory), fs::recursive_directory_iterator(), set);
    }
};

TEST_P(DeliveryTroubleTest, AFullDiskIsToldAndNothingIsHalfVisible)
{
    for (const rlim_t room : {rlim_t{0}, rlim_t{1}, rlim_t{20}, rlim_t{200}})
    {
        SCOPED_TRACE(room);
        BeginAnew();
        std::string refusal;
        {
            const FullDisk disk(room);
            refusal = DeliveryRefusal(Server());
        }
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
        SetWritable(mTree.Path(place), false);
    }
    fs::permissions(mTree.Root(), fs::perms(0755));
    if (IsApplied())
    {
        fs::permissions(mTree.Path("bundle"), fs::perms(0444));
    }
    const TreeSnapshot before = TakeSnapshot(Client());
    std::string refusal;
    {
        const AsNobody nobody;
        refusal = DeliveryRefusal(Server());
    }
    EXPECT_NE(refusal.find(Client()), std::string::npos) << refusal;
    EXPECT_NE(refusal.find("Permission denied"), std::string::npos) << refusal;
    EXPECT_TRUE(TakeSnapshot(Client()) == before);
    for (const char *place : {"client", "server"})
    {
        SetWritable(mTree.Path(place), true);
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
