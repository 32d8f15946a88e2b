#pragma once

#include <condition_variable>
#include <mutex>

namespace Keld::Test::Load
{
/// Lets many threads work, and one wait until all of them pause between two pieces of work.
class Gate
{
public:
    void Enter()
    {
        std::unique_lock lock(mMutex);
        mOpened.wait(lock,
                     [this]
                     {
                         return !mIsClosed;
                     });
        ++mInside;
    }

    void Leave()
    {
        const std::lock_guard lock(mMutex);
        --mInside;
        if (mInside == 0)
        {
            mEmptied.notify_all();
        }
    }

    void Close()
    {
        std::unique_lock lock(mMutex);
        mIsClosed = true;
        mEmptied.wait(lock,
                      [this]
                      {
                          return mInside == 0;
                      });
    }

    void Open()
    {
        const std::lock_guard lock(mMutex);
        mIsClosed = false;
        mOpened.notify_all();
    }

private:
    std::mutex mMutex;
    std::condition_variable mOpened;
    std::condition_variable mEmptied;
    bool mIsClosed = false;
    int mInside = 0;
};
} // namespace Keld::Test::Load
