// How the pool works. All of its state, and the progress of every batch, is guarded by one mutex: a job is
// large (thousands of pixels at least) and takes it twice, so finer locking would buy nothing.
//
// A batch is a record on the dispatching thread's stack, linked into the pool's list while it has jobs that
// nobody has claimed. The dispatching thread claims jobs of its own batch, a worker those of the oldest
// batch.
//
// The pool's memory is never released or destroyed: threads may still use it while the process ends. A
// worker leaves when its index is not below `wanted`, which each dispatch and the end of the process set.
//
// A fork leaves everything here behind: the child begins with a pool of its own.
#include "base/jobs_pool.h"

#include "base/attention.h"
#include "base/cpu_detect.h"

#include <qbase/cpuinfo.h>

#include <algorithm>
#include <cfenv>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <mutex>
#include <new>
#include <thread>
#include <utility>

#if defined(__unix__)
#include <pthread.h>
#include <signal.h>
#endif

std::atomic<void (*)()> base_jobPool_beforeThreadStart = nullptr;

namespace
{

using poolLock = std::unique_lock<std::mutex>;

struct jobBatch {
    const base_job* jobs;
    qsys_status* statuses;
    int32_t count;
    // The dispatching thread's, for all jobs.
    std::fenv_t environment = {};
    base_attention attention = {};

    int32_t claimed = 0;
    int32_t finished = 0;
    jobBatch* next = nullptr;
    std::condition_variable allFinished = {};
};

enum class workerState { none, running, left };

struct poolWorker {
    std::thread thread;
    workerState state = workerState::none; // a thread that left is still to be joined
};

struct threadPool {
    std::mutex mutex;
    std::condition_variable workersWake;
    jobBatch* firstBatch = nullptr;
    int32_t wanted = 0;
    bool closed = false;
    int32_t slots = 0; // workers[slots] and those after it were never started
    poolWorker workers[base_jobPool_mostThreads - 1];
};

alignas(threadPool) unsigned char poolMemory[sizeof(threadPool)];

threadPool* thePool()
{
    static threadPool* const pool = new (poolMemory) threadPool;
    return pool;
}

thread_local constinit bool insideJob = false;

// noexcept: a job that throws breaks its contract, and unwinding the pool from here could only make it
// worse.
qsys_status runJob(const base_job* job) noexcept
{
    const bool outer = std::exchange(insideJob, true);
    const qsys_status status = job->function(&job->params);
    insideJob = outer;
    return status;
}

void unlinkBatch(threadPool* pool, const jobBatch* batch)
{
    jobBatch** link = &pool->firstBatch;
    while (*link != batch)
        link = &(*link)->next;
    *link = batch->next;
}

void linkBatch(threadPool* pool, jobBatch* batch)
{
    jobBatch** link = &pool->firstBatch;
    while (*link)
        link = &(*link)->next;
    *link = batch;
}

// Claims one job of a linked batch and runs it; the lock is released meanwhile. The batch may be gone
// afterwards unless the caller is its dispatching thread.
void workOnBatch(threadPool* pool, jobBatch* batch, poolLock* lock)
{
    const int32_t index = batch->claimed++;
    if (batch->claimed == batch->count)
        unlinkBatch(pool, batch);
    lock->unlock();
    const qsys_status status = runJob(&batch->jobs[index]);
    lock->lock();
    batch->statuses[index] = status;
    // Notified under the lock, because the batch and its condition end with the wait.
    if (++batch->finished == batch->count)
        batch->allFinished.notify_one();
}

void workerMain(threadPool* pool, int32_t index)
{
    insideJob = true;
    poolLock lock(pool->mutex);
    while (index < pool->wanted) {
        jobBatch* const batch = pool->firstBatch;
        if (!batch) {
            pool->workersWake.wait(lock);
            continue;
        }
        std::fesetenv(&batch->environment);
        base_attention_set(batch->attention);
        workOnBatch(pool, batch, &lock);
        base_attention_set({});
    }
    pool->workers[index].state = workerState::left;
}

// Threads that start while this object lives begin with all signals blocked, so that the application's own
// threads handle them. Those of a fault stay as they are: blocked, they would end the process without their
// handler.
class signalsBlocked
{
public:
    signalsBlocked()
    {
#if defined(__unix__)
        sigset_t most;
        sigfillset(&most);
        for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS})
            sigdelset(&most, fault);
        pthread_sigmask(SIG_BLOCK, &most, &before);
#endif
    }
    ~signalsBlocked()
    {
#if defined(__unix__)
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
#endif
    }
    signalsBlocked(const signalsBlocked&) = delete;
    signalsBlocked& operator=(const signalsBlocked&) = delete;

private:
#if defined(__unix__)
    sigset_t before;
#endif
};

bool startWorker(threadPool* pool, int32_t index)
{
    poolWorker* const worker = &pool->workers[index];
    try {
        if (void (*const hook)() = base_jobPool_beforeThreadStart.load())
            hook();
        const signalsBlocked meanwhile;
        worker->thread = std::thread(workerMain, pool, index);
    } catch (const std::exception&) {
        return false;
    }
    worker->state = workerState::running;
    return true;
}

// Sets how many workers may exist and starts those of them that a batch can use. Called under the lock. A
// worker that leaves is joined at the next call: it has left the lock, so the join does not wait.
void resizePool(threadPool* pool, int32_t most, int32_t useful)
{
    const bool shrinks = most < pool->wanted;
    pool->wanted = most;
    if (shrinks)
        pool->workersWake.notify_all();
    bool startable = true;
    pool->slots = std::max(pool->slots, useful);
    for (int32_t index = 0; index < pool->slots; ++index) {
        poolWorker* const worker = &pool->workers[index];
        if (worker->state == workerState::left) {
            worker->thread.join();
            worker->state = workerState::none;
        }
        if (worker->state == workerState::none && index < useful && startable)
            startable = startWorker(pool, index);
    }
}

// Ends the workers when the process, or the library in it, ends. Each finishes the job that it is in; what
// nobody has claimed stays with the dispatching threads. Later dispatches still work, without workers.
void closePool(threadPool* pool)
{
    poolLock lock(pool->mutex);
    pool->closed = true;
    pool->wanted = 0;
    pool->workersWake.notify_all();
    for (poolWorker& worker : pool->workers) {
        std::thread thread = std::move(worker.thread);
        if (!thread.joinable())
            continue;
        lock.unlock();
        // A job may call exit: this is then one of the workers.
        if (thread.get_id() == std::this_thread::get_id())
            thread.detach();
        else
            thread.join();
        lock.lock();
        worker.state = workerState::none;
    }
}

#if defined(__unix__)

// What is made at its first use exists before the process is copied: a child would wait for ever for a
// thread that was making it.
void makeAllBeforeFork()
{
    thePool();
    base_cpuDetect_processorCount();
    qsys_cpuinfo_levelName();
}

// In the child the workers do not exist, nor does whoever held a lock. The thread that forked may be inside
// its attention handler and hold the lock of that: as its holder the lock names a thread of the parent, and
// one thread needs none.
void startAfreshInChild()
{
    const bool closed = thePool()->closed;
    new (poolMemory) threadPool;
    thePool()->closed = closed;
    base_attention own = base_attention_get();
    own.oneAtATime = nullptr;
    base_attention_set(own);
}

#endif

// From the loading of the library to the end of the process.
struct poolKeeper {
    poolKeeper()
    {
#if defined(__unix__)
        pthread_atfork(makeAllBeforeFork, nullptr, startAfreshInChild);
#endif
    }
    poolKeeper(const poolKeeper&) = delete;
    poolKeeper& operator=(const poolKeeper&) = delete;
    ~poolKeeper()
    {
        closePool(thePool());
    }
};
const poolKeeper keeper;

} // namespace

void base_jobPool_run(const base_job* jobs, int32_t count, qsys_status* statuses)
{
    if (insideJob) {
        for (int32_t i = 0; i < count; ++i)
            statuses[i] = runJob(&jobs[i]);
        return;
    }
    if (count <= 0)
        return;

    jobBatch batch = {.jobs = jobs, .statuses = statuses, .count = count};
    const base_attentionShared shared;
    std::fegetenv(&batch.environment);
    batch.attention = base_attention_get();
    threadPool* const pool = thePool();
    poolLock lock(pool->mutex);
    if (!pool->closed) {
        const int32_t most = qsys_jobs_getThreadCount() - 1;
        const int32_t useful = std::min(most, count - 1);
        resizePool(pool, most, useful);
    }
    linkBatch(pool, &batch);
    pool->workersWake.notify_all();
    while (batch.claimed < count)
        workOnBatch(pool, &batch, &lock);
    batch.allFinished.wait(lock, [&batch] { return batch.finished == batch.count; });
}

bool base_jobPool_isInsideJob()
{
    return insideJob;
}

int32_t base_jobPool_workerCount()
{
    threadPool* const pool = thePool();
    const poolLock lock(pool->mutex);
    return static_cast<int32_t>(
        std::count_if(std::begin(pool->workers), std::end(pool->workers),
                      [](const poolWorker& worker) { return worker.state == workerState::running; }));
}
