// The clean-up of one operation, and the way every operation of the library uses it: an outer function owns
// the record and ends it, an inner one takes resources and returns at the first negative status.
//
//     qip_status qip_operation(...)
//     {
//         frame_cleanup cleanup = {};
//         return frame_cleanupEnd(&cleanup, operationBody(..., &cleanup));
//     }
#pragma once

#include <qbase/cleanup.h>
#include <qbase/memory.h>

enum { frame_cleanupCapacity = 8 };

struct frame_cleanup {
    qsys_cleanupEntry entries[frame_cleanupCapacity];
    int count;
    int status;
};

// The release function of an object type, in the form that the clean-up stack calls. Some answer with a
// status, some with nothing.
template <auto Destruct>
struct frame_release;
template <class Object, qsys_status (*Destruct)(Object*)>
struct frame_release<Destruct> {
    static qsys_status call(void* resource)
    {
        return Destruct(static_cast<Object*>(resource));
    }
};
template <class Object, void (*Free)(Object*)>
struct frame_release<Free> {
    static qsys_status call(void* resource)
    {
        Free(static_cast<Object*>(resource));
        return QSYS_OK;
    }
};

// Registers a resource. When the record is full the resource is released at once: QSYS_E_CLEANUP_FULL.
inline qsys_status frame_cleanupRegister(frame_cleanup* cleanup, int32_t kind, void* resource,
                                         qsys_cleanup_releaseFunction release)
{
    return qsys_cleanup_register_(cleanup->entries, frame_cleanupCapacity, &cleanup->count,
                                  &cleanup->status, kind, resource, release, nullptr);
}

// Registers an object that was just constructed, which must outlive the clean-up:
// frame_cleanupObject<qimg_image_destruct>(&cleanup, &image).
template <auto Destruct, class Object>
qsys_status frame_cleanupObject(frame_cleanup* cleanup, Object* object)
{
    return frame_cleanupRegister(cleanup, QSYS_CLEANUP_OBJECT, object, frame_release<Destruct>::call);
}

inline qsys_status frame_freeBlock(void* block)
{
    return qsys_memory_free_internal(static_cast<void**>(block));
}

// Takes a block of `count` elements by `alloc`, one of the memory service's functions, and registers it.
// Errors:  QSYS_E_RANGE, QSYS_E_MEMORY. `block`, the caller's pointer, must outlive the clean-up.
template <class Element>
qsys_status frame_cleanupTake(frame_cleanup* cleanup, int64_t count, Element** block,
                              qsys_status (*alloc)(int64_t, void**))
{
    constexpr int64_t most = INT64_MAX / static_cast<int64_t>(sizeof(Element));
    if (count < 0 || count > most)
        return QSYS_E_RANGE;
    void** const address = reinterpret_cast<void**>(block);
    const qsys_status status = alloc(count * static_cast<int64_t>(sizeof(Element)), address);
    if (status < 0)
        return status;
    return frame_cleanupRegister(cleanup, QSYS_CLEANUP_MEMORY, address, frame_freeBlock);
}

// The same with unspecified elements, and with zeroed ones.
template <class Element>
qsys_status frame_cleanupAlloc(frame_cleanup* cleanup, int64_t count, Element** block)
{
    return frame_cleanupTake(cleanup, count, block, qsys_memory_alloc_internal);
}

template <class Element>
qsys_status frame_cleanupAllocClear(frame_cleanup* cleanup, int64_t count, Element** block)
{
    return frame_cleanupTake(cleanup, count, block, qsys_memory_allocClear_internal);
}

// Sets aside some bytes at the end of a block that is yet to be taken, on a 64-byte boundary; returns where
// they begin. `size` is that of the block.
inline int64_t frame_setAside(int64_t* size, int64_t bytes)
{
    const int64_t begin = *size;
    *size += (bytes + 63) / 64 * 64;
    return begin;
}

// Ends an operation: releases everything and returns the first negative status met, else `status`.
inline qsys_status frame_cleanupEnd(frame_cleanup* cleanup, qsys_status status)
{
    cleanup->status = status;
    qsys_cleanupExecute_(cleanup->entries, &cleanup->count, &cleanup->status, -1);
    return cleanup->status;
}
