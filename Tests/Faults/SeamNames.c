#include "Faults/SeamCore.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <glob.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <unistd.h>

// Names: what stands where, and what changes that.

static int Status(enum FaultCall call, int directory, const char *path, struct stat *status, int flags)
{
    return Enter(call) != NULL ? -1 : (int)Kernel(SYS_newfstatat, directory, (long)path, (long)status, flags, 0, 0);
}

int stat(const char *path, struct stat *status)
{
    return Status(FaultStat, AT_FDCWD, path, status, 0);
}

int lstat(const char *path, struct stat *status)
{
    return Status(FaultStat, AT_FDCWD, path, status, AT_SYMLINK_NOFOLLOW);
}

int fstatat(int directory, const char *path, struct stat *status, int flags)
{
    return Status(FaultStat, directory, path, status, flags);
}

int fstat(int file, struct stat *status)
{
    return Status(FaultFstat, file, "", status, AT_EMPTY_PATH);
}

// The same record on machines of 64 bits.
int stat64(const char *path, struct stat64 *status)
{
    return Status(FaultStat, AT_FDCWD, path, (struct stat *)status, 0);
}

int lstat64(const char *path, struct stat64 *status)
{
    return Status(FaultStat, AT_FDCWD, path, (struct stat *)status, AT_SYMLINK_NOFOLLOW);
}

int fstatat64(int directory, const char *path, struct stat64 *status, int flags)
{
    return Status(FaultStat, directory, path, (struct stat *)status, flags);
}

int fstat64(int file, struct stat64 *status)
{
    return Status(FaultFstat, file, "", (struct stat *)status, AT_EMPTY_PATH);
}

int access(const char *path, int mode)
{
    return Enter(FaultAccess) != NULL ? -1 : (int)Kernel(SYS_faccessat, AT_FDCWD, (long)path, mode, 0, 0, 0);
}

ssize_t readlink(const char *path, char *buffer, size_t size)
{
    return Enter(FaultReadlink) != NULL ? -1
                                        : Kernel(SYS_readlinkat, AT_FDCWD, (long)path, (long)buffer, (long)size, 0, 0);
}

char *getcwd(char *buffer, size_t size)
{
    NEXT(char *, "getcwd", (char *, size_t))
    return Enter(FaultGetcwd) != NULL ? NULL : next(buffer, size);
}

char *realpath(const char *path, char *resolved)
{
    NEXT(char *, "realpath", (const char *, char *))
    return Enter(FaultRealpath) != NULL ? NULL : next(path, resolved);
}

int statvfs(const char *path, struct statvfs *status)
{
    NEXT(int, "statvfs", (const char *, struct statvfs *))
    return Enter(FaultStatvfs) != NULL ? -1 : next(path, status);
}

int glob(const char *pattern, int flags, int (*report)(const char *, int), glob_t *found)
{
    NEXT(int, "glob", (const char *, int, int (*)(const char *, int), glob_t *))
    const struct Way *const way = Enter(FaultGlob);
    if (way != NULL)
    {
        memset(found, 0, sizeof *found);
        errno = way->error == GLOB_NOSPACE ? ENOMEM : EIO;
        return way->error;
    }
    // The C library's own frees names twice when memory runs out between two of them, so it always has enough.
    ++gInside;
    const int result = next(pattern, flags, report, found);
    --gInside;
    return result;
}

DIR *opendir(const char *path)
{
    NEXT(DIR *, "opendir", (const char *))
    return Enter(FaultOpendir) != NULL ? NULL : next(path);
}

DIR *fdopendir(int directory)
{
    NEXT(DIR *, "fdopendir", (int))
    return Enter(FaultOpendir) != NULL ? NULL : next(directory);
}

struct dirent *readdir(DIR *directory)
{
    NEXT(struct dirent *, "readdir", (DIR *))
    return Enter(FaultReaddir) != NULL ? NULL : next(directory);
}

struct dirent64 *readdir64(DIR *directory)
{
    NEXT(struct dirent64 *, "readdir64", (DIR *))
    return Enter(FaultReaddir) != NULL ? NULL : next(directory);
}

static int Change(enum FaultCall call, long number, long first, long second, long third, long fourth, long fifth)
{
    if (Enter(call) != NULL)
    {
        return -1;
    }
    const int dies = BeginChange();
    const int result = (int)Kernel(number, first, second, third, fourth, fifth, 0);
    EndChange(dies);
    return result;
}

int renameat2(int from, const char *old, int to, const char *name, unsigned flags)
{
    return Change(FaultRename, SYS_renameat2, from, (long)old, to, (long)name, flags);
}

int renameat(int from, const char *old, int to, const char *name)
{
    return renameat2(from, old, to, name, 0);
}

int rename(const char *old, const char *name)
{
    return renameat2(AT_FDCWD, old, AT_FDCWD, name, 0);
}

int unlinkat(int directory, const char *path, int flags)
{
    const int isDirectory = (flags & AT_REMOVEDIR) != 0;
    return Change(isDirectory ? FaultRmdir : FaultUnlink, SYS_unlinkat, directory, (long)path, flags, 0, 0);
}

int unlink(const char *path)
{
    return unlinkat(AT_FDCWD, path, 0);
}

int rmdir(const char *path)
{
    return unlinkat(AT_FDCWD, path, AT_REMOVEDIR);
}

int remove(const char *path)
{
    const int result = unlinkat(AT_FDCWD, path, 0);
    return result == 0 || errno != EISDIR ? result : rmdir(path);
}

int mkdirat(int directory, const char *path, mode_t mode)
{
    return Change(FaultMkdir, SYS_mkdirat, directory, (long)path, mode, 0, 0);
}

int mkdir(const char *path, mode_t mode)
{
    return mkdirat(AT_FDCWD, path, mode);
}

char *mkdtemp(char *pattern)
{
    NEXT(char *, "mkdtemp", (char *))
    if (Enter(FaultMkdir) != NULL)
    {
        return NULL;
    }
    const int dies = BeginChange();
    char *const result = next(pattern);
    EndChange(dies);
    return result;
}

int symlink(const char *target, const char *path)
{
    return Change(FaultSymlink, SYS_symlinkat, (long)target, AT_FDCWD, (long)path, 0, 0);
}

int link(const char *old, const char *path)
{
    return Change(FaultSymlink, SYS_linkat, AT_FDCWD, (long)old, AT_FDCWD, (long)path, 0);
}

int fchmodat(int directory, const char *path, mode_t mode, int flags)
{
    (void)flags; // of which the kernel knows none
    return Change(FaultChmod, SYS_fchmodat, directory, (long)path, mode, 0, 0);
}

int chmod(const char *path, mode_t mode)
{
    return fchmodat(AT_FDCWD, path, mode, 0);
}

int fchmod(int file, mode_t mode)
{
    return Change(FaultChmod, SYS_fchmod, file, mode, 0, 0, 0);
}

int utimensat(int directory, const char *path, const struct timespec times[2], int flags)
{
    return Change(FaultChmod, SYS_utimensat, directory, (long)path, (long)times, flags, 0);
}
