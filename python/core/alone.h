/* Library calls that stay on one thread. */
#ifndef CORE_ALONE_H
#define CORE_ALONE_H

#include <qbase/status.h>

/* Calls work(data) on the calling thread, as a job: calls of the library inside it do not share their work
 * with other threads, and attention handlers are asked as ever.
 * Result: that of `work`. Errors: QSYS_E_MEMORY. */
qsys_status core_runAlone(qsys_status (*work)(const void*), const void* data);

#endif
