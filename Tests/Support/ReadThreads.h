#pragma once

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define KELD_TEST_THREAD_SANITIZER 1
#endif
#endif
#if defined(__SANITIZE_THREAD__)
#define KELD_TEST_THREAD_SANITIZER 1
#endif

#if defined(KELD_TEST_THREAD_SANITIZER)
#include <aio.h>
#endif

namespace Keld::Test
{
/// Under the thread sanitizer the platform's asynchronous reads get one helper thread.
///
/// With more of them the C library now and then lets one helper make the next. The sanitizer does not see a helper come
/// into being, so that its allocations for the new thread end the process. Threads that read still run side by side.
inline void LimitReadThreads()
{
#if defined(KELD_TEST_THREAD_SANITIZER)
    aioinit limits{};
    limits.aio_threads = 1;
    limits.aio_num = 64;
    aio_init(&limits);
#endif
}
} // namespace Keld::Test
