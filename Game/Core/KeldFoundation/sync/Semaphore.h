#pragma once

#include <semaphore.h>

#include <string>

namespace Keld
{
/// A counting POSIX semaphore, named or private to the process.
class Semaphore
{
public:
    /// Creates the named semaphore, or joins an existing one. A count below 1 only joins. Test `IsValid` afterwards.
    Semaphore(const char *name, int count);

    /// A private semaphore. One that cannot be made ends the process.
    explicit Semaphore(int count);
    ~Semaphore();

    Semaphore(const Semaphore &) = delete;
    Semaphore &operator=(const Semaphore &) = delete;

    bool IsValid() const;
    bool Wait();    ///< false on a signal or an invalid object; not repeated
    bool TryWait(); ///< false when the count is 0
    bool Post();

private:
    sem_t *mHandle; ///< SEM_FAILED when the object holds none
    bool mOwned;    ///< this object made the name and removes it again
    std::string mName;
    sem_t mPrivate; ///< the storage of a private semaphore
};

/// Removes a name, whether or not it existed.
void SemaphoreRemove(const char *name);
} // namespace Keld
