#pragma once

#include "Faults/FaultRun.h"
#include "Tools/CheckedTree.h"

#include <map>
#include <string>
#include <vector>

namespace Keld::Test
{
/// What a command of the tool does to a place, "work", that is laid out anew from "before" for each of its runs.
/// Everything else is only read.
struct ToolScenario
{
    std::string name;
    std::vector<std::string> arguments;
    std::vector<std::string> again = {}; ///< arguments for the next run where the first has done it all; else the same
    bool isDamaged = false;              ///< before
    bool goesOn = false;                 ///< with what an interrupted run has brought so far
    bool onlyReads = false;
};

/// Runs the tool inside processes of this program, under plans, and judges what they leave.
class ToolScenarioTest : public CheckedTree
{
protected:
    using Names = std::map<std::string, std::string>; ///< by path: what ReadFile tells of a file, or what else it is

    ToolScenarioTest();

    ToolScenario Pack();
    ToolScenario PackByForce();
    ToolScenario Fetch();
    ToolScenario Prune();
    ToolScenario Repair();
    ToolScenario Apply();
    ToolScenario Publish();
    ToolScenario PublishSigned();
    ToolScenario Bundle();
    ToolScenario Solution();
    ToolScenario NewSolution();
    ToolScenario Verify();

    /// Every call that the command makes fails once, in turn.
    void HoldAgainstFaults(const ToolScenario &scenario);

    /// The command is killed at every call that changes something on disk.
    void HoldAgainstKills(const ToolScenario &scenario);

    /// A person interrupts the command at every call.
    void HoldAgainstInterrupts(const ToolScenario &scenario);

private:
    /// What consumers see in each release: content by path; nothing for a release that is not there.
    using Releases = std::map<std::string, Names>;

    void CopyTree(const std::string &from, const std::string &to) const;
    void MustRun(const std::vector<std::string> &arguments) const;
    FaultOutcome Run(const FaultPlan &plan, const std::vector<std::string> &arguments) const;
    FaultPlan Prepare(const ToolScenario &scenario);
    Names ListNames(const std::string &place) const;

    /// A file's bytes. No two signatures are the same, so of one it is told what it signs, or that it does not.
    std::string ReadFile(const std::string &path) const;
    Releases ReadReleases() const;

    /// What a run left.
    struct State
    {
        std::string wrong; ///< with it; empty where all is well
        Releases releases;
    };

    /// What is wrong with a run of which a call failed, or was to fail and did not come; empty where all is well.
    std::string JudgeFault(const ToolScenario &scenario, const FaultOutcome &outcome);

    /// What is wrong with a run that was interrupted; empty where all is well.
    std::string JudgeInterrupt(const ToolScenario &scenario, const FaultOutcome &outcome);

    /// What is wrong with what a run left, and with what the next one makes of it; empty where all is well.
    std::string JudgeRun(const ToolScenario &scenario, const FaultOutcome &outcome);
    const State &LookAt(const ToolScenario &scenario, const Names &names);
    State JudgeState(const ToolScenario &scenario, const Names &names) const;
    std::string JudgeNames(const ToolScenario &scenario, const Names &names) const;
    std::string JudgeNextRun(const ToolScenario &scenario, bool wasDone) const;

    Names mBefore;
    Names mAfter;
    Releases mReleasesBefore;
    Releases mReleasesAfter;
    std::map<Names, State> mSeen; ///< many failures leave the same
};
} // namespace Keld::Test
