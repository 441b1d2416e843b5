// Faults on demand: an allocator that fails, and an attention handler that says stop.
//
// Both are objects that install themselves and put the default back. At most one of each exists at a time.
#pragma once

#include <qbase/attention.h>
#include <qbase/memory.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>

// An allocator for all blocks of the base services. It counts the blocks that live and, when armed, fails
// the n-th allocation from then on counted (1 is the next one), alone or with all that follow. Thread-safe.
class test_allocator
{
public:
    test_allocator()
    {
        arm(0, false);
        qsys_memory_setAllocator(allocate, release, nullptr);
    }
    ~test_allocator()
    {
        arm(0, false);
        qsys_memory_setAllocator(nullptr, nullptr, nullptr);
    }
    test_allocator(const test_allocator&) = delete;
    test_allocator& operator=(const test_allocator&) = delete;

    // 0 is never.
    void arm(int64_t n, bool andAllLater)
    {
        asked = largest = 0;
        failAt = n;
        failLater = andAllLater;
        fired = false;
    }
    // Allocations succeed again. Returns whether any failed.
    bool disarm()
    {
        const bool result = fired;
        arm(0, false);
        return result;
    }

    // Blocks handed out by this kind of allocator and not released.
    static int64_t liveBlocks()
    {
        return live;
    }
    // The greatest size asked for since the last arm or disarm.
    static int64_t largestBlock()
    {
        return largest;
    }

private:
    static void* allocate(void*, size_t size)
    {
        const int64_t number = ++asked;
        for (int64_t seen = largest; static_cast<int64_t>(size) > seen;)
            if (largest.compare_exchange_weak(seen, static_cast<int64_t>(size)))
                break;
        const int64_t bad = failAt;
        if (bad != 0 && (number == bad || (failLater && number > bad))) {
            fired = true;
            return nullptr;
        }
        void* const block = std::malloc(size ? size : 1);
        live += block != nullptr;
        return block;
    }
    static void release(void*, void* block)
    {
        live -= block != nullptr;
        std::free(block);
    }

    // Blocks may outlive the object that counts them.
    static inline std::atomic<int64_t> live, asked, largest, failAt;
    static inline std::atomic<bool> failLater, fired;
};

// The attention handler of the calling thread. It counts its calls and answers `status` at the n-th call,
// and at all later ones unless it answers once; else 0.
class test_attention
{
public:
    explicit test_attention(int64_t n = 0, qsys_status status = QSYS_E_CANCELLED, bool once = false)
        : failAt_(n), status_(status), once_(once)
    {
        qsys_attention_setHandler(answer, this);
    }
    ~test_attention()
    {
        qsys_attention_setHandler(nullptr, nullptr);
    }
    test_attention(const test_attention&) = delete;
    test_attention& operator=(const test_attention&) = delete;

    int64_t polls() const
    {
        return polls_;
    }

private:
    static qsys_status answer(void* context)
    {
        auto* const self = static_cast<test_attention*>(context);
        ++self->polls_;
        const bool isBeyond = self->polls_ > self->failAt_ && !self->once_;
        return self->failAt_ != 0 && (self->polls_ == self->failAt_ || isBeyond) ? self->status_ : 0;
    }

    int64_t failAt_;
    qsys_status status_;
    bool once_;
    int64_t polls_ = 0;
};
