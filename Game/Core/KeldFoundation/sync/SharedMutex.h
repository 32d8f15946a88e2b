#pragma once

#include "KeldFoundation/sync/Mutex.h"

#include <boost/shared_ptr.hpp>

namespace Keld
{
/// A mutex that several owners hold together: copies of this object refer to the same mutex, and the last one ends it.
class SharedMutex
{
public:
    explicit SharedMutex(bool recursive = false);

    Mutex &Get() const { return *mMutex; }

private:
    boost::shared_ptr<Mutex> mMutex;
};
} // namespace Keld
