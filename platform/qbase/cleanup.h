/* qbase/cleanup.h - the clean-up stack of one operation.
 *
 * An operation keeps, in its own frame, an array of entries, a count (0 at first) and a status (0 at
 * first). Everything that it takes is registered at once with the function that releases it; every exit
 * runs the whole stack. Entries run newest first. The first negative status wins: a clean-up that fails
 * is recorded in the status only when nothing failed before.
 *
 *     qsys_cleanupEntry stack[4];
 *     int count = 0;
 *     int id = 0;
 *     qsys_status status = 0;
 *     void* block = NULL;
 *     status = qsys_memory_alloc_internal(1000, &block);
 *     if (status >= 0)
 *         qsys_cleanup_register_(stack, 4, &count, &status, QSYS_CLEANUP_MEMORY, &block, freeBlock, &id);
 *     ...
 *     qsys_cleanupExecute_(stack, &count, &status, -1);
 *     return status;
 *
 * A stack belongs to one thread at a time. Nothing here allocates. */
#ifndef QBASE_CLEANUP_H
#define QBASE_CLEANUP_H

#include <qbase/status.h>

QBASE_BEGIN_DECLS

/* The kinds of entries: a memory block (the resource is the address of the block's pointer), an object
 * with a destruct function (the resource is the address of the object). */
#define QSYS_CLEANUP_MEMORY 49
#define QSYS_CLEANUP_OBJECT 50

typedef qsys_status (*qsys_cleanup_releaseFunction)(void* resource);

typedef struct qsys_cleanupEntry {
    int32_t id;                           /* numbered from 0 in order of registration */
    int32_t kind;                         /* QSYS_CLEANUP_MEMORY or QSYS_CLEANUP_OBJECT */
    void* resource;                       /* what `release` is called with */
    qsys_cleanup_releaseFunction release; /* never null */
} qsys_cleanupEntry;

/* Registers a resource on a stack of `capacity` entries and stores the new entry's identifier in *id
 * (id may be null).
 * Errors:  QSYS_E_CLEANUP_FULL: the stack is full and the resource has been released. QSYS_E_ARGUMENT:
 *          a required pointer is null; the resource is released when `release` is given. An error is
 *          also recorded in *status unless that holds an earlier failure. */
QBASE_API qsys_status qsys_cleanup_register_(qsys_cleanupEntry* stack, int capacity, int* count,
                                             int* status, int32_t kind, void* resource,
                                             qsys_cleanup_releaseFunction release, int* id);

/* Runs and removes, newest first, every entry whose identifier is greater than `limit`; -1 runs all.
 * The result is *status after the run. Errors: QSYS_E_ARGUMENT (a pointer is null). */
QBASE_API qsys_status qsys_cleanupExecute_(qsys_cleanupEntry* stack, int* count, int* status, int limit);

/* Removes the one entry with the identifier `id`; its release function runs when `run` is non-zero and
 * is skipped when it is 0 (the resource then has another owner).
 * The result is *status after the run. Errors: QSYS_E_ARGUMENT (a pointer is null, or no such entry). */
QBASE_API qsys_status qsys_cleanup_doId_(qsys_cleanupEntry* stack, int* count, int* status, int id,
                                         int run);

QBASE_END_DECLS

#endif
