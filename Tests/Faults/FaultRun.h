#pragma once

#include "Faults/FaultSeam.h"

#include <functional>
#include <string>
#include <vector>

namespace Keld::Test
{
/// What became of a process that followed a plan.
struct FaultOutcome
{
    int exitCode = -1;        ///< -1 where a signal ended it
    int signal = 0;           ///< that ended it
    std::string output;       ///< what it wrote to standard output
    std::string error;        ///< what it wrote to standard error
    FaultPlan plan = {};      ///< with what was counted
    std::string Text() const; ///< how it ended, and what it said
};

FaultPlan CountingPlan();
FaultPlan KillingPlan(unsigned at, bool amid);
FaultPlan InterruptingPlan(unsigned at);

/// One failure: the call, which of its calls, and how it fails.
struct FaultPoint
{
    int call = 0;
    unsigned index = 0;
    unsigned way = 0;

    FaultPlan Plan() const;
    std::string Text() const;
};

/// Runs `work` in a process of its own; its value is the exit code. A process that takes a minute is ended by SIGALRM.
/// \param work arms the plan when what is meant begins
FaultOutcome RunUnder(const FaultPlan &plan, const std::function<int(FaultPlan &)> &work);

/// Whether this run is the long one, which takes every point: KELD_WHOLE_MATRIX stands in its environment. Of many
/// allocations it takes some, and all where the value is "malloc".
bool TakesWholeMatrix();

/// Whether one point alone is to be tried, by KELD_MATRIX_POINT. A run that tries none then fails as a whole.
bool IsOnePointWanted();

/// Every way in which every call that was counted can fail; without the long run the same few of each. Where
/// KELD_MATRIX_POINT stands in the environment, the one point alone whose text it is.
std::vector<FaultPoint> ChooseFaults(const FaultPlan &counted);

/// The places from 1 to `count`, or so many of them.
std::vector<unsigned> ChoosePlaces(unsigned count, unsigned sample);

/// What a matrix prints: a line for each call.
class MatrixTable
{
public:
    /// \param what is done to the calls, as the heading of a column
    MatrixTable(std::string title, std::string what) : mTitle(std::move(title)), mWhat(std::move(what)) {}
    ~MatrixTable(); ///< prints it

    MatrixTable(const MatrixTable &) = delete;
    MatrixTable &operator=(const MatrixTable &) = delete;

    void SetCalls(const std::string &row, unsigned calls);
    void Add(const std::string &row, bool held);

    /// One that was to be done, but its call did not come.
    void AddMissed(const std::string &row);

private:
    struct Row
    {
        std::string name;
        unsigned calls = 0;
        unsigned tried = 0;
        unsigned held = 0;
        unsigned missed = 0;
    };

    static void Print(const Row &row);
    Row &RowOf(const std::string &name);

    std::string mTitle;
    std::string mWhat;
    std::vector<Row> mRows;
};
} // namespace Keld::Test
