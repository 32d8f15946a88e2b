#include "KeldFoundation/sync/SharedMutex.h"

namespace Keld
{
// The mutex is built here and its bytes are moved to the heap. That is sound for a mutex that was never locked, since
// nothing in it refers to its own address.
SharedMutex::SharedMutex(bool recursive)
{
    const Mutex built(recursive);
    mMutex.reset(new Mutex(built));
}
} // namespace Keld
