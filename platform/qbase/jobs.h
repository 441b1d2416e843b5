/* qbase/jobs.h - work handed to a pool of threads.
 *
 * One pool serves the process. It starts at the first dispatch that can use it, and its threads are
 * joined when the process ends. A set of requests is dispatched as a whole; every request runs to its
 * end whatever the others answer, and the call returns when the last one has finished.
 *
 *     qsys_jobThreadGroup_construct(&group);
 *     qsys_jobGetCurrentThreadState(&state, &group);       state.threadCount threads may be used
 *     qsys_jobParams_construct(&params);
 *     qsys_jobRequestSet_construct(&requests);
 *     qsys_jobResultSet_construct(&results);
 *     for each piece of work:
 *         qsys_jobParams_takeData(&params, &record, release);       params owns the record now
 *         qsys_jobRequestSet_addFuncAndParams(&requests, function, &params);   shares it
 *     qsys_jobThreadGroup_dispatchAndWait(&group, &requests, &results);
 *     destruct in reverse order
 *
 * Signals: the pool's threads block all signals but those of a fault (SIGSEGV, SIGBUS, SIGFPE, SIGILL,
 * SIGABRT, SIGTRAP, SIGSYS), so that handlers run on threads of the application. A program that a job
 * starts inherits that mask.
 *
 * Fork: a child has no thread of the pool, and a dispatch of another thread is not in it; the memory which
 * that took is lost to the child. From the return of fork on, whatever the threads of the parent were
 * doing, the child may call every function of the base services and every operation made of them; its pool
 * starts at its first dispatch. A handler of pthread_atfork that was registered before this library was
 * loaded may not dispatch. A job may fork, and so may an attention handler that is asked inside a job. The
 * child of such a fork may call every function too, but may not return from the job or the handler: it ends
 * with _exit or begins another program. Images, records and sets that another thread of the parent was
 * changing are in the child as they were at that moment, and of no use. A child of vfork may only begin
 * another program.
 *
 * The records below are handles: fill them with their construct function, release them with destruct
 * (which accepts a record filled with zeros, leaves it so, and always returns 0). A record belongs to one
 * thread at a time. Every function returns QSYS_E_ARGUMENT for a required pointer that is null. */
#ifndef QBASE_JOBS_H
#define QBASE_JOBS_H

#include <qbase/status.h>

QBASE_BEGIN_DECLS

/* How many threads the application lets the pool use, the dispatching thread included; 0 (the default)
 * means the processors that this process may run on. Numbers above 1024 count as 1024. Takes effect at
 * the next dispatch.
 * Errors:  QSYS_E_ARGUMENT (count negative). Threads: callable from any thread. */
QBASE_API qsys_status qsys_jobs_setThreadCount(int32_t count);

/* The number of threads in use now: the number set, or the default. At least 1. */
QBASE_API int32_t qsys_jobs_getThreadCount(void);

/* Whether operations that otherwise run on the calling thread alone may share their work among the threads
 * in use, and from which size on: in one job for each thread, but no more than one for each `leastPixels`
 * pixels of the result. 0, the default: they do not. One setting for the process, which an operation reads
 * when it begins to make its result. Which operations do it is said where they are declared; inside a job
 * none does.
 * Errors:  QSYS_E_ARGUMENT (leastPixels negative). Threads: callable from any thread. */
QBASE_API qsys_status qsys_jobs_setSplitting(int64_t leastPixels);

/* The number set. */
QBASE_API int64_t qsys_jobs_getSplitting(void);

typedef struct qsys_jobThreadGroup {
    void* implementation;
} qsys_jobThreadGroup;

typedef struct qsys_jobThreadState {
    int32_t threadCount; /* threads that the caller may use: 1 inside a job, else the number in use */
    int32_t isWorker;    /* non-zero inside a job */
} qsys_jobThreadState;

typedef struct qsys_jobParams {
    void* implementation;
} qsys_jobParams;

typedef struct qsys_jobRequestSet {
    void* implementation;
} qsys_jobRequestSet;

typedef struct qsys_jobResultSet {
    void* implementation;
} qsys_jobResultSet;

/* A job. It reads its data with qsys_jobParams_getDataConst, must not throw, and may run on any thread. */
typedef qsys_status (*qsys_jobFunction)(const qsys_jobParams* params);

/* Releases the data of job parameters, given the address of the pointer to it (the form of
 * qsys_memory_free_internal). */
typedef qsys_status (*qsys_jobParams_releaseFunction)(void** data);

/* Errors of the construct functions: QSYS_E_MEMORY; the record is then filled with zeros. */
QBASE_API qsys_status qsys_jobThreadGroup_construct(qsys_jobThreadGroup* group);
QBASE_API qsys_status qsys_jobThreadGroup_destruct(qsys_jobThreadGroup* group);
QBASE_API qsys_status qsys_jobParams_construct(qsys_jobParams* params);
QBASE_API qsys_status qsys_jobParams_destruct(qsys_jobParams* params);
QBASE_API qsys_status qsys_jobRequestSet_construct(qsys_jobRequestSet* requests);
QBASE_API qsys_status qsys_jobRequestSet_destruct(qsys_jobRequestSet* requests);
QBASE_API qsys_status qsys_jobResultSet_construct(qsys_jobResultSet* results);
QBASE_API qsys_status qsys_jobResultSet_destruct(qsys_jobResultSet* results);

/* What the calling thread may use. */
QBASE_API qsys_status qsys_jobGetCurrentThreadState(qsys_jobThreadState* state,
                                                    const qsys_jobThreadGroup* group);

/* Hands *data to the parameters and sets *data to null; data held before is let go. The data is released
 * when neither the parameters nor any request refers to it any more.
 * Errors:  QSYS_E_MEMORY; *data then still belongs to the caller. */
QBASE_API qsys_status qsys_jobParams_takeData(qsys_jobParams* params, void** data,
                                              qsys_jobParams_releaseFunction release);

/* Stores the address of the data in *data. Errors: QSYS_E_JOB_NO_DATA, with *data null. */
QBASE_API qsys_status qsys_jobParams_getDataConst(const qsys_jobParams* params, const void** data);

/* Appends a request: `function` called with parameters that share the data that `params` holds now.
 * Errors:  QSYS_E_MEMORY; the set is then unchanged. */
QBASE_API qsys_status qsys_jobRequestSet_addFuncAndParams(qsys_jobRequestSet* requests,
                                                          qsys_jobFunction function,
                                                          const qsys_jobParams* params);

/* Runs all requests and waits for them; the calling thread works too and begins with the first request.
 * Where no thread can be had, and inside a job, the calling thread does all of the work. Every job sees the
 * calling thread's floating-point environment (the rounding direction among it).
 * Result:  the first negative status in the order of the requests, else 0. The single statuses are then
 *          in the result set. Requests that were added before a failure of this function itself do not
 *          run.
 * Errors:  QSYS_E_MEMORY. */
QBASE_API qsys_status qsys_jobThreadGroup_dispatchAndWait(qsys_jobThreadGroup* group,
                                                          qsys_jobRequestSet* requests,
                                                          qsys_jobResultSet* results);

/* The number of statuses in the set, and one of them (0 <= index < count, else QSYS_E_ARGUMENT). */
QBASE_API qsys_status qsys_jobResultSet_getCount(const qsys_jobResultSet* results, int32_t* count);
QBASE_API qsys_status qsys_jobResultSet_getStatus(const qsys_jobResultSet* results, int32_t index,
                                                  qsys_status* status);

QBASE_END_DECLS

#endif
