#pragma once

// What the parts of the seam share.

#include "Faults/FaultSeam.h"

#include <dlfcn.h>
#include <string.h>

enum Manner
{
    Refuses, // gives its failing value and has done nothing
    Halves,  // does half of what was asked, and gives that
    Ends     // as if the file ended here
};

// How a call fails.
struct Way
{
    const char *name;
    int error; // for errno; 0 for none
    enum Manner manner;
};

// Above 0 while the seam itself calls: that is not counted.
extern _Thread_local int gInside;

// The plan that is followed now, or null.
struct FaultPlan *ActivePlan(void);

// Counts a call. Gives how it is to fail, with errno set, or null for one that goes on.
const struct Way *Enter(enum FaultCall call);

// Counts a call that changes something on disk. Not 0 when the process is to end in its middle.
int BeginChange(void);

// Ends the process by SIGKILL.
_Noreturn void Die(void);

// To be called behind such a call with what BeginChange gave.
void EndChange(int dies);

// Asks the kernel by number.
long Kernel(long number, long first, long second, long third, long fourth, long fifth, long sixth);

// What the kernel takes and gives as a number.
static inline void *Address(long word)
{
    return (void *)word; // NOLINT(performance-no-int-to-ptr)
}

// The function that stands behind one of this library: its type comes in two parts, around which there can be no
// parentheses. NOLINTBEGIN(bugprone-macro-parentheses)
#define NEXT(result, name, parameters)                                                                                 \
    static result(*next) parameters;                                                                                   \
    if (next == NULL)                                                                                                  \
    {                                                                                                                  \
        void *const definition = dlsym(RTLD_NEXT, name);                                                               \
        memcpy(&next, &definition, sizeof next);                                                                       \
    }
// NOLINTEND(bugprone-macro-parentheses)
