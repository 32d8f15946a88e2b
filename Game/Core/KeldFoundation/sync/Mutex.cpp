#include "KeldFoundation/sync/Mutex.h"

#include "KeldFoundation/CStd/Assertion.h"
#include "KeldFoundation/CStd/CStd.h"

namespace Keld
{
namespace
{
bool InitializeRecursive(pthread_mutex_t *mutex)
{
    pthread_mutexattr_t attributes;
    if (pthread_mutexattr_init(&attributes) != 0)
    {
        return false;
    }
    const bool done = pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE) == 0 &&
                      pthread_mutex_init(mutex, &attributes) == 0;
    pthread_mutexattr_destroy(&attributes);
    return done;
}
} // namespace

Mutex::Mutex(bool recursive)
{
    const bool done = recursive ? InitializeRecursive(&mMutex) : pthread_mutex_init(&mMutex, nullptr) == 0;
    if (!done)
    {
        AssertionStop();
    }
}

// For SharedMutex alone, which copies a mutex that nobody has locked yet.
Mutex::Mutex(const Mutex &other)
{
    std_memcpy(&mMutex, sizeof mMutex, &other.mMutex, sizeof mMutex);
}

Mutex::~Mutex()
{
    pthread_mutex_destroy(&mMutex);
}

void Mutex::Lock()
{
    pthread_mutex_lock(&mMutex);
}

void Mutex::Unlock()
{
    pthread_mutex_unlock(&mMutex);
}
} // namespace Keld
