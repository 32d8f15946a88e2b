#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"
#include "KeldMorvIO/blocks/AsyncFile.h"

struct aiocb;

namespace Keld::MORV::Reader
{
/// As a time limit: wait for as long as it takes.
inline constexpr uint32 AsyncWaitForever = 0xFFFFFFFF;

/// One slot of the pool: one read, from its start to its collected result. Borrowed from `AsyncBeginRead` until
/// `AsyncRelease`; in between it is the borrower's alone and takes no lock.
struct AsyncRequest
{
    AsyncFile mFile;      ///< not null: a read was given to the platform, and its result was not collected
    aiocb *mControlBlock; ///< set once by the pool, never changed
    int32 mBytesRead;     ///< as `aio_return` gave it
    int32 mError;         ///< as `aio_error` gave it, or the `errno` of a start that failed
    char mErrorText[100]; ///< filled on demand; empty until then
};

/// Takes a slot, sleeping while none is free, and starts the read. A start that fails reads as a finished request
/// with that error; a `size` of 0 as a finished one with no error, and the file is not touched. `buffer` must stay
/// until the request is released, even one that was given up after a time limit.
/// \returns null when no slot could be had, as when a signal ends the sleep.
AsyncRequest *AsyncBeginRead(AsyncFile file, uint64 offset, uint32 size, void *buffer);

/// Waits until the read has ended, at most `timeoutMs` milliseconds. When the time runs out, or a signal comes while it
/// runs, the read counts as finished as well: the result is true, and the error is EINPROGRESS.
bool AsyncWait(AsyncRequest *request, uint32 timeoutMs);

// The result, waiting for it where it is not there yet.
int32 AsyncGetBytesRead(AsyncRequest *request);
int32 AsyncGetError(AsyncRequest *request);

/// The text lies in the request and is valid until its release.
const char *AsyncGetErrorText(AsyncRequest *request);

/// Gives the slot back, waiting first for a read that is still in flight: a request is never cancelled. Does nothing
/// for a pointer that is no slot, or for a slot that is free.
void AsyncRelease(AsyncRequest *request);
} // namespace Keld::MORV::Reader
