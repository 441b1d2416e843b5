/* A library call: without the lock of the interpreter, and stopped by Python's signal handlers. */
#ifndef CORE_ATTENTION_H
#define CORE_ATTENTION_H

#include "state.h"

typedef struct core_attention {
    PyThreadState* thread;
    struct core_attention* outer; /* of a call that this one interrupts, in a signal handler */
    int isMain;
    int64_t next; /* when to ask Python again, in milliseconds; 0 before the first poll */
    qsys_status answer;
} core_attention;

/* What the module does once in a process: finds out which thread is the main one. */
int core_attention_prepare(void);

/* Gives the lock of the interpreter away and, on the main thread, has the library ask for signals: it
 * looks at the clock first, and takes the lock every 50 ms at most. The attention handler that an
 * application in C has installed on this thread is replaced, since it cannot be read. */
void core_attention_begin(core_attention* attention);

/* Takes the lock back, and removes the handler.
 * Result:  0 when the call succeeded; -1 with the exception of a signal handler or of the status. */
int core_attention_end(core_attention* attention, const core_state* state, qsys_status status);

#endif
