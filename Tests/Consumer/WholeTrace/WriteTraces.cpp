// Writes what a consumer observes of the shared library.
//
//     KeldWriteTraces kept DIRECTORY         the traces that the tests compare with, a file each
//     KeldWriteTraces random FIRST COUNT     those of random trees, to standard output
//
// Which library that is, standard error tells.

#include "Consumer/WholeTrace/Scenario.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <string_view>

#include <dlfcn.h>

namespace Keld::Test::WholeTrace
{
namespace
{
void WriteKept(const std::string &directory)
{
    for (const Scenario &scenario : KeptScenarios())
    {
        std::ofstream stream(directory + "/" + scenario.name + ".txt", std::ios::binary | std::ios::trunc);
        stream << RunScenario(scenario);
    }
}

void WriteRandom(std::uint32_t first, std::uint32_t count)
{
    for (std::uint32_t seed = first; seed < first + count; ++seed)
    {
        const std::string trace = RunScenario(RandomScenario(seed));
        std::printf("== random %u\n", seed);
        std::fwrite(trace.data(), 1, trace.size(), stdout);
    }
}

void TellLibrary()
{
    Dl_info library{};
    if (dladdr(reinterpret_cast<const void *>(&MorvInitialize), &library) != 0)
    {
        std::fprintf(stderr, "traces of %s\n", library.dli_fname);
    }
}

std::uint32_t Number(const char *text)
{
    return static_cast<std::uint32_t>(std::strtoul(text, nullptr, 10));
}

int Run(int argumentCount, char **arguments)
{
    const std::string_view form = argumentCount > 1 ? arguments[1] : "";
    TellLibrary();
    if (form == "kept" && argumentCount == 3)
    {
        WriteKept(arguments[2]);
        return 0;
    }
    if (form == "random" && argumentCount == 4)
    {
        WriteRandom(Number(arguments[2]), Number(arguments[3]));
        return 0;
    }
    std::fprintf(stderr, "usage: %s kept DIRECTORY | random FIRST COUNT\n", arguments[0]);
    return 2;
}
} // namespace
} // namespace Keld::Test::WholeTrace

int main(int argumentCount, char **arguments)
{
    try
    {
        return Keld::Test::WholeTrace::Run(argumentCount, arguments);
    }
    catch (const std::exception &exception)
    {
        std::fprintf(stderr, "%s\n", exception.what());
        return 1;
    }
}
