#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"
#include "KeldMorvIO/blocks/AsyncFile.h"

namespace Keld::MORV::Reader
{
/// Reads `size` bytes from byte `offset` on and waits for them: the one call that the rest of the reader uses. At most
/// four reads are in flight in the process; further callers sleep. Any thread may call it.
/// \param bytesRead out, may be null: bytes delivered, fewer at the end of the file and where the platform's limit for
///                  one transfer (2 GiB less a page) is reached. 0xFFFFFFFF when the read failed, 0 when it could not
///                  be started, not written when no slot could be had.
/// \returns true when the read ended without an error, however many bytes came. False also when a signal ended the
///          sleep for a slot.
bool AsyncRead(AsyncFile file, uint64 offset, uint32 size, uint32 *bytesRead, void *buffer);

// The same step by step. A request is a slot of the pool, borrowed from `AsyncBeginRead` until `AsyncRelease`; in
// between it is the borrower's alone and takes no lock.
struct AsyncRequest;

/// As a time limit: wait for as long as it takes.
inline constexpr uint32 AsyncWaitForever = 0xFFFFFFFF;

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
