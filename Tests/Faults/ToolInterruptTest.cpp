#include "Faults/ToolScenario.h"

namespace Keld::Test
{
namespace
{
/// The tool, interrupted by a person at a call: it ends by that signal or has done all of it, the old or the new is
/// whole, no temporary file stays but what the next run goes on with, and the next run brings the new.
class ToolInterruptTest : public ToolScenarioTest
{
};

TEST_F(ToolInterruptTest, PackEndsCleanlyWhereverItIsInterrupted)
{
    HoldAgainstInterrupts(Pack());
}

TEST_F(ToolInterruptTest, PackByForceEndsCleanlyWhereverItIsInterrupted)
{
    HoldAgainstInterrupts(PackByForce());
}

TEST_F(ToolInterruptTest, FetchEndsCleanlyWhereverItIsInterrupted)
{
    HoldAgainstInterrupts(Fetch());
}

TEST_F(ToolInterruptTest, PruneEndsCleanlyWhereverItIsInterrupted)
{
    HoldAgainstInterrupts(Prune());
}

TEST_F(ToolInterruptTest, RepairEndsCleanlyWhereverItIsInterrupted)
{
    HoldAgainstInterrupts(Repair());
}

TEST_F(ToolInterruptTest, ApplyEndsCleanlyWhereverItIsInterrupted)
{
    HoldAgainstInterrupts(Apply());
}

TEST_F(ToolInterruptTest, PublishEndsCleanlyWhereverItIsInterrupted)
{
    HoldAgainstInterrupts(Publish());
}

TEST_F(ToolInterruptTest, PublishWithASignatureEndsCleanlyWhereverItIsInterrupted)
{
    HoldAgainstInterrupts(PublishSigned());
}

TEST_F(ToolInterruptTest, BundleEndsCleanlyWhereverItIsInterrupted)
{
    HoldAgainstInterrupts(Bundle());
}

TEST_F(ToolInterruptTest, VerifyEndsCleanlyWhereverItIsInterrupted)
{
    HoldAgainstInterrupts(Verify());
}
} // namespace
} // namespace Keld::Test
