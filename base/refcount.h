// An intrusive reference count for objects shared by handles, also across threads.
//
// The count is a field of the object and starts at one owner. Copying a handle calls retain; letting go
// calls releaseIsLast, and whoever is told true destroys the object: everything that other owners did to it
// before letting go has happened by then.
#pragma once

#include <atomic>
#include <cstdint>

// 64 bits: no program can hold enough handles to wrap it.
struct base_refcount {
    std::atomic<int64_t> owners{1};
};

inline void base_refcount_retain(base_refcount* count)
{
    // A new owner is made from an existing one, which keeps the object alive: no ordering is needed.
    count->owners.fetch_add(1, std::memory_order_relaxed);
}

[[nodiscard]] inline bool base_refcount_releaseIsLast(base_refcount* count)
{
    return count->owners.fetch_sub(1, std::memory_order_acq_rel) == 1;
}
