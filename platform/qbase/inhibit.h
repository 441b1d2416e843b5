/* qbase/inhibit.h - a policy of the application that switches fast paths off by name. */
#ifndef QBASE_INHIBIT_H
#define QBASE_INHIBIT_H

#include <qbase/export.h>

QBASE_BEGIN_DECLS

/* Null, or a function that is asked with a routine's name before its optimised code runs and answers
 * non-zero when the code that defines the values must run instead. The pixels are the same either way,
 * except where an operation's documentation states otherwise.
 * Threads: the variable is read without a lock. Set it before other threads call the libraries; the
 * function itself may be called from several threads at once. It must not throw. */
extern QBASE_API int (*qprt_isOptimizationInhibitedFP)(const char* name);

QBASE_END_DECLS

#endif
