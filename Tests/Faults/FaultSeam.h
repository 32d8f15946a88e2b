#pragma once

// A shared library that stands between a program and the C library: linked first, or preloaded, it takes the calls of
// the program, of the reader and of the C++ library alike. It counts them, lets one of them fail, or ends the process
// at one that changes something on disk. Nothing reaches the disk by fsync and its like while it is armed, since no
// test loses power.
#ifdef __cplusplus
extern "C"
{
#endif

    /// What can fail, by what it asks of the system: "open" stands for open, openat, open64 and openat2 alike.
    enum FaultCall
    {
        FaultOpen,   ///< of what is there
        FaultCreate, ///< with O_CREAT or O_TRUNC
        FaultRead,
        FaultPread,
        FaultStat,
        FaultFstat,
        FaultAccess,
        FaultFopen,
        FaultFdopen,
        FaultFread,
        FaultFgets,
        FaultFseek,
        FaultMalloc,
        FaultMmap,
        FaultGlob,
        FaultOpendir,
        FaultReaddir,
        FaultGetcwd,
        FaultRealpath,
        FaultReadlink,
        FaultStatvfs,
        FaultSemWait,
        FaultFlock,
        FaultDup,
        FaultThread,
        FaultWrite,
        FaultPwrite,
        FaultFwrite,
        FaultFflush,
        FaultFclose, ///< of a stream that is written
        FaultClose,
        FaultFtruncate,
        FaultRename,
        FaultUnlink,
        FaultMkdir,
        FaultRmdir,
        FaultSymlink,
        FaultChmod,
        FaultSync, ///< fsync, fdatasync, syncfs
        FaultCallCount
    };

    /// What is to happen in a process and what did; in memory that it may share with another one.
    struct FaultPlan
    {
        int armed;       ///< calls count only while this is not 0
        int failing;     ///< the FaultCall that fails once, or -1
        unsigned index;  ///< which of its calls, from 1 on
        unsigned way;    ///< how, below FaultWayCount
        unsigned killAt; ///< at which call that changes something the process ends, from 1 on; 0 for none
        int killAmid;    ///< in the middle of it, half of its bytes being written, or behind it; else before it

        unsigned interruptAt; ///< at which call but malloc SIGINT comes, from 1 on; 0 for none

        unsigned calls[FaultCallCount]; ///< that came
        unsigned others;                ///< of all kinds but malloc
        unsigned changes;               ///< calls that came and change something on disk
        unsigned injected;              ///< 1 once the call has failed
    };

    const char *FaultCallName(int call);
    unsigned FaultWayCount(int call);
    const char *FaultWayName(int call, unsigned way);

    /// From here on the process follows a plan, which must stay. Null for none.
    void FaultFollow(struct FaultPlan *plan);

#ifdef __cplusplus
}
#endif
