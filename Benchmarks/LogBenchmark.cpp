// What does a message cost that nobody wants? Beside it its limit, a call of an empty function of the same shape, and
// for comparison a message that is formatted and delivered.
#include "KeldFoundation/logger/Log.h"

#include <benchmark/benchmark.h>

#include <cstdarg>

namespace Keld::Benchmarks
{
namespace
{
constexpr const char *Signature = "bool Keld::MORV::Reader::ArchiveFile::Find(const std::string &) const";

__attribute__((noinline, format(printf, 4, 5))) void LogNothing(int32 severity, uint32 groupLow, uint32 groupHigh,
                                                                const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    benchmark::DoNotOptimize(severity);
    benchmark::DoNotOptimize(groupLow);
    benchmark::DoNotOptimize(groupHigh);
    benchmark::DoNotOptimize(format);
    va_end(arguments);
}

void EmptyFunction(benchmark::State &state)
{
    for ([[maybe_unused]] auto _ : state)
    {
        LogNothing(OKAY, DBG | XTR, 0, "%s: (%s)", Signature, "data/a.dds");
    }
}

void FilteredByLevel(benchmark::State &state)
{
    for ([[maybe_unused]] auto _ : state)
    {
        Log(OKAY, GEN, 0, "%s: (%s)", Signature, "data/a.dds");
    }
}

void FilteredByGroup(benchmark::State &state)
{
    for ([[maybe_unused]] auto _ : state)
    {
        Log(ERROR, DBG | XTR, 0, "%s: (%s)", Signature, "data/a.dds");
    }
}

// ALWAYS with no group of the target's: through the level, the formatting and the walk over the targets, but not out.
void FormattedAndRefusedByTheTarget(benchmark::State &state)
{
    for ([[maybe_unused]] auto _ : state)
    {
        Log(ALWAYS, GEN, 0, "%s: (%s)", Signature, "data/a.dds");
    }
}

BENCHMARK(EmptyFunction)->ThreadRange(1, 2);
BENCHMARK(FilteredByLevel)->ThreadRange(1, 2);
BENCHMARK(FilteredByGroup)->ThreadRange(1, 2);
BENCHMARK(FormattedAndRefusedByTheTarget)->ThreadRange(1, 2);
} // namespace
} // namespace Keld::Benchmarks
