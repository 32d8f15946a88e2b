#ifndef ERROR_COUNTER_H
#define ERROR_COUNTER_H

#include <KeldLogger.h>

#ifdef __cplusplus
extern "C"
{
#endif

    /// A log target that counts errors and prints nothing. There is one in the program.
    IKeldLogTarget *GetErrorCounter(void);

    /// How many it has counted. To be read when nobody logs.
    unsigned GetErrorCount(void);

#ifdef __cplusplus
}
#endif

#endif
