#pragma once

#include "Consumer/WholeTrace/TraceTree.h"
#include "Consumer/WholeTrace/TracedLibrary.h"

#include <functional>
#include <string>
#include <vector>

namespace Keld::Test::WholeTrace
{
/// A tree and what a consumer does with it.
struct Scenario
{
    std::string name;
    std::function<void(TraceTree &, TracedLibrary &)> run;
};

/// Those whose traces are kept in Golden/, one file of its name each.
std::vector<Scenario> KeptScenarios();

std::vector<Scenario> ReleaseScenarios();
std::vector<Scenario> ReadScenarios();
std::vector<Scenario> ArchiveScenarios();
std::vector<Scenario> ManifestScenarios();
std::vector<Scenario> SolutionScenarios();
std::vector<Scenario> LifetimeScenarios();

/// A random tree and random calls, the same for the same seed. Its trace is compared between two libraries.
Scenario RandomScenario(std::uint32_t seed);

/// Runs a scenario in a process of its own, which the library sees nothing of before, and gives its trace. The last
/// line tells how the process ended.
std::string RunScenario(const Scenario &scenario);
} // namespace Keld::Test::WholeTrace
