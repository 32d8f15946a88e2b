#include "Load/Figures.h"

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>

#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define KELD_OWN_ALLOCATOR 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define KELD_OWN_ALLOCATOR 1
#endif
#endif
#ifdef KELD_OWN_ALLOCATOR
#include <sanitizer/allocator_interface.h>
#endif

namespace Keld::Test::Load
{
namespace
{
namespace fs = std::filesystem;

std::size_t CountIn(const char *directory)
{
    const fs::directory_iterator entries(directory);
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

std::size_t AllocatedBytes()
{
#ifdef KELD_OWN_ALLOCATOR
    return __sanitizer_get_current_allocated_bytes();
#else
    const struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
#endif
}
} // namespace

Figures Figures::Now()
{
    Figures figures;
    figures.bytes = AllocatedBytes();
    figures.descriptors = CountIn("/proc/self/fd");
    figures.threads = CountIn("/proc/self/task");
    return figures;
}

Figures Figures::WithThreads(std::size_t threads)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    Figures figures = Now();
    while (figures.threads > threads && std::chrono::steady_clock::now() < end)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        figures = Now();
    }
    return figures;
}

int LowestFreeDescriptor()
{
    const int descriptor = open("/dev/null", O_RDONLY | O_CLOEXEC);
    close(descriptor);
    return descriptor;
}
} // namespace Keld::Test::Load
