/* A log target in C: the record first, then whatever the target keeps, so that one pointer serves for both. */
#include "ErrorCounter.h"

enum
{
    SeverityError = 2
};

typedef struct ErrorCounter
{
    IKeldLogTarget record;
    const IKeldLogger *logger; /* where it attaches itself */
    int32_t level;
    uint64_t requiredGroups;
    uint64_t ignoredGroups;
    uint8_t attached;
    unsigned count;
} ErrorCounter;

static ErrorCounter *ToCounter(IKeldLogTarget *self)
{
    return (ErrorCounter *)(void *)self;
}

static uint32_t GetInterfaceVersion(IKeldLogTarget *self)
{
    (void)self;
    return 1;
}

static void SetLevel(IKeldLogTarget *self, int32_t severity)
{
    ToCounter(self)->level = severity;
}

static int32_t GetLevel(IKeldLogTarget *self)
{
    return ToCounter(self)->level;
}

/* A group in both masks is only ignored. */
static void SetGroups(IKeldLogTarget *self, uint32_t requiredLow, uint32_t requiredHigh, uint32_t ignoredLow,
                      uint32_t ignoredHigh)
{
    ErrorCounter *const counter = ToCounter(self);
    counter->ignoredGroups = (uint64_t)ignoredHigh << 32 | ignoredLow;
    counter->requiredGroups = ((uint64_t)requiredHigh << 32 | requiredLow) & ~counter->ignoredGroups;
}

static uint64_t GetRequiredGroups(IKeldLogTarget *self)
{
    return ToCounter(self)->requiredGroups;
}

static uint64_t GetIgnoredGroups(IKeldLogTarget *self)
{
    return ToCounter(self)->ignoredGroups;
}

static const char *GetName(IKeldLogTarget *self)
{
    (void)self;
    return "ErrorCounter";
}

static const char *GetFormat(IKeldLogTarget *self, const LogRecord *record)
{
    (void)self;
    (void)record;
    return "";
}

static void Attach(IKeldLogTarget *self)
{
    ErrorCounter *const counter = ToCounter(self);
    if (!counter->attached)
    {
        counter->attached = 1;
        counter->logger->AddTarget(self);
    }
}

static void Detach(IKeldLogTarget *self)
{
    ErrorCounter *const counter = ToCounter(self);
    if (counter->attached)
    {
        counter->attached = 0;
        counter->logger->RemoveTarget(self);
    }
}

static uint8_t IsAttached(IKeldLogTarget *self)
{
    return ToCounter(self)->attached;
}

static uint8_t Write(IKeldLogTarget *self, const LogRecord *record)
{
    if (record->severity == SeverityError)
    {
        ++ToCounter(self)->count;
    }
    return 1;
}

static ErrorCounter gCounter = {
    .record =
        {
            .GetInterfaceVersion = GetInterfaceVersion,
            .SetLevel = SetLevel,
            .GetLevel = GetLevel,
            .SetGroups = SetGroups,
            .GetRequiredGroups = GetRequiredGroups,
            .GetIgnoredGroups = GetIgnoredGroups,
            .GetName = GetName,
            .GetFormat = GetFormat,
            .Attach = Attach,
            .Detach = Detach,
            .IsAttached = IsAttached,
            .Write = Write,
        },
    .level = SeverityError,
};

IKeldLogTarget *GetErrorCounter(const IKeldLogger *logger)
{
    gCounter.logger = logger;
    return &gCounter.record;
}

unsigned GetErrorCount(void)
{
    return gCounter.count;
}
