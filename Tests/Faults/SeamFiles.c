#include "Faults/SeamCore.h"

#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <sys/file.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

// Files by their descriptors.

static size_t Half(size_t size)
{
    return size > 1 ? size / 2 : size;
}

static long Open(long number, long directory, const char *path, long third, long fourth, int flags)
{
    const int changes = (flags & (O_CREAT | O_TRUNC)) != 0;
    if (Enter(changes ? FaultCreate : FaultOpen) != NULL)
    {
        return -1;
    }
    const int dies = changes ? BeginChange() : 0;
    const long result = Kernel(number, directory, (long)path, third, fourth, 0, 0);
    EndChange(dies);
    return result;
}

// Makes `mode`, which a call has that may make a file.
#define OPEN_MODE(flags)                                                                                               \
    mode_t mode = 0;                                                                                                   \
    if (((flags) & (O_CREAT | O_TMPFILE)) != 0)                                                                        \
    {                                                                                                                  \
        va_list arguments;                                                                                             \
        va_start(arguments, flags);                                                                                    \
        mode = va_arg(arguments, mode_t);                                                                              \
        va_end(arguments);                                                                                             \
    }

int open(const char *path, int flags, ...)
{
    OPEN_MODE(flags)
    return (int)Open(SYS_openat, AT_FDCWD, path, flags, mode, flags);
}

int open64(const char *path, int flags, ...)
{
    OPEN_MODE(flags)
    return (int)Open(SYS_openat, AT_FDCWD, path, flags, mode, flags);
}

int openat(int directory, const char *path, int flags, ...)
{
    OPEN_MODE(flags)
    return (int)Open(SYS_openat, directory, path, flags, mode, flags);
}

int openat64(int directory, const char *path, int flags, ...)
{
    OPEN_MODE(flags)
    return (int)Open(SYS_openat, directory, path, flags, mode, flags);
}

// Of what programs ask by number, openat2 alone is taken; its third argument begins with the flags.
long syscall(long number, ...)
{
    long words[6];
    va_list arguments;
    va_start(arguments, number);
    for (int index = 0; index < 6; ++index)
    {
        words[index] = va_arg(arguments, long);
    }
    va_end(arguments);
    if (number == SYS_openat2)
    {
        const unsigned long long *const how = Address(words[2]);
        return Open(number, words[0], Address(words[1]), words[2], words[3], (int)*how);
    }
    return Kernel(number, words[0], words[1], words[2], words[3], words[4], words[5]);
}

// The number is free again, whatever is told.
int close(int file)
{
    const struct Way *const way = Enter(FaultClose);
    const int result = (int)Kernel(SYS_close, file, 0, 0, 0, 0, 0);
    if (way != NULL && result == 0)
    {
        errno = way->error;
        return -1;
    }
    return result;
}

int dup(int file)
{
    return Enter(FaultDup) != NULL ? -1 : (int)Kernel(SYS_dup, file, 0, 0, 0, 0, 0);
}

int dup3(int file, int number, int flags)
{
    return Enter(FaultDup) != NULL ? -1 : (int)Kernel(SYS_dup3, file, number, flags, 0, 0, 0);
}

int flock(int file, int operation)
{
    return Enter(FaultFlock) != NULL ? -1 : (int)Kernel(SYS_flock, file, operation, 0, 0, 0, 0);
}

ssize_t read(int file, void *buffer, size_t size)
{
    const struct Way *const way = Enter(FaultRead);
    if (way != NULL && way->manner != Halves)
    {
        return way->manner == Ends ? 0 : -1;
    }
    return Kernel(SYS_read, file, (long)buffer, (long)(way != NULL ? Half(size) : size), 0, 0, 0);
}

static ssize_t ReadAt(int file, void *buffer, size_t size, off_t offset)
{
    const struct Way *const way = Enter(FaultPread);
    if (way != NULL && way->manner != Halves)
    {
        return way->manner == Ends ? 0 : -1;
    }
    return Kernel(SYS_pread64, file, (long)buffer, (long)(way != NULL ? Half(size) : size), offset, 0, 0);
}

ssize_t pread(int file, void *buffer, size_t size, off_t offset)
{
    return ReadAt(file, buffer, size, offset);
}

ssize_t pread64(int file, void *buffer, size_t size, off_t offset)
{
    return ReadAt(file, buffer, size, offset);
}

static ssize_t WriteAs(enum FaultCall call, long number, int file, const void *buffer, size_t size, off_t offset)
{
    const struct Way *const way = Enter(call);
    if (way != NULL && way->manner != Halves)
    {
        return -1;
    }
    const int dies = file > STDERR_FILENO ? BeginChange() : 0;
    const ssize_t count =
        Kernel(number, file, (long)buffer, (long)(way != NULL || dies ? Half(size) : size), offset, 0, 0);
    EndChange(dies);
    return count;
}

ssize_t write(int file, const void *buffer, size_t size)
{
    return WriteAs(FaultWrite, SYS_write, file, buffer, size, 0);
}

ssize_t pwrite(int file, const void *buffer, size_t size, off_t offset)
{
    return WriteAs(FaultPwrite, SYS_pwrite64, file, buffer, size, offset);
}

ssize_t pwrite64(int file, const void *buffer, size_t size, off_t offset)
{
    return WriteAs(FaultPwrite, SYS_pwrite64, file, buffer, size, offset);
}

ssize_t writev(int file, const struct iovec *pieces, int count)
{
    if (Enter(FaultWrite) != NULL)
    {
        return -1;
    }
    const int dies = file > STDERR_FILENO ? BeginChange() : 0;
    const ssize_t written = Kernel(SYS_writev, file, (long)pieces, dies ? 1 : count, 0, 0, 0);
    EndChange(dies);
    return written;
}

int ftruncate(int file, off_t size)
{
    if (Enter(FaultFtruncate) != NULL)
    {
        return -1;
    }
    const int dies = BeginChange();
    const int result = (int)Kernel(SYS_ftruncate, file, size, 0, 0, 0, 0);
    EndChange(dies);
    return result;
}

int ftruncate64(int file, off64_t size)
{
    return ftruncate(file, size);
}

static int Sync(long number, int file)
{
    if (Enter(FaultSync) != NULL)
    {
        return -1;
    }
    if (ActivePlan() == NULL)
    {
        return (int)Kernel(number, file, 0, 0, 0, 0, 0);
    }
    EndChange(BeginChange());
    return 0;
}

int fsync(int file)
{
    return Sync(SYS_fsync, file);
}

int fdatasync(int file)
{
    return Sync(SYS_fdatasync, file);
}

int syncfs(int file)
{
    return Sync(SYS_syncfs, file);
}
