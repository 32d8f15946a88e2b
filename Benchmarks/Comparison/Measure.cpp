#include "Benchmarks/Comparison/Measure.h"

#include <algorithm>

#include <sys/prctl.h>

namespace Keld::Benchmarks
{
namespace
{
// A row whose turns have taken so long, in seconds, has enough of them, if they are no fewer than that.
constexpr std::chrono::seconds LongRow{12};
constexpr int FewestTurns = 5;
} // namespace

MeasuredProcess::MeasuredProcess()
{
    prctl(PR_SET_NAME, "measured");
}

MeasuredProcess::~MeasuredProcess()
{
    prctl(PR_SET_NAME, "KeldComparison");
}

std::vector<Measured> Measure(const Row &row, int repetitions)
{
    using Clock = std::chrono::steady_clock;
    const MeasuredProcess process;
    const Clock::time_point begin = Clock::now();
    std::vector<std::vector<double>> figures(row.contenders.size());
    for (int turn = 0; turn < repetitions && (turn < FewestTurns || Clock::now() - begin < LongRow); ++turn)
    {
        for (std::size_t index = 0; index < row.contenders.size(); ++index)
        {
            figures[index].push_back(row.contenders[index].batch());
        }
    }
    std::vector<Measured> measured;
    for (std::size_t index = 0; index < row.contenders.size(); ++index)
    {
        measured.push_back(Summarize(row.contenders[index].name, std::move(figures[index])));
    }
    return measured;
}

Measured Summarize(const std::string &name, std::vector<double> figures)
{
    std::sort(figures.begin(), figures.end());
    return {name, figures.front(), figures[figures.size() / 2], figures.back()};
}
} // namespace Keld::Benchmarks
