// The clean-up stack. The entries in use are stack[0 .. *count - 1], identifiers ascending. An entry leaves
// the stack before its release function runs, so nothing is ever released twice, not even by a release
// function that cleans up the same stack.
#include <qbase/cleanup.h>

#include <algorithm>
#include <cstdint>

namespace
{

void recordFailure(int* status, qsys_status failure)
{
    if (failure < 0 && *status >= 0)
        *status = failure;
}

qsys_status pushEntry(qsys_cleanupEntry* stack, int capacity, int* count, int32_t kind, void* resource,
                      qsys_cleanup_releaseFunction release, int* id)
{
    if (!stack || !count || !release || *count < 0)
        return QSYS_E_ARGUMENT;
    // Identifiers continue from that of the newest entry; when they are used up the stack counts as full.
    const int32_t newest = *count > 0 && *count < capacity ? stack[*count - 1].id : -1;
    if (*count >= capacity || newest == INT32_MAX)
        return QSYS_E_CLEANUP_FULL;
    stack[*count] = {newest + 1, kind, resource, release};
    ++*count;
    if (id)
        *id = newest + 1;
    return QSYS_OK;
}

} // namespace

qsys_status qsys_cleanup_register_(qsys_cleanupEntry* stack, int capacity, int* count, int* status,
                                   int32_t kind, void* resource, qsys_cleanup_releaseFunction release,
                                   int* id)
{
    const qsys_status result =
        status ? pushEntry(stack, capacity, count, kind, resource, release, id) : QSYS_E_ARGUMENT;
    if (result >= 0)
        return result;
    if (status)
        recordFailure(status, result);
    if (release)
        release(resource);
    return result;
}

qsys_status qsys_cleanupExecute_(qsys_cleanupEntry* stack, int* count, int* status, int limit)
{
    if (!stack || !count || !status)
        return QSYS_E_ARGUMENT;
    while (*count > 0 && stack[*count - 1].id > limit) {
        --*count;
        const qsys_cleanupEntry entry = stack[*count];
        recordFailure(status, entry.release(entry.resource));
    }
    return *status;
}

qsys_status qsys_cleanup_doId_(qsys_cleanupEntry* stack, int* count, int* status, int id, int run)
{
    if (!stack || !count || !status || *count < 0)
        return QSYS_E_ARGUMENT;
    qsys_cleanupEntry* const end = stack + *count;
    qsys_cleanupEntry* const found =
        std::find_if(stack, end, [id](const qsys_cleanupEntry& entry) { return entry.id == id; });
    if (found == end)
        return QSYS_E_ARGUMENT;
    const qsys_cleanupEntry entry = *found;
    std::copy(found + 1, end, found);
    --*count;
    if (run)
        recordFailure(status, entry.release(entry.resource));
    return *status;
}
