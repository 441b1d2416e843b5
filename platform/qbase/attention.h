/* qbase/attention.h - how an application ends work that takes long. */
#ifndef QBASE_ATTENTION_H
#define QBASE_ATTENTION_H

#include <qbase/status.h>

QBASE_BEGIN_DECLS

/* Answers 0 (or any other non-negative number) to go on, a negative status to stop. It is called on the
 * thread that does the work, many times a second, so it should only look at a flag or a clock. Where a call
 * shares its work among threads (qbase/jobs.h), that is any of them, but one at a time; the child of a fork
 * inside the handler does not return from it then. It must not throw. */
typedef qsys_status (*qsys_attention_handler)(void* context);

/* Installs the handler of the calling thread; null removes it. Every thread has its own handler, none at
 * first. Worker threads of the job service ask that of the thread that they work for.
 * Result:  0. */
QBASE_API qsys_status qsys_attention_setHandler(qsys_attention_handler handler, void* context);

/* The answer of the calling thread's handler; 0 when there is none. */
QBASE_API qsys_status qsys_attention_check(void);

QBASE_END_DECLS

#endif
