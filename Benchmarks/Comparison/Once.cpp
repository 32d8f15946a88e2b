// One piece of work in a fresh process, so that no earlier one has warmed the heap or left memory behind.

#include "Benchmarks/Comparison/Groups.h"
#include "Benchmarks/Comparison/ManifestTable.h"
#include "Benchmarks/Comparison/Neighbour.h"

#include "KeldMorvIO/Public/KeldMorvIO.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <sys/mman.h>

namespace Keld::Benchmarks
{
namespace
{
/// A line of /proc/self/status that counts KiB, in bytes.
double StatusBytes(const std::string &name)
{
    std::ifstream stream("/proc/self/status");
    for (std::string word; stream >> word;)
    {
        if (word == name + ":")
        {
            double kibibytes = 0;
            stream >> kibibytes;
            return kibibytes * 1024;
        }
    }
    return 0;
}

template <class Work>
void MeasureOnce(const Work &work, double times = 1)
{
    using Clock = std::chrono::steady_clock;
    const MeasuredProcess process;
    const double before = StatusBytes("VmRSS");
    const Clock::time_point begin = Clock::now();
    const auto result = work();
    const double spent = Nanoseconds(Clock::now() - begin);
    const double after = StatusBytes("VmRSS");
    const double peak = StatusBytes("VmHWM");
    asm volatile("" : : "r"(&result) : "memory");
    std::printf("%.0f %.0f %.0f\n", spent * times, after - before, peak - before);
}

int StartLibrary(const std::string &directory)
{
    if (MorvInitialize(0, 0, 0, directory.c_str()) != S_OK || MorvFileExists("/") == 0)
    {
        throw std::runtime_error("the library does not start in " + directory);
    }
    return 0;
}

// More than any contender takes at its peak, of a million files.
constexpr std::size_t MemoryAtHand = std::size_t{512} << 20;

/// Free memory of a virtual machine lies with its host until it is touched, and to get it back costs more than the work
/// that is measured. Whoever measures first would pay for all, and most for memory in large pieces. So each piece of
/// work finds memory that has just been touched and given back.
void BringMemoryIn()
{
    constexpr std::size_t pageSize = 4096;
    void *const memory = mmap(nullptr, MemoryAtHand, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
    {
        return;
    }
    madvise(memory, MemoryAtHand, MADV_HUGEPAGE);
    for (std::size_t offset = 0; offset < MemoryAtHand; offset += pageSize)
    {
        static_cast<volatile char *>(memory)[offset] = 1;
    }
    munmap(memory, MemoryAtHand);
}

std::unique_ptr<Neighbour> OpenNeighbour(const std::string &name, const std::string &directory)
{
    for (const NeighbourKind &kind : NeighbourKinds())
    {
        if (kind.name == name)
        {
            std::unique_ptr<Neighbour> neighbour = kind.open(directory);
            neighbour->Exists("Content/Area000/Set00/Texture0000.dds"); // some make their tables only now
            return neighbour;
        }
    }
    throw std::runtime_error("no neighbour is called " + name);
}
} // namespace

int DoOnce(const std::vector<std::string> &arguments)
{
    const std::string &what = arguments.at(0);
    const std::string &place = arguments.at(1);
    if (what == "library" || what == "library-10")
    {
        MeasureOnce(
            [&]
            {
                return StartLibrary(place);
            },
            what == "library" ? 1 : 10);
    }
    else if (what == "table")
    {
        MeasureOnce(
            [&]
            {
                return BuildTable(place);
            });
    }
    else if (what == "stat")
    {
        MeasureOnce(
            [&]
            {
                return StatEach(place, arguments.at(2));
            });
    }
    else
    {
        MeasureOnce(
            [&]
            {
                return OpenNeighbour(place, arguments.at(2));
            });
    }
    return 0;
}

OnceResult RunOnce(const std::string &arguments)
{
    BringMemoryIn();
    const std::string command = std::filesystem::read_symlink("/proc/self/exe").string() + " once " + arguments;
    std::FILE *const output = popen(command.c_str(), "r");
    OnceResult result{};
    const bool read = output != nullptr && std::fscanf(output, "%lf %lf %lf", &result.nanoseconds,
                                                       &result.residentBytes, &result.peakBytes) == 3;
    if (output == nullptr || pclose(output) != 0 || !read)
    {
        throw std::runtime_error("this failed: " + command);
    }
    return result;
}
} // namespace Keld::Benchmarks
