// Work on horizontal bands of a destination, side by side on the threads of the job service.
//
//     struct band { ... };                          // all that one band needs, by value
//     qip_status runBand(const band* work);         // on whichever thread
//
//     frame_threads threads = {};
//     frame_cleanup cleanup = {};
//     status = frame_takeThreads(&cleanup, &threads);
//     if (status >= 0)
//         status = frame_runBands<band, runBand>(&threads, count, [&](int64_t i, band* work) { ... });
//     return frame_cleanupEnd(&cleanup, status);
#pragma once

#include "frame/cleanup.h"

#include <qip/status.h>

#include <qbase/jobs.h>

#include <new>
#include <type_traits>

// The threads that a call may use: 1 inside a job.
struct frame_threads {
    qsys_jobThreadGroup group;
    int32_t count;
};

// `threads` must outlive the clean-up.
// Errors:  QSYS_E_MEMORY.
inline qip_status frame_takeThreads(frame_cleanup* cleanup, frame_threads* threads)
{
    qip_status status = qsys_jobThreadGroup_construct(&threads->group);
    if (status >= 0)
        status = frame_cleanupObject<qsys_jobThreadGroup_destruct>(cleanup, &threads->group);
    qsys_jobThreadState state = {};
    if (status >= 0)
        status = qsys_jobGetCurrentThreadState(&state, &threads->group);
    threads->count = state.threadCount;
    return status;
}

// A band as the job service calls it.
template <class Band, qip_status (*run)(const Band*)>
qip_status frame_bandJob(const qsys_jobParams* params)
{
    const void* band = nullptr;
    const qip_status status = qsys_jobParams_getDataConst(params, &band);
    return status < 0 ? status : run(static_cast<const Band*>(band));
}

// What a set of bands is dispatched with.
struct frame_bandJobs {
    qsys_jobParams params;
    qsys_jobRequestSet requests;
    qsys_jobResultSet results;
};

inline qip_status frame_takeJobs(frame_cleanup* cleanup, frame_bandJobs* jobs)
{
    qip_status status = qsys_jobParams_construct(&jobs->params);
    if (status >= 0)
        status = frame_cleanupObject<qsys_jobParams_destruct>(cleanup, &jobs->params);
    if (status >= 0)
        status = qsys_jobRequestSet_construct(&jobs->requests);
    if (status >= 0)
        status = frame_cleanupObject<qsys_jobRequestSet_destruct>(cleanup, &jobs->requests);
    if (status >= 0)
        status = qsys_jobResultSet_construct(&jobs->results);
    if (status >= 0)
        status = frame_cleanupObject<qsys_jobResultSet_destruct>(cleanup, &jobs->results);
    return status;
}

// Queues a copy of `band`, which is freed with the request.
template <class Band, qip_status (*run)(const Band*)>
qip_status frame_queueBand(frame_bandJobs* jobs, const Band& band)
{
    static_assert(std::is_trivially_copyable_v<Band>);
    void* block = nullptr;
    qip_status status = qsys_memory_alloc_internal(int64_t{sizeof(Band)}, &block);
    if (status < 0)
        return status;
    new (block) Band(band);
    status = qsys_jobParams_takeData(&jobs->params, &block, qsys_memory_free_internal);
    if (status < 0) {
        qsys_memory_free_internal(&block);
        return status;
    }
    return qsys_jobRequestSet_addFuncAndParams(&jobs->requests, frame_bandJob<Band, run>, &jobs->params);
}

// Runs `count` bands, of which make(i, &band) gives the i-th; make answers with a status.
// Result:  the first negative status in the order of the bands, else the last one that is not 0, else 0.
//          All bands run to their end; the first one runs on the calling thread.
// Errors:  QSYS_E_MEMORY, or what `make` answers: no band has run then.
template <class Band, qip_status (*run)(const Band*), class Make>
qip_status frame_runBands(frame_threads* threads, int64_t count, const Make& make)
{
    frame_bandJobs jobs = {};
    frame_cleanup cleanup = {};
    qip_status status = frame_takeJobs(&cleanup, &jobs);
    for (int64_t i = 0; i < count && status >= 0; ++i) {
        Band band = {};
        status = make(i, &band);
        if (status >= 0)
            status = frame_queueBand<Band, run>(&jobs, band);
    }
    if (status >= 0)
        status = qsys_jobThreadGroup_dispatchAndWait(&threads->group, &jobs.requests, &jobs.results);
    for (int64_t i = count - 1; i >= 0 && status == 0; --i)
        qsys_jobResultSet_getStatus(&jobs.results, static_cast<int32_t>(i), &status);
    return frame_cleanupEnd(&cleanup, status);
}
