#include "Tools/DeliveryFixture.h"
#include "Tools/FaultServer.h"

#include <atomic>

namespace Keld::Test
{
namespace
{
/// After each interruption the old ones serve every byte, and after each success the new ones do, too.
class InterruptedDeliveryTest : public DeliveryFixture
{
protected:
    /// In a process of its own.
    /// \returns whether it was killed
    bool DeliverAndKill(const DeliveryHooks &hooks) const
    {
        return IsKilledDoing(
            [&]
            {
                Deliver(Server(), hooks);
            });
    }

    void ExpectGoesOn() const
    {
        ExpectOldServes();
        if (!IsRepaired() && IsTargetSeen())
        {
            ExpectNewServes();
        }
        EXPECT_EQ(DeliveryRefusal(Server()), "");
        ExpectNewServes();
        ExpectOldServes();
        EXPECT_FALSE(HasStaging());
    }

    /// \param hooksFor makes what kills after a number of calls
    /// \returns how often it was killed
    template <class HooksFor>
    int KillEverywhere(const HooksFor &hooksFor) const
    {
        int kills = 0;
        for (bool killed = true; killed; ++kills)
        {
            SCOPED_TRACE(kills);
            BeginAnew();
            killed = DeliverAndKill(hooksFor(kills));
            ExpectGoesOn();
            if (kills > 200 || HasFailure())
            {
                ADD_FAILURE() << "no end";
                break;
            }
        }
        return kills;
    }
};

TEST_P(InterruptedDeliveryTest, KilledAtAnyStepThatChangesTheTree)
{
    EXPECT_GT(KillEverywhere(
                  [](int count)
                  {
                      DeliveryHooks hooks;
                      hooks.step = [killer = KillAtPiece(count)]
                      {
                          killer(0);
                      };
                      return hooks;
                  }),
              5);
}

TEST_P(InterruptedDeliveryTest, KilledAtAnyPieceOfAnyFile)
{
    EXPECT_GT(KillEverywhere(
                  [](int count)
                  {
                      DeliveryHooks hooks;
                      hooks.advance = KillAtPiece(count);
                      return hooks;
                  }),
              5);
}

TEST_P(InterruptedDeliveryTest, TheServerEndsAtAnyFile)
{
    if (IsApplied())
    {
        // A bundle comes from no server; here it ends at any byte.
        const std::string whole = mTree.Read("bundle");
        for (std::size_t size = 0; size < whole.size(); size += 512)
        {
            SCOPED_TRACE(size);
            BeginAnew();
            mTree.Write("bundle", whole.substr(0, size));
            const bool isCarriedWhole = DeliveryRefusal(Server()).empty(); // what lacks may be but the end of the tar
            EXPECT_TRUE(isCarriedWhole == IsTargetSeen());
            mTree.Write("bundle", whole);
            ExpectGoesOn();
        }
        return;
    }
    unsigned limit = 0;
    for (bool isRefused = true; isRefused; ++limit)
    {
        SCOPED_TRACE(limit);
        ASSERT_LT(limit, 100U);
        BeginAnew();
        std::atomic<unsigned> count{0};
        const FaultServer server(Server(),
                                 [&](const ServedRequest &, ServedAnswer &answer)
                                 {
                                     if (count++ >= limit)
                                     {
                                         answer.cutAfter = answer.body.size() / 2;
                                     }
                                 });
        isRefused = !DeliveryRefusal(server.GetUrl()).empty();
        ExpectGoesOn();
    }
    EXPECT_GT(limit, 5U);
}

INSTANTIATE_TEST_SUITE_P(EveryWay, InterruptedDeliveryTest,
                         testing::Values(Delivering::FetchRelease, Delivering::FetchSolution, Delivering::ApplyRelease,
                                         Delivering::ApplySolution, Delivering::RepairRelease,
                                         Delivering::RepairSolution));
} // namespace
} // namespace Keld::Test
