#include "Faults/ToolScenario.h"

namespace Keld::Test
{
namespace
{
/// The tool, of whose calls one fails: it does what it was asked for, or says that it could not and leaves what was
/// there; the next run does it.
class ToolFaultTest : public ToolScenarioTest
{
};

TEST_F(ToolFaultTest, PackHoldsAgainstEveryFailure)
{
    HoldAgainstFaults(Pack());
}

TEST_F(ToolFaultTest, PackByForceHoldsAgainstEveryFailure)
{
    HoldAgainstFaults(PackByForce());
}

TEST_F(ToolFaultTest, FetchHoldsAgainstEveryFailure)
{
    HoldAgainstFaults(Fetch());
}

TEST_F(ToolFaultTest, PruneHoldsAgainstEveryFailure)
{
    HoldAgainstFaults(Prune());
}

TEST_F(ToolFaultTest, RepairHoldsAgainstEveryFailure)
{
    HoldAgainstFaults(Repair());
}

TEST_F(ToolFaultTest, ApplyHoldsAgainstEveryFailure)
{
    HoldAgainstFaults(Apply());
}

TEST_F(ToolFaultTest, PublishHoldsAgainstEveryFailure)
{
    HoldAgainstFaults(Publish());
}

TEST_F(ToolFaultTest, PublishWithASignatureHoldsAgainstEveryFailure)
{
    HoldAgainstFaults(PublishSigned());
}

TEST_F(ToolFaultTest, BundleHoldsAgainstEveryFailure)
{
    HoldAgainstFaults(Bundle());
}

TEST_F(ToolFaultTest, SolutionHoldsAgainstEveryFailure)
{
    HoldAgainstFaults(Solution());
}

TEST_F(ToolFaultTest, ANewSolutionHoldsAgainstEveryFailure)
{
    HoldAgainstFaults(NewSolution());
}
} // namespace
} // namespace Keld::Test
