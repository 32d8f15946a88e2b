#pragma once

#include "Benchmarks/Comparison/Measure.h"

#include <functional>
#include <string>
#include <vector>

namespace Keld::Benchmarks
{
/// Rows that share what they measure on. Each group runs in a process of its own: the library and some neighbours
/// exist once in a process.
struct Group
{
    std::string name;
    std::function<void(int repetitions)> run;
};

std::vector<Group> LookupGroups();
std::vector<Group> OpenGroups();
std::vector<Group> ReadGroups();
std::vector<Group> StartGroups();

/// Whether a contender of this name has its turns: all have, unless one alone was asked for.
bool HasTurns(const std::string &contender);

/// Measures a row and prints a line for each contender, as the program that runs the groups reads them.
void MeasureAndPrint(const Row &row, int repetitions);

/// The same for what was measured elsewhere: one contender of a row.
void PrintMeasured(const std::string &work, const std::string &unit, double reach, const Measured &measured);

/// A word on what could not be measured.
void PrintNote(const std::string &note);

/// What a fresh process is asked to do once and to measure: "<what> <argument>...". Prints what `RunOnce` reads.
int DoOnce(const std::vector<std::string> &arguments);

struct OnceResult
{
    double nanoseconds;
    double residentBytes; ///< more than before
    double peakBytes;     ///< more than before, at the worst moment
};

/// The same in a fresh process.
OnceResult RunOnce(const std::string &arguments);
} // namespace Keld::Benchmarks
