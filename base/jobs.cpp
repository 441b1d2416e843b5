// The records of the job service. Every handle is empty while its pointer is null, so constructing one
// takes no memory; what handles hold comes from the memory service:
//
//     parameters    a counted object that owns the application's data, shared by the requests made from it
//     request set   a growing list of jobs, each with its share of the parameters' data
//     result set    the list of statuses of the last dispatch
//
// The threads are in jobs_pool.cpp.
#include "base/cpu_detect.h"
#include "base/jobs_pool.h"
#include "base/refcount.h"

#include <qbase/jobs.h>
#include <qbase/memory.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <new>

namespace
{

struct sharedRecord {
    base_refcount owners;
    void* data;
    qsys_jobParams_releaseFunction release;
};

sharedRecord* sharedData(const qsys_jobParams* params)
{
    return static_cast<sharedRecord*>(params->implementation);
}

void letGo(qsys_jobParams* params)
{
    sharedRecord* const shared = sharedData(params);
    params->implementation = nullptr;
    if (!shared || !base_refcount_releaseIsLast(&shared->owners))
        return;
    shared->release(&shared->data);
    void* block = shared;
    qsys_memory_free_internal(&block);
}

// A list and its items in one block. The header has the items' alignment, so they follow it directly.
template <class Item>
struct alignas(Item) itemList {
    int32_t count;
    int32_t capacity;

    Item* items()
    {
        return reinterpret_cast<Item*>(this + 1);
    }
};

using requestList = itemList<base_job>;
using resultList = itemList<qsys_status>;

template <class Item>
qsys_status createList(int32_t capacity, itemList<Item>** list)
{
    void* block = nullptr;
    const int64_t size = int64_t{sizeof(itemList<Item>)} + int64_t{capacity} * int64_t{sizeof(Item)};
    const qsys_status status = qsys_memory_alloc_internal(size, &block);
    *list = status < 0 ? nullptr : new (block) itemList<Item>{0, capacity};
    return status;
}

// Makes room for one more request.
qsys_status growRequests(qsys_jobRequestSet* requests)
{
    auto* const old = static_cast<requestList*>(requests->implementation);
    if (old && old->count < old->capacity)
        return QSYS_OK;
    if (old && old->capacity == INT32_MAX)
        return QSYS_E_MEMORY;
    const int64_t capacity = old ? std::min<int64_t>(int64_t{old->capacity} * 2, INT32_MAX) : 16;
    requestList* grown = nullptr;
    const qsys_status status = createList(static_cast<int32_t>(capacity), &grown);
    if (status < 0)
        return status;
    if (old) {
        grown->count = old->count;
        std::copy_n(old->items(), old->count, grown->items());
    }
    requests->implementation = grown;
    void* block = old;
    return qsys_memory_free_internal(&block);
}

template <class Handle>
qsys_status constructEmpty(Handle* handle)
{
    if (!handle)
        return QSYS_E_ARGUMENT;
    handle->implementation = nullptr;
    return QSYS_OK;
}

std::atomic<int32_t> threadCount = 0;
std::atomic<int64_t> splitting = 0;

} // namespace

qsys_status qsys_jobs_setThreadCount(int32_t count)
{
    if (count < 0)
        return QSYS_E_ARGUMENT;
    threadCount.store(count);
    return QSYS_OK;
}

int32_t qsys_jobs_getThreadCount(void)
{
    const int32_t count = threadCount.load();
    return std::min(count > 0 ? count : base_cpuDetect_processorCount(), base_jobPool_mostThreads);
}

qsys_status qsys_jobs_setSplitting(int64_t leastPixels)
{
    if (leastPixels < 0)
        return QSYS_E_ARGUMENT;
    splitting.store(leastPixels);
    return QSYS_OK;
}

int64_t qsys_jobs_getSplitting(void)
{
    return splitting.load();
}

qsys_status qsys_jobThreadGroup_construct(qsys_jobThreadGroup* group)
{
    return constructEmpty(group);
}

qsys_status qsys_jobThreadGroup_destruct(qsys_jobThreadGroup*)
{
    return QSYS_OK;
}

qsys_status qsys_jobGetCurrentThreadState(qsys_jobThreadState* state, const qsys_jobThreadGroup* group)
{
    if (!state || !group)
        return QSYS_E_ARGUMENT;
    const bool inside = base_jobPool_isInsideJob();
    *state = {inside ? 1 : qsys_jobs_getThreadCount(), inside};
    return QSYS_OK;
}

qsys_status qsys_jobParams_construct(qsys_jobParams* params)
{
    return constructEmpty(params);
}

qsys_status qsys_jobParams_destruct(qsys_jobParams* params)
{
    if (params)
        letGo(params);
    return QSYS_OK;
}

qsys_status qsys_jobParams_takeData(qsys_jobParams* params, void** data,
                                    qsys_jobParams_releaseFunction release)
{
    if (!params || !data || !*data || !release)
        return QSYS_E_ARGUMENT;
    void* block = nullptr;
    const qsys_status status = qsys_memory_alloc_internal(sizeof(sharedRecord), &block);
    if (status < 0)
        return status;
    letGo(params);
    params->implementation = new (block) sharedRecord{{}, *data, release};
    *data = nullptr;
    return QSYS_OK;
}

qsys_status qsys_jobParams_getDataConst(const qsys_jobParams* params, const void** data)
{
    if (!params || !data)
        return QSYS_E_ARGUMENT;
    const sharedRecord* const shared = sharedData(params);
    *data = shared ? shared->data : nullptr;
    return shared ? QSYS_OK : QSYS_E_JOB_NO_DATA;
}

qsys_status qsys_jobRequestSet_construct(qsys_jobRequestSet* requests)
{
    return constructEmpty(requests);
}

qsys_status qsys_jobRequestSet_destruct(qsys_jobRequestSet* requests)
{
    if (!requests || !requests->implementation)
        return QSYS_OK;
    auto* const list = static_cast<requestList*>(requests->implementation);
    for (int32_t i = 0; i < list->count; ++i)
        letGo(&list->items()[i].params);
    return qsys_memory_free_internal(&requests->implementation);
}

qsys_status qsys_jobRequestSet_addFuncAndParams(qsys_jobRequestSet* requests, qsys_jobFunction function,
                                                const qsys_jobParams* params)
{
    if (!requests || !function || !params)
        return QSYS_E_ARGUMENT;
    const qsys_status status = growRequests(requests);
    if (status < 0)
        return status;
    auto* const list = static_cast<requestList*>(requests->implementation);
    if (sharedRecord* const shared = sharedData(params))
        base_refcount_retain(&shared->owners);
    new (&list->items()[list->count++]) base_job{function, *params};
    return QSYS_OK;
}

qsys_status qsys_jobResultSet_construct(qsys_jobResultSet* results)
{
    return constructEmpty(results);
}

qsys_status qsys_jobResultSet_destruct(qsys_jobResultSet* results)
{
    return results ? qsys_memory_free_internal(&results->implementation) : QSYS_OK;
}

qsys_status qsys_jobThreadGroup_dispatchAndWait(qsys_jobThreadGroup* group, qsys_jobRequestSet* requests,
                                                qsys_jobResultSet* results)
{
    if (!group || !requests || !results)
        return QSYS_E_ARGUMENT;
    auto* const list = static_cast<requestList*>(requests->implementation);
    const int32_t count = list ? list->count : 0;
    resultList* statuses = nullptr;
    const qsys_status status = createList(count, &statuses);
    if (status < 0)
        return status;
    qsys_memory_free_internal(&results->implementation);
    results->implementation = statuses;
    statuses->count = count;
    if (count == 0)
        return QSYS_OK;
    qsys_status* const first = statuses->items();
    base_jobPool_run(list->items(), count, first);
    qsys_status* const failed =
        std::find_if(first, first + count, [](qsys_status each) { return each < 0; });
    return failed == first + count ? QSYS_OK : *failed;
}

qsys_status qsys_jobResultSet_getCount(const qsys_jobResultSet* results, int32_t* count)
{
    if (!results || !count)
        return QSYS_E_ARGUMENT;
    const auto* const list = static_cast<const resultList*>(results->implementation);
    *count = list ? list->count : 0;
    return QSYS_OK;
}

qsys_status qsys_jobResultSet_getStatus(const qsys_jobResultSet* results, int32_t index,
                                        qsys_status* status)
{
    if (!results || !status)
        return QSYS_E_ARGUMENT;
    auto* const list = static_cast<resultList*>(results->implementation);
    if (!list || index < 0 || index >= list->count)
        return QSYS_E_ARGUMENT;
    *status = list->items()[index];
    return QSYS_OK;
}
