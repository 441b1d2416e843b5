// Faults on demand: an allocator that fails, and an attention handler that says stop.
//
// Both are objects that install themselves and put the default back. At most one of each exists at a time.
#pragma once

#include <qbase/status.h>

#include <cstdint>

// An allocator for all blocks of the base services. It counts the blocks that live and, when armed, fails
// the n-th allocation from then on counted (1 is the next one), alone or with all that follow. Thread-safe.
class test_allocator
{
public:
    test_allocator();
    ~test_allocator();
    test_allocator(const test_allocator&) = delete;
    test_allocator& operator=(const test_allocator&) = delete;

    void arm(int64_t n, bool andAllLater);
    // Allocations succeed again. Returns whether any failed.
    bool disarm();

    // Blocks handed out by this kind of allocator and not released.
    static int64_t liveBlocks();
    // Allocations asked for since the last arm or disarm.
    static int64_t allocations();
    // The greatest size asked for since the last arm or disarm.
    static int64_t largestBlock();
};

// The attention handler of the calling thread. It counts its calls and answers `status` at the n-th call,
// and at all later ones unless it answers once; else 0.
class test_attention
{
public:
    explicit test_attention(int64_t n = 0, qsys_status status = QSYS_E_CANCELLED, bool once = false);
    ~test_attention();
    test_attention(const test_attention&) = delete;
    test_attention& operator=(const test_attention&) = delete;

    int64_t polls() const;

private:
    static qsys_status answer(void* context);

    int64_t failAt_;
    qsys_status status_;
    bool once_;
    int64_t polls_ = 0;
};
