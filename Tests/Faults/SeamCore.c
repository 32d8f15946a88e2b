#include "Faults/SeamCore.h"

#include <errno.h>
#include <glob.h>
#include <signal.h>
#include <unistd.h>

enum
{
    MostWays = 5
};

static const struct
{
    const char *name;
    struct Way ways[MostWays]; // up to the first without a name
} Calls[FaultCallCount] = {
    [FaultOpen] = {"open",
                   {{"EMFILE", EMFILE, Refuses},
                    {"EACCES", EACCES, Refuses},
                    {"EIO", EIO, Refuses},
                    {"ENOMEM", ENOMEM, Refuses},
                    {"EINTR", EINTR, Refuses}}},
    [FaultCreate] = {"open to write",
                     {{"EMFILE", EMFILE, Refuses},
                      {"EACCES", EACCES, Refuses},
                      {"ENOSPC", ENOSPC, Refuses},
                      {"EIO", EIO, Refuses}}},
    [FaultRead] = {"read", {{"EIO", EIO, Refuses}, {"EINTR", EINTR, Refuses}, {"short", 0, Halves}, {"end", 0, Ends}}},
    [FaultPread] = {"pread",
                    {{"EIO", EIO, Refuses}, {"EINTR", EINTR, Refuses}, {"short", 0, Halves}, {"end", 0, Ends}}},
    [FaultStat] = {"stat", {{"EIO", EIO, Refuses}, {"EACCES", EACCES, Refuses}, {"ENOMEM", ENOMEM, Refuses}}},
    [FaultFstat] = {"fstat", {{"EIO", EIO, Refuses}, {"ENOMEM", ENOMEM, Refuses}}},
    [FaultAccess] = {"access", {{"EACCES", EACCES, Refuses}, {"EIO", EIO, Refuses}}},
    [FaultFopen] = {"fopen",
                    {{"EMFILE", EMFILE, Refuses},
                     {"EACCES", EACCES, Refuses},
                     {"EIO", EIO, Refuses},
                     {"ENOMEM", ENOMEM, Refuses},
                     {"ENOSPC", ENOSPC, Refuses}}},
    [FaultFdopen] = {"fdopen", {{"ENOMEM", ENOMEM, Refuses}}},
    [FaultFread] = {"fread", {{"EIO", EIO, Refuses}, {"half, then EIO", EIO, Halves}, {"end", 0, Ends}}},
    [FaultFgets] = {"fgets", {{"EIO", EIO, Refuses}}},
    [FaultFseek] = {"fseek", {{"EIO", EIO, Refuses}, {"ESPIPE", ESPIPE, Refuses}}},
    [FaultMalloc] = {"malloc", {{"ENOMEM", ENOMEM, Refuses}}},
    [FaultMmap] = {"mmap", {{"ENOMEM", ENOMEM, Refuses}}},
    [FaultGlob] = {"glob", {{"GLOB_NOSPACE", GLOB_NOSPACE, Refuses}, {"GLOB_ABORTED", GLOB_ABORTED, Refuses}}},
    [FaultOpendir] = {"opendir",
                      {{"EMFILE", EMFILE, Refuses}, {"EACCES", EACCES, Refuses}, {"ENOMEM", ENOMEM, Refuses}}},
    [FaultReaddir] = {"readdir", {{"EIO", EIO, Refuses}}},
    [FaultGetcwd] = {"getcwd", {{"ENOENT", ENOENT, Refuses}, {"EACCES", EACCES, Refuses}}},
    [FaultRealpath] = {"realpath", {{"EACCES", EACCES, Refuses}, {"EIO", EIO, Refuses}, {"ENOMEM", ENOMEM, Refuses}}},
    [FaultReadlink] = {"readlink", {{"EACCES", EACCES, Refuses}, {"EIO", EIO, Refuses}}},
    [FaultStatvfs] = {"statvfs", {{"EIO", EIO, Refuses}, {"ENOSYS", ENOSYS, Refuses}}},
    [FaultSemWait] = {"sem_wait", {{"EINTR", EINTR, Refuses}}},
    [FaultFlock] = {"flock", {{"ENOLCK", ENOLCK, Refuses}, {"EINTR", EINTR, Refuses}}},
    [FaultDup] = {"dup", {{"EMFILE", EMFILE, Refuses}}},
    [FaultThread] = {"pthread_create", {{"EAGAIN", EAGAIN, Refuses}}},
    [FaultWrite] =
        {"write",
         {{"ENOSPC", ENOSPC, Refuses}, {"EIO", EIO, Refuses}, {"EINTR", EINTR, Refuses}, {"short", 0, Halves}}},
    [FaultPwrite] =
        {"pwrite",
         {{"ENOSPC", ENOSPC, Refuses}, {"EIO", EIO, Refuses}, {"EINTR", EINTR, Refuses}, {"short", 0, Halves}}},
    [FaultFwrite] = {"fwrite", {{"ENOSPC", ENOSPC, Refuses}, {"half, then EIO", EIO, Halves}}},
    [FaultFflush] = {"fflush", {{"ENOSPC", ENOSPC, Refuses}, {"EIO", EIO, Refuses}}},
    [FaultFclose] = {"fclose", {{"ENOSPC", ENOSPC, Halves}, {"EIO", EIO, Halves}}},
    [FaultClose] = {"close", {{"EIO", EIO, Refuses}, {"EINTR", EINTR, Refuses}}},
    [FaultFtruncate] = {"ftruncate", {{"EIO", EIO, Refuses}, {"ENOSPC", ENOSPC, Refuses}}},
    [FaultRename] = {"rename", {{"EIO", EIO, Refuses}, {"EACCES", EACCES, Refuses}, {"ENOSPC", ENOSPC, Refuses}}},
    [FaultUnlink] = {"unlink", {{"EIO", EIO, Refuses}, {"EACCES", EACCES, Refuses}}},
    [FaultMkdir] = {"mkdir", {{"ENOSPC", ENOSPC, Refuses}, {"EACCES", EACCES, Refuses}, {"EIO", EIO, Refuses}}},
    [FaultRmdir] = {"rmdir", {{"EBUSY", EBUSY, Refuses}, {"EIO", EIO, Refuses}}},
    [FaultSymlink] = {"symlink", {{"ENOSPC", ENOSPC, Refuses}, {"EACCES", EACCES, Refuses}}},
    [FaultChmod] = {"chmod", {{"EPERM", EPERM, Refuses}, {"EROFS", EROFS, Refuses}}},
    [FaultSync] = {"fsync, syncfs", {{"EIO", EIO, Refuses}, {"ENOSPC", ENOSPC, Refuses}}},
};

static struct FaultPlan *gPlan;

_Thread_local int gInside;

const char *FaultCallName(int call)
{
    return Calls[call].name;
}

unsigned FaultWayCount(int call)
{
    unsigned count = 0;
    while (count < MostWays && Calls[call].ways[count].name != NULL)
    {
        ++count;
    }
    return count;
}

const char *FaultWayName(int call, unsigned way)
{
    return Calls[call].ways[way].name;
}

void FaultFollow(struct FaultPlan *plan)
{
    __atomic_store_n(&gPlan, plan, __ATOMIC_SEQ_CST);
}

struct FaultPlan *ActivePlan(void)
{
    struct FaultPlan *const plan = __atomic_load_n(&gPlan, __ATOMIC_SEQ_CST);
    return plan != NULL && gInside == 0 && __atomic_load_n(&plan->armed, __ATOMIC_SEQ_CST) != 0 ? plan : NULL;
}

const struct Way *Enter(enum FaultCall call)
{
    struct FaultPlan *const plan = ActivePlan();
    if (plan == NULL)
    {
        return NULL;
    }
    const unsigned number = __atomic_add_fetch(&plan->calls[call], 1, __ATOMIC_SEQ_CST);
    if (call != FaultMalloc && __atomic_add_fetch(&plan->others, 1, __ATOMIC_SEQ_CST) == plan->interruptAt)
    {
        kill(getpid(), SIGINT);
    }
    if (plan->failing != (int)call || plan->index != number)
    {
        return NULL;
    }
    plan->injected = 1;
    const struct Way *const way = &Calls[call].ways[plan->way];
    if (way->error != 0)
    {
        errno = way->error;
    }
    return way;
}

_Noreturn void Die(void)
{
    for (;;)
    {
        kill(getpid(), SIGKILL);
    }
}

int BeginChange(void)
{
    struct FaultPlan *const plan = ActivePlan();
    if (plan == NULL || __atomic_add_fetch(&plan->changes, 1, __ATOMIC_SEQ_CST) != plan->killAt)
    {
        return 0;
    }
    if (!plan->killAmid)
    {
        Die();
    }
    return 1;
}

void EndChange(int dies)
{
    if (dies)
    {
        Die();
    }
}

long Kernel(long number, long first, long second, long third, long fourth, long fifth, long sixth)
{
    NEXT(long, "syscall", (long, ...))
    return next(number, first, second, third, fourth, fifth, sixth);
}
