#include "support/faults.h"

#include <qbase/attention.h>
#include <qbase/memory.h>

#include <atomic>
#include <cstdlib>

namespace
{

// Blocks may outlive the object that counts them, so the counts live here.
std::atomic<int64_t> live{0};
std::atomic<int64_t> asked{0};
std::atomic<int64_t> largest{0};
std::atomic<int64_t> failAt{0}; // 0: never
std::atomic<bool> failLater{false};
std::atomic<bool> fired{false};

void* allocate(void*, size_t size)
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
    if (block)
        ++live;
    return block;
}

void release(void*, void* block)
{
    if (block)
        --live;
    std::free(block);
}

void set(int64_t n, bool andAllLater)
{
    asked = 0;
    largest = 0;
    failAt = n;
    failLater = andAllLater;
    fired = false;
}

} // namespace

test_allocator::test_allocator()
{
    set(0, false);
    qsys_memory_setAllocator(allocate, release, nullptr);
}

test_allocator::~test_allocator()
{
    set(0, false);
    qsys_memory_setAllocator(nullptr, nullptr, nullptr);
}

void test_allocator::arm(int64_t n, bool andAllLater)
{
    set(n, andAllLater);
}

bool test_allocator::disarm()
{
    const bool result = fired;
    set(0, false);
    return result;
}

int64_t test_allocator::liveBlocks()
{
    return live;
}

int64_t test_allocator::allocations()
{
    return asked;
}

int64_t test_allocator::largestBlock()
{
    return largest;
}

test_attention::test_attention(int64_t n, qsys_status status, bool once)
    : failAt_(n), status_(status), once_(once)
{
    qsys_attention_setHandler(answer, this);
}

test_attention::~test_attention()
{
    qsys_attention_setHandler(nullptr, nullptr);
}

int64_t test_attention::polls() const
{
    return polls_;
}

qsys_status test_attention::answer(void* context)
{
    auto* const self = static_cast<test_attention*>(context);
    ++self->polls_;
    const bool isBeyond = self->polls_ > self->failAt_ && !self->once_;
    return self->failAt_ != 0 && (self->polls_ == self->failAt_ || isBeyond) ? self->status_ : 0;
}
