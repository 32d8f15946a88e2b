#include "Faults/ToolScenario.h"

namespace Keld::Test
{
namespace
{
/// The tool, killed at a call that changes something: the old or the new is whole, and the next run brings the new and
/// leaves nothing else.
class ToolKillTest : public ToolScenarioTest
{
};

TEST_F(ToolKillTest, PackLeavesTheOldOrTheNewWhereverItIsKilled)
{
    HoldAgainstKills(Pack());
}

TEST_F(ToolKillTest, PackByForceLeavesTheOldOrTheNewWhereverItIsKilled)
{
    HoldAgainstKills(PackByForce());
}

TEST_F(ToolKillTest, FetchLeavesTheOldOrTheNewWhereverItIsKilled)
{
    HoldAgainstKills(Fetch());
}

TEST_F(ToolKillTest, PruneLeavesTheOldOrTheNewWhereverItIsKilled)
{
    HoldAgainstKills(Prune());
}

TEST_F(ToolKillTest, RepairLeavesTheOldOrTheNewWhereverItIsKilled)
{
    HoldAgainstKills(Repair());
}

TEST_F(ToolKillTest, ApplyLeavesTheOldOrTheNewWhereverItIsKilled)
{
    HoldAgainstKills(Apply());
}

TEST_F(ToolKillTest, PublishLeavesTheOldOrTheNewWhereverItIsKilled)
{
    HoldAgainstKills(Publish());
}

TEST_F(ToolKillTest, PublishWithASignatureLeavesTheOldOrTheNewWhereverItIsKilled)
{
    HoldAgainstKills(PublishSigned());
}

TEST_F(ToolKillTest, BundleLeavesTheOldOrTheNewWhereverItIsKilled)
{
    HoldAgainstKills(Bundle());
}

TEST_F(ToolKillTest, SolutionLeavesTheOldOrTheNewWhereverItIsKilled)
{
    HoldAgainstKills(Solution());
}
} // namespace
} // namespace Keld::Test
