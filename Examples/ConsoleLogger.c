/*
 * A logger in C: warnings and errors of the library go to standard output, everything else is dropped.
 *
 *     ConsoleLogger DIRECTORY
 *
 * starts the library for the release that DIRECTORY lies in, looks for a file, and prints what the library has to say.
 */
#include <KeldLogger.h>
#include <KeldMorvIO.h>

#include <stdio.h>

/* Any bit that this program does not use for groups of its own. */
#define LIBRARY_GROUP 0x100u

static const char *const SeverityNames[] = {"okay", "warning", "error", "always"};

static uint32_t GetInterfaceVersion(void)
{
    return 1;
}

static KeldGroupMask RegisterGroup(const char *tag)
{
    const KeldGroupMask mask = {LIBRARY_GROUP, 0};
    printf("registered group %s\n", tag);
    return mask;
}

/* Called from any thread that works in the library. One call of printf writes the line whole. */
static void Log(int32_t severity, uint32_t groupLow, uint32_t groupHigh, const char *format, va_list arguments)
{
    char text[8192];
    (void)groupHigh;
    if (severity < 1 || severity > 3 || (groupLow & LIBRARY_GROUP) == 0)
    {
        return;
    }
    vsnprintf(text, sizeof text, format, arguments);
    printf("%s: %s\n", SeverityNames[severity], text);
}

/* The library calls these slots alone. A table that is shared with other modules fills the others too. It must live as
   long as the library may log, which is until the process ends. */
static const IKeldLogger Logger = {
    .GetInterfaceVersion = GetInterfaceVersion,
    .RegisterGroup = RegisterGroup,
    .Log = Log,
};

int main(int argumentCount, char **arguments)
{
    if (argumentCount != 2)
    {
        fprintf(stderr, "usage: %s DIRECTORY\n", arguments[0]);
        return 2;
    }
    MorvSetLogger(&Logger);
    const HRESULT result = MorvInitialize(0, 0, 0, arguments[1]);
    printf("the library %s\n", result == S_OK ? "has started" : "has not started");
    if (result == S_OK)
    {
        printf("data/a.dds %s\n", MorvFileExists("data/a.dds") != 0 ? "is there" : "is not there");
        MorvShutdown();
    }
    return 0;
}
