/* qbase/memory.h - memory blocks, copies and fills.
 *
 * Blocks begin on a 64-byte boundary. Sizes are signed 64-bit byte counts, so that the product of two
 * 32-bit sizes can be handed over as it is. Every allocation of the base services themselves (pixel
 * buffers, transforms, jobs) goes through this file, so one installed allocator sees them all.
 *
 * The services take no lock around an allocator's functions, nor to find the allocator: a child of a fork
 * may allocate, release and install allocators whatever the threads of its parent were doing. An allocator
 * of the application has to bear that too; malloc and free do. */
#ifndef QBASE_MEMORY_H
#define QBASE_MEMORY_H

#include <stddef.h>

#include <qbase/status.h>

QBASE_BEGIN_DECLS

/* Takes a block of `size` bytes and stores its address in *block.
 * Result:  a block on a 64-byte boundary; a size of 0 gives a block that can be freed and holds no byte.
 *          The bytes are unspecified; allocClear fills them with 0. alloc64 is alloc under the name that
 *          callers with 64-bit sizes use.
 * Errors:  QSYS_E_ARGUMENT (block is null), QSYS_E_RANGE (size negative or too large to address),
 *          QSYS_E_MEMORY. After an error *block is null.
 * Threads: callable from any thread. */
QBASE_API qsys_status qsys_memory_alloc_internal(int64_t size, void** block);
QBASE_API qsys_status qsys_memory_allocClear_internal(int64_t size, void** block);
QBASE_API qsys_status qsys_memory_alloc64_internal(int64_t size, void** block);

/* Releases *block and sets it to null. *block may be null already.
 * Errors:  QSYS_E_ARGUMENT (block is null). */
QBASE_API qsys_status qsys_memory_free_internal(void** block);

/* Copies `size` bytes; the two blocks must not overlap.
 * Errors:  QSYS_E_ARGUMENT (a pointer is null while size > 0), QSYS_E_RANGE (size negative). Nothing is
 *          written after an error. */
QBASE_API qsys_status qsys_memory_copy(const void* source, void* destination, int64_t size);

/* Sets `size` bytes to the low eight bits of `value`. Errors as for qsys_memory_copy. */
QBASE_API qsys_status qsys_memory_fill(void* destination, int64_t size, int32_t value);

/* Copies `rows` rows of `widthBytes` bytes. Row y starts at source + y * sourceStride and goes to
 * destination + y * destinationStride; strides are in bytes and may be negative. The areas must not
 * overlap. A width or row count of 0 or less copies nothing.
 * Errors:  QSYS_E_ARGUMENT (a pointer is null while there is something to copy). */
QBASE_API qsys_status qsys_memory_copyRect(int64_t widthBytes, int64_t rows, int64_t sourceStride,
                                           int64_t destinationStride, const void* source,
                                           void* destination);

/* An allocator of the application. The function returns `size` bytes aligned as malloc aligns them, or
 * null; it may be called from several threads at once and must not throw. `context` is the pointer given to
 * qsys_memory_setAllocator. */
typedef void* (*qsys_memory_allocFunction)(void* context, size_t size);
typedef void (*qsys_memory_freeFunction)(void* context, void* block);

/* Installs the allocator that all later blocks come from; null for both functions restores the default
 * (malloc and free). A block always returns to the allocator that it came from, so blocks may outlive a
 * change.
 * Errors:  QSYS_E_ARGUMENT (only one of the functions is null); the allocator is then unchanged.
 * Threads: callable from any thread; an allocation running at the same time uses either allocator. */
QBASE_API qsys_status qsys_memory_setAllocator(qsys_memory_allocFunction alloc,
                                               qsys_memory_freeFunction release, void* context);

/* The older allocator: a block of `size` bytes, or null. The block is released with qxfFree, which accepts
 * null. */
QBASE_API void* qxfMalloc(int64_t size);
QBASE_API void qxfFree(void* block);

QBASE_END_DECLS

#endif
