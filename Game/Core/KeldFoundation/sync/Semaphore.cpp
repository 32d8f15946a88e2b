#include "KeldFoundation/sync/Semaphore.h"

#include "KeldFoundation/CStd/Assertion.h"

#include <fcntl.h>

namespace Keld
{
namespace
{
constexpr mode_t Permissions = 0666;
}

Semaphore::Semaphore(const char *name, int count) : mHandle(SEM_FAILED), mOwned(false)
{
    sem_t *const created = sem_open(name, O_CREAT | O_EXCL, Permissions, static_cast<unsigned>(count));
    if (created == SEM_FAILED)
    {
        mHandle = sem_open(name, O_CREAT, Permissions, static_cast<unsigned>(count));
        return;
    }
    if (count < 1)
    {
        // An attempt to join, and there was nobody to join.
        sem_unlink(name);
        sem_close(created);
        return;
    }
    mHandle = created;
    mOwned = true;
    mName = name;
}

// Nobody else can ask for a private semaphore, so it needs no name.
Semaphore::Semaphore(int count) : mHandle(&mPrivate), mOwned(false)
{
    if (sem_init(&mPrivate, 0, static_cast<unsigned>(count)) != 0)
    {
        AssertionStop();
    }
}

Semaphore::~Semaphore()
{
    if (mHandle == SEM_FAILED)
    {
        return;
    }
    if (mHandle == &mPrivate)
    {
        sem_destroy(mHandle);
        return;
    }
    if (mOwned)
    {
        sem_unlink(mName.c_str());
    }
    sem_close(mHandle);
}

bool Semaphore::IsValid() const
{
    return mHandle != SEM_FAILED;
}

bool Semaphore::Wait()
{
    return IsValid() && sem_wait(mHandle) == 0;
}

bool Semaphore::TryWait()
{
    return IsValid() && sem_trywait(mHandle) == 0;
}

bool Semaphore::Post()
{
    return IsValid() && sem_post(mHandle) == 0;
}

void SemaphoreRemove(const char *name)
{
    // Made first, so that the name goes away whether or not it existed.
    sem_t *const semaphore = sem_open(name, O_CREAT, Permissions, 0u);
    sem_unlink(name);
    if (semaphore != SEM_FAILED)
    {
        sem_close(semaphore);
    }
}
} // namespace Keld
