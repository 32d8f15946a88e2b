#include "Faults/ToolScenario.h"

#include <csignal>
#include <set>

// A scenario at every place: what is done there, and what is expected of it.
namespace Keld::Test
{
void ToolScenarioTest::HoldAgainstFaults(const ToolScenario &scenario)
{
    const FaultPlan counted = Prepare(scenario);
    MatrixTable table(scenario.name, "failures");
    for (int call = 0; call < FaultCallCount; ++call)
    {
        if (counted.calls[call] != 0)
        {
            table.SetCalls(FaultCallName(call), counted.calls[call]);
        }
    }
    // Runs of a command do not all make the same number of calls. The first one that does not come ends its row.
    std::set<int> ended;
    const std::vector<FaultPoint> points = ChooseFaults(counted);
    EXPECT_TRUE(!points.empty() || IsOnePointWanted()) << scenario.name;
    for (const FaultPoint &point : points)
    {
        if (ended.count(point.call) != 0)
        {
            continue;
        }
        CopyTree("before", "work");
        const FaultOutcome outcome = Run(point.Plan(), scenario.arguments);
        const std::string wrong = JudgeFault(scenario, outcome);
        EXPECT_EQ(wrong, "") << scenario.name << ", " << point.Text() << "; " << outcome.Text();
        if (outcome.plan.injected == 1)
        {
            table.Add(FaultCallName(point.call), wrong.empty());
            continue;
        }
        table.AddMissed(FaultCallName(point.call));
        ended.insert(point.call);
        // The number hardly varies where nothing is wrong.
        EXPECT_GE(outcome.plan.calls[point.call] * 2, counted.calls[point.call])
            << scenario.name << ", " << point.Text();
    }
}

void ToolScenarioTest::HoldAgainstKills(const ToolScenario &scenario)
{
    const FaultPlan counted = Prepare(scenario);
    EXPECT_GT(counted.changes, 0U) << scenario.name << " changes nothing";
    MatrixTable table(scenario.name, "kills");
    for (const bool amid : {false, true})
    {
        const std::string row = amid ? "amid or behind" : "before";
        table.SetCalls(row, counted.changes);
        for (const unsigned place :
             ChoosePlaces(counted.changes, TakesWholeMatrix() ? counted.changes : KELD_KILL_SAMPLE))
        {
            CopyTree("before", "work");
            const FaultOutcome outcome = Run(KillingPlan(place, amid), scenario.arguments);
            const bool killed = outcome.signal == SIGKILL;
            const std::string wrong = killed ? JudgeRun(scenario, outcome) : "was not killed";
            table.Add(row, wrong.empty());
            EXPECT_EQ(wrong, "") << scenario.name << ", killed " << row << " change no. " << place << "; "
                                 << outcome.Text();
        }
    }
}

void ToolScenarioTest::HoldAgainstInterrupts(const ToolScenario &scenario)
{
    const FaultPlan counted = Prepare(scenario);
    MatrixTable table(scenario.name, "interrupts");
    const std::string row = "all but malloc";
    table.SetCalls(row, counted.others);
    unsigned told = 0;
    for (const unsigned place : ChoosePlaces(counted.others, TakesWholeMatrix() ? counted.others : KELD_KILL_SAMPLE))
    {
        CopyTree("before", "work");
        const FaultOutcome outcome = Run(InterruptingPlan(place), scenario.arguments);
        const std::string wrong = JudgeInterrupt(scenario, outcome);
        table.Add(row, wrong.empty());
        EXPECT_EQ(wrong, "") << scenario.name << ", interrupted at call no. " << place << "; " << outcome.Text();
        if (outcome.signal == SIGINT && outcome.error.find("morv: interrupted") != std::string::npos)
        {
            ++told;
        }
    }
    EXPECT_GT(told, 0U) << scenario.name << " is never ended in its own way";
}
} // namespace Keld::Test
