#ifndef ERROR_COUNTER_H
#define ERROR_COUNTER_H

#include <KeldLogger.h>

#ifdef __cplusplus
extern "C"
{
#endif

    /// A log target that counts errors and prints nothing. There is one in the program; `logger` is the one that it
    /// attaches itself to, when it is told.
    IKeldLogTarget *GetErrorCounter(const IKeldLogger *logger);

    /// How many it has counted. To be read when nobody logs.
    unsigned GetErrorCount(void);

#ifdef __cplusplus
}
#endif

#endif
