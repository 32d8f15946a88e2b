#pragma once

namespace Keld::Test
{
// Standard streams that fail, for tests of what a sound disk does not do. The program's own `fgets` and `fclose` stand
// in front of the platform's and do what these calls have asked for, on this thread, once.

/// Lets `count` lines of any stream be read; the next read fails, as on a broken device: the stream's error is set, and
/// the error number is FailedReadError.
void FailReadAfter(int count);

/// Lets the next close report a failure, once it has closed the stream, with an error number, which may be 0.
void FailNextClose(int error);

extern const int FailedReadError;
} // namespace Keld::Test
