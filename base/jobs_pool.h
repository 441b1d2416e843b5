// The process-wide pool of threads behind the job service.
//
// A set of jobs is shared by the dispatching thread and the pool's workers; whoever is free takes the next
// job. The dispatching thread never depends on a worker to make progress: with no worker at all it does
// everything itself.
#pragma once

#include <qbase/jobs.h>

#include <atomic>

struct base_job {
    qsys_jobFunction function;
    qsys_jobParams params;
};

// The most threads that work at once for one dispatch, the dispatching thread included.
constexpr int32_t base_jobPool_mostThreads = 1024;

// Runs all jobs and returns when the last one has finished; statuses[i] is what jobs[i] answered. Every job
// sees the floating-point environment of the calling thread. Callable from any thread, also inside a job.
void base_jobPool_run(const base_job* jobs, int32_t count, qsys_status* statuses);

// Whether the calling thread is inside a job.
bool base_jobPool_isInsideJob();

// For tests: while not null, called before each start of a thread. What it throws, the start throws.
extern std::atomic<void (*)()> base_jobPool_beforeThreadStart;

// For tests: the number of pool threads that exist, the ones that are about to leave included.
int32_t base_jobPool_workerCount();
