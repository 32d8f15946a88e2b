#include "Faults/SeamCore.h"

#include <errno.h>
#include <pthread.h>
#include <semaphore.h>
#include <stdio.h>
#include <stdio_ext.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

// Streams, and what is no file: memory, locks, threads.

static FILE *OpenStream(FILE *(*next)(const char *, const char *), const char *path, const char *mode)
{
    if (Enter(FaultFopen) != NULL)
    {
        return NULL;
    }
    const int dies = mode[0] != 'r' ? BeginChange() : 0;
    FILE *const stream = next(path, mode);
    EndChange(dies);
    return stream;
}

FILE *fopen(const char *path, const char *mode)
{
    NEXT(FILE *, "fopen", (const char *, const char *))
    return OpenStream(next, path, mode);
}

FILE *fopen64(const char *path, const char *mode)
{
    NEXT(FILE *, "fopen64", (const char *, const char *))
    return OpenStream(next, path, mode);
}

FILE *fdopen(int file, const char *mode)
{
    NEXT(FILE *, "fdopen", (int, const char *))
    return Enter(FaultFdopen) != NULL ? NULL : next(file, mode);
}

// A write to a stream that is read is refused, and marks it as failed.
static void MarkFailed(FILE *stream, int error)
{
    ++gInside;
    fputc('x', stream);
    --gInside;
    errno = error;
}

static void MarkEnded(FILE *stream)
{
    ++gInside;
    fseek(stream, 0, SEEK_END);
    fgetc(stream);
    --gInside;
}

size_t fread(void *buffer, size_t size, size_t count, FILE *stream)
{
    NEXT(size_t, "fread", (void *, size_t, size_t, FILE *))
    const struct Way *const way = Enter(FaultFread);
    if (way == NULL)
    {
        return next(buffer, size, count, stream);
    }
    const size_t done = way->manner == Refuses ? 0 : next(buffer, size, count / 2, stream);
    if (way->manner == Ends)
    {
        MarkEnded(stream);
    }
    else
    {
        MarkFailed(stream, way->error);
    }
    return done;
}

char *fgets(char *buffer, int size, FILE *stream)
{
    NEXT(char *, "fgets", (char *, int, FILE *))
    const struct Way *const way = Enter(FaultFgets);
    if (way == NULL)
    {
        return next(buffer, size, stream);
    }
    MarkFailed(stream, way->error);
    return NULL;
}

int fseek(FILE *stream, long offset, int from)
{
    NEXT(int, "fseek", (FILE *, long, int))
    return Enter(FaultFseek) != NULL ? -1 : next(stream, offset, from);
}

int fseeko(FILE *stream, off_t offset, int from)
{
    NEXT(int, "fseeko", (FILE *, off_t, int))
    return Enter(FaultFseek) != NULL ? -1 : next(stream, offset, from);
}

static int ReachesDisk(FILE *stream)
{
    return stream != NULL && __fwritable(stream) && fileno(stream) > STDERR_FILENO;
}

size_t fwrite(const void *buffer, size_t size, size_t count, FILE *stream)
{
    NEXT(size_t, "fwrite", (const void *, size_t, size_t, FILE *))
    const struct Way *const way = Enter(FaultFwrite);
    if (way != NULL)
    {
        const size_t done = way->manner == Halves ? next(buffer, size, count / 2, stream) : 0;
        errno = way->error;
        return done;
    }
    const int dies = ReachesDisk(stream) ? BeginChange() : 0;
    const size_t done = next(buffer, size, dies ? count / 2 : count, stream);
    if (dies)
    {
        ++gInside;
        fflush(stream);
        Die();
    }
    return done;
}

int fflush(FILE *stream)
{
    NEXT(int, "fflush", (FILE *))
    if (Enter(FaultFflush) != NULL)
    {
        return EOF;
    }
    const int dies = ReachesDisk(stream) ? BeginChange() : 0;
    const int result = next(stream);
    EndChange(dies);
    return result;
}

// What a full disk leaves.
static void CutToHalf(FILE *stream)
{
    ++gInside;
    fflush(stream);
    const off_t size = lseek(fileno(stream), 0, SEEK_END);
    const int ignored = size > 0 ? ftruncate(fileno(stream), size / 2) : 0;
    (void)ignored;
    --gInside;
}

int fclose(FILE *stream)
{
    NEXT(int, "fclose", (FILE *))
    if (!ReachesDisk(stream))
    {
        return next(stream);
    }
    const struct Way *const way = Enter(FaultFclose);
    const int dies = way == NULL ? BeginChange() : 0;
    if (way != NULL || dies)
    {
        CutToHalf(stream);
        EndChange(dies);
    }
    const int result = next(stream);
    if (way != NULL)
    {
        errno = way->error;
        return EOF;
    }
    return result;
}

int sem_wait(sem_t *semaphore)
{
    NEXT(int, "sem_wait", (sem_t *))
    return Enter(FaultSemWait) != NULL ? -1 : next(semaphore);
}

int pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*start)(void *), void *argument)
{
    NEXT(int, "pthread_create", (pthread_t *, const pthread_attr_t *, void *(*)(void *), void *))
    return Enter(FaultThread) != NULL ? EAGAIN : next(thread, attributes, start, argument);
}

void *mmap(void *address, size_t size, int protection, int flags, int file, off_t offset)
{
    return Enter(FaultMmap) != NULL
               ? MAP_FAILED
               : Address(Kernel(SYS_mmap, (long)address, (long)size, protection, flags, file, offset));
}

#ifdef KELD_FAULT_MALLOC
// The allocator itself, by the names that it has for those who stand before it.
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *memory, size_t size);
void *__libc_memalign(size_t alignment, size_t size);

void *malloc(size_t size)
{
    return Enter(FaultMalloc) != NULL ? NULL : __libc_malloc(size);
}

void *calloc(size_t count, size_t size)
{
    return Enter(FaultMalloc) != NULL ? NULL : __libc_calloc(count, size);
}

void *realloc(void *memory, size_t size)
{
    return Enter(FaultMalloc) != NULL ? NULL : __libc_realloc(memory, size);
}

void *aligned_alloc(size_t alignment, size_t size)
{
    return Enter(FaultMalloc) != NULL ? NULL : __libc_memalign(alignment, size);
}

int posix_memalign(void **memory, size_t alignment, size_t size)
{
    if (Enter(FaultMalloc) != NULL)
    {
        return ENOMEM;
    }
    *memory = __libc_memalign(alignment, size);
    return *memory != NULL ? 0 : ENOMEM;
}
#endif
