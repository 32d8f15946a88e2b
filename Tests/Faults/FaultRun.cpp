#include "Faults/FaultRun.h"

#include "Support/ChildProcess.h"
#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string_view>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Keld::Test
{
namespace
{
constexpr unsigned PatienceSeconds = 60;
constexpr int CaughtException = 99; ///< the exit code of work that let one out

constexpr const char *WholeMatrix = "KELD_WHOLE_MATRIX";
constexpr const char *OnePoint = "KELD_MATRIX_POINT";
constexpr unsigned SomeAllocations = 500;

std::size_t gChosenPoints = 0;

/// Fails a run for one point that there is nowhere, as when its text is mistyped.
class OnePointCheck : public testing::Environment
{
public:
    void TearDown() override
    {
        EXPECT_TRUE(!IsOnePointWanted() || gChosenPoints != 0)
            << std::getenv(OnePoint) << " is no point of these tests";
    }
};

[[maybe_unused]] const testing::Environment *const gOnePointCheck =
    testing::AddGlobalTestEnvironment(new OnePointCheck);

/// How many calls of a kind fail. A command allocates thousands of times, so all of that is asked for by its name.
unsigned SampleOf(int call, unsigned count)
{
    if (!TakesWholeMatrix())
    {
        return KELD_FAULT_SAMPLE;
    }
    const char *const whole = std::getenv(WholeMatrix);
    const bool takesFew = call == FaultMalloc && whole != nullptr && whole != std::string_view("malloc");
    return takesFew ? SomeAllocations : count;
}

/// A plan in memory that this process and its children share.
class SharedPlan
{
public:
    explicit SharedPlan(const FaultPlan &plan)
        : mPlan(static_cast<FaultPlan *>(
              mmap(nullptr, sizeof(FaultPlan), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)))
    {
        if (mPlan == MAP_FAILED)
        {
            throw std::runtime_error("cannot share memory");
        }
        *mPlan = plan;
    }
    ~SharedPlan() { munmap(mPlan, sizeof(FaultPlan)); }

    SharedPlan(const SharedPlan &) = delete;
    SharedPlan &operator=(const SharedPlan &) = delete;

    FaultPlan &Get() const { return *mPlan; }

private:
    FaultPlan *mPlan;
};

void Redirect(int descriptor, const std::string &path)
{
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (file < 0 || dup2(file, descriptor) < 0)
    {
        _exit(CaughtException);
    }
    close(file);
}

[[noreturn]] void Work(FaultPlan &plan, const TempTree &files, const std::function<int(FaultPlan &)> &work)
{
    Redirect(STDOUT_FILENO, files.Path("output"));
    Redirect(STDERR_FILENO, files.Path("error"));
    alarm(PatienceSeconds);
    std::signal(SIGINT, SIG_DFL); // which whoever began the tests may have ignored
    FaultFollow(&plan);
    int result = CaughtException;
    try
    {
        result = work(plan);
    }
    catch (const std::exception &failure)
    {
        plan.armed = 0;
        std::fprintf(stderr, "%s\n", failure.what());
    }
    plan.armed = 0;
    std::fflush(stdout);
    _exit(result);
}
} // namespace

std::string FaultOutcome::Text() const
{
    const std::string end =
        signal != 0 ? "ended by signal " + std::to_string(signal) : "exit code " + std::to_string(exitCode);
    return error.empty() ? end : end + ": " + error;
}

FaultPlan CountingPlan()
{
    FaultPlan plan = {};
    plan.failing = -1;
    return plan;
}

FaultPlan KillingPlan(unsigned at, bool amid)
{
    FaultPlan plan = CountingPlan();
    plan.killAt = at;
    plan.killAmid = amid ? 1 : 0;
    return plan;
}

FaultPlan InterruptingPlan(unsigned at)
{
    FaultPlan plan = CountingPlan();
    plan.interruptAt = at;
    return plan;
}

FaultPlan FaultPoint::Plan() const
{
    FaultPlan plan = {};
    plan.failing = call;
    plan.index = index;
    plan.way = way;
    return plan;
}

std::string FaultPoint::Text() const
{
    return std::string(FaultCallName(call)) + " no. " + std::to_string(index) + " fails by " + FaultWayName(call, way);
}

FaultOutcome RunUnder(const FaultPlan &plan, const std::function<int(FaultPlan &)> &work)
{
    const TempTree files;
    const SharedPlan shared(plan);
    const int status = WaitForChild(StartChild(
        [&]
        {
            Work(shared.Get(), files, work);
        }));
    FaultOutcome outcome;
    outcome.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    outcome.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    outcome.output = files.Read("output");
    outcome.error = files.Read("error");
    outcome.plan = shared.Get();
    return outcome;
}

bool TakesWholeMatrix()
{
    return std::getenv(WholeMatrix) != nullptr || IsOnePointWanted();
}

bool IsOnePointWanted()
{
    return std::getenv(OnePoint) != nullptr;
}

std::vector<unsigned> ChoosePlaces(unsigned count, unsigned sample)
{
    const unsigned taken = std::min(count, sample);
    std::vector<unsigned> places;
    places.reserve(taken);
    for (unsigned number = 0; number < taken; ++number)
    {
        places.push_back(1 + static_cast<unsigned>(static_cast<unsigned long>(number) * count / taken));
    }
    return places;
}

std::vector<FaultPoint> ChooseFaults(const FaultPlan &counted)
{
    const char *const only = std::getenv(OnePoint);
    std::vector<FaultPoint> points;
    for (int call = 0; call < FaultCallCount; ++call)
    {
        const unsigned ways = FaultWayCount(call);
        unsigned next = 0;
        for (const unsigned index : ChoosePlaces(counted.calls[call], SampleOf(call, counted.calls[call])))
        {
            for (unsigned way = 0; way < ways; ++way)
            {
                const FaultPoint point{call, index, way};
                const bool isTaken = TakesWholeMatrix() || way == next % ways;
                if (only != nullptr ? point.Text() == only : isTaken)
                {
                    points.push_back(point);
                }
            }
            ++next;
        }
    }
    gChosenPoints += points.size();
    return points;
}

MatrixTable::~MatrixTable()
{
    std::printf("%s\n  %-16s %8s %10s %8s %8s\n", mTitle.c_str(), "call", "times", mWhat.c_str(), "held", "missed");
    Row sum{"together"};
    for (const Row &row : mRows)
    {
        Print(row);
        sum.calls += row.calls;
        sum.tried += row.tried;
        sum.held += row.held;
        sum.missed += row.missed;
    }
    Print(sum);
    std::fflush(stdout);
}

void MatrixTable::Print(const Row &row)
{
    std::printf("  %-16s %8u %10u %8u %8u\n", row.name.c_str(), row.calls, row.tried, row.held, row.missed);
}

MatrixTable::Row &MatrixTable::RowOf(const std::string &name)
{
    for (Row &row : mRows)
    {
        if (row.name == name)
        {
            return row;
        }
    }
    return mRows.emplace_back(Row{name});
}

void MatrixTable::SetCalls(const std::string &row, unsigned calls)
{
    RowOf(row).calls = calls;
}

void MatrixTable::Add(const std::string &row, bool held)
{
    Row &found = RowOf(row);
    ++found.tried;
    found.held += held ? 1 : 0;
}

void MatrixTable::AddMissed(const std::string &row)
{
    ++RowOf(row).missed;
}
} // namespace Keld::Test
