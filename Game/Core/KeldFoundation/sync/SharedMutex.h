#pragma once

#include "KeldFoundation/sync/Mutex.h"

#include <boost/shared_ptr.hpp>

namespace Keld
{
/// A mutex with several owners: copies of this object refer to one mutex, and the last copy destroys it.
class SharedMutex
{
public:
    explicit SharedMutex(bool recursive = false);

    Mutex &Get() const { return *mMutex; }

private:
    boost::shared_ptr<Mutex> mMutex;
};
} // namespace Keld
