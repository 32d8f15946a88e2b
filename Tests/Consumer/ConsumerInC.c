/* A consumer in C11: starts the library in a directory, reads one file, lists by one pattern. With a directory alone it
   leaves the messages to the library's own logger. With a directory and a file it ends with the file open and the
   library running. */
#include "KeldLogger.h"
#include "KeldMorvIO.h"

#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>

static int gFailures = 0;

/* Open when the process ends. */
static OpenFileHandle *gLeftOpen = NULL;

static KeldGroupMask RegisterGroup(const char *tag)
{
    const KeldGroupMask mask = {0x100, 0};
    printf("registered %s\n", tag);
    return mask;
}

static void CountFailures(int32_t severity, uint32_t groupLow, uint32_t groupHigh, const char *format,
                          va_list arguments)
{
    (void)groupHigh;
    (void)format;
    (void)arguments;
    if (severity > 0 && (groupLow & 0x100) != 0)
    {
        ++gFailures;
    }
}

static int PrintContent(const char *path)
{
    OpenFileHandle *const handle = MorvOpenFile(path);
    if (handle == NULL)
    {
        return 1;
    }
    const int64_t size = MorvGetFileSize(handle);
    char *const content = malloc((size_t)size + 1);
    uint32_t bytesRead = 0;
    const HRESULT result = MorvRead(handle, 0, (uint32_t)size, &bytesRead, content);
    printf("size %" PRId64 "\n%.*s\n", size, (int)bytesRead, content);
    free(content);
    MorvCloseFile(handle);
    return result == S_OK ? 0 : 1;
}

static int PrintNames(const char *pattern)
{
    FindHandle *const handle = MorvFindFirstFile(pattern);
    if (handle == NULL)
    {
        return 1;
    }
    uint32_t isDirectory = 0;
    uint64_t size = 0;
    char name[256];
    while (MorvFindNextFile(handle, &isDirectory, &size, sizeof name, name) == S_OK)
    {
        printf("%s %s %" PRIu64 "\n", isDirectory ? "directory" : "file", name, size);
    }
    MorvFindClose(handle);
    return 0;
}

int main(int argumentCount, char **arguments)
{
    static IKeldLogger logger;
    const int hasLogger = argumentCount == 4;
    if (argumentCount < 2)
    {
        return 2;
    }
    if (hasLogger)
    {
        logger.RegisterGroup = RegisterGroup;
        logger.Log = CountFailures;
        MorvSetLogger(&logger);
    }
    int status = 0;
    const HRESULT result = MorvInitialize(0, 0, 0, arguments[1]);
    if (result != S_OK)
    {
        printf("not started: %" PRIx32 "\n", (uint32_t)result);
        status = 1;
    }
    else if (argumentCount == 3)
    {
        gLeftOpen = MorvOpenFile(arguments[2]);
        return gLeftOpen != NULL ? 0 : 1;
    }
    else if (hasLogger)
    {
        status = PrintContent(arguments[2]) | PrintNames(arguments[3]);
    }
    MorvShutdown();
    if (hasLogger)
    {
        printf("failures %d\n", gFailures);
    }
    return status;
}
