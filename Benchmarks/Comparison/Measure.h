#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace Keld::Benchmarks
{
/// One who does the work of a row. A call does a batch of it and gives the nanoseconds of one piece.
struct Contender
{
    std::string name;
    std::function<double()> batch;
};

/// A line of the table. The first contender is the limit, the second the library, the others are its neighbours.
struct Row
{
    std::string work;
    std::string unit; ///< what a batch's result counts: nanoseconds a piece, or bytes an entry
    double reach;     ///< how many times the limit the library shall take at most, or how many bytes; 0 for no bar
    std::vector<Contender> contenders;
};

/// As long as this lives, the process is called "measured", so that a profile can leave out all that prepares and
/// cleans up.
class MeasuredProcess
{
public:
    MeasuredProcess();
    ~MeasuredProcess();
    MeasuredProcess(const MeasuredProcess &) = delete;
    MeasuredProcess &operator=(const MeasuredProcess &) = delete;
};

struct Measured
{
    std::string name;
    double least;
    double median;
    double most;
};

/// Lets the contenders take turns, so that a slow moment of the machine hits all of them, and keeps every batch. A row
/// whose contenders are slow ends before its last turn, but has some.
std::vector<Measured> Measure(const Row &row, int repetitions);

/// \param figures of one contender, at least one; takes their order.
Measured Summarize(const std::string &name, std::vector<double> figures);

inline double Nanoseconds(std::chrono::steady_clock::duration duration)
{
    return std::chrono::duration<double, std::nano>(duration).count();
}

/// Nanoseconds of one call of `piece`, over as many calls as fill some time. Every call tells something of its work,
/// so that none is left out by the compiler.
template <class Piece>
double TimePerCall(const Piece &piece)
{
    constexpr double least = 4e6; // less than a scheduler's turn: many short batches find quiet moments
    using Clock = std::chrono::steady_clock;
    std::size_t count = 16;
    for (;; count *= 2)
    {
        std::size_t sum = 0;
        const Clock::time_point begin = Clock::now();
        for (std::size_t index = 0; index < count; ++index)
        {
            sum += piece();
        }
        const double spent = Nanoseconds(Clock::now() - begin);
        asm volatile("" : : "r"(sum));
        if (spent >= least)
        {
            return spent / static_cast<double>(count);
        }
    }
}
} // namespace Keld::Benchmarks
