#pragma once

#include <aio.h>
#include <sys/types.h>

// The four calls of asynchronous input that stand below the request pool, in one of two forms that the build chooses
// between (KELD_PLATFORM_AIO):
//
//   DirectAio.cpp    transfers on the calling thread, when the read begins. No thread, no lock, no allocation.
//   PlatformAio.cpp  hands the read to the platform, which serves it with helper threads of its own.
//
// Both give the same results. They differ in when a read ends: with the direct form before `AioRead` returns.
namespace Keld::MORV::Reader
{
/// One read as the platform describes it, and how it ended. All zeroes is a read that was never begun.
struct AioControlBlock : aiocb
{
    int mError;      ///< direct form alone: 0 or the error number
    ssize_t mResult; ///< direct form alone: bytes, or -1
};

/// Begins the read that the block describes. Gives 0, or -1 with `errno` set when it could not be begun.
int AioRead(AioControlBlock &block);

/// Waits until the read has ended, or `limit` has passed; without limit when it is null. Gives 0 when the read has
/// ended, -1 when time ran out or a signal came.
int AioSuspend(const AioControlBlock &block, const timespec *limit);

/// EINPROGRESS, or how the read ended: 0 or its error number. May be asked again and again.
int AioError(const AioControlBlock &block);

/// The bytes that a read which has ended brought, or -1. May be asked again and again.
ssize_t AioReturn(AioControlBlock &block);
} // namespace Keld::MORV::Reader
