#include "Benchmarks/Comparison/Measure.h"

#include <algorithm>

namespace Keld::Benchmarks
{
std::vector<Measured> Measure(const Row &row, int repetitions)
{
    std::vector<std::vector<double>> times(row.contenders.size());
    for (int repetition = 0; repetition < repetitions; ++repetition)
    {
        for (std::size_t index = 0; index < row.contenders.size(); ++index)
        {
            times[index].push_back(row.contenders[index].batch());
        }
    }
    std::vector<Measured> measured;
    for (std::size_t index = 0; index < row.contenders.size(); ++index)
    {
        std::sort(times[index].begin(), times[index].end());
        measured.push_back({row.contenders[index].name, times[index].front(), times[index][times[index].size() / 2],
                            times[index].back()});
    }
    return measured;
}
} // namespace Keld::Benchmarks
