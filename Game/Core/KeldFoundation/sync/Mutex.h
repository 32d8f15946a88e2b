#pragma once

#include <pthread.h>

namespace Keld
{
/// A POSIX mutex, held by value so that it can live inside another object or as a static. A mutex that cannot be
/// initialised ends the process. A non-recursive one must not be locked again by its holder.
class Mutex
{
public:
    explicit Mutex(bool recursive = false);
    ~Mutex();

    Mutex &operator=(const Mutex &) = delete;

    void Lock();
    void Unlock();

private:
    friend class SharedMutex;
    Mutex(const Mutex &other);

    pthread_mutex_t mMutex;
};

/// Holds a mutex from its line to the end of the scope.
class MutexLock
{
public:
    explicit MutexLock(Mutex &mutex) : mMutex(mutex) { mMutex.Lock(); }
    ~MutexLock() { mMutex.Unlock(); }

    MutexLock(const MutexLock &) = delete;
    MutexLock &operator=(const MutexLock &) = delete;

private:
    Mutex &mMutex;
};
} // namespace Keld
