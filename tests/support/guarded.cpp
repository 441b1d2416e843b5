#include "support/guarded.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <mutex>
#include <new>
#include <vector>

namespace
{

int64_t pageSize()
{
    static const int64_t size = sysconf(_SC_PAGESIZE);
    return size;
}

} // namespace

uint32_t test_pixel(const test_view& view, int64_t x, int64_t y)
{
    const auto* const at =
        static_cast<const unsigned char*>(view.first) + y * view.stride + x * view.pixelSize;
    if (view.pixelSize == 1)
        return *at;
    uint16_t value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

test_layout test_randomLayout(test_random* random, int64_t width, int64_t height, int32_t pixelSize)
{
    test_layout layout = {static_cast<int32_t>(width), static_cast<int32_t>(height), pixelSize};
    layout.fence = static_cast<test_fence>(test_randomInt(random, 0, 2));
    layout.shift = test_chance(random, 50) ? 0 : pixelSize * test_randomInt(random, 0, 31);
    layout.gap = pixelSize * test_randomInt(random, 0, 40);
    layout.upward = test_chance(random, 25);
    return layout;
}

// Bodies of readable pages with one forbidden page before, between and behind them. Arenas are never
// unmapped but kept for the next image: laying out thousands of small images then costs no system call.
struct test_pixels::arena {
    unsigned char* memory;
    int64_t bodyBytes;
    int64_t bodyCount;
    bool used;

    unsigned char* body(int64_t index) const
    {
        return memory + pageSize() + index * (bodyBytes + pageSize());
    }

    static arena* acquire(int64_t bytes, int64_t count);
    static void release(arena* arena);
    static arena* create(int64_t bodyBytes, int64_t bodyCount);
};

namespace
{

std::mutex arenasMutex;

} // namespace

test_pixels::arena* test_pixels::arena::create(int64_t bodyBytes, int64_t bodyCount)
{
    const auto total = static_cast<size_t>(pageSize() + bodyCount * (bodyBytes + pageSize()));
    void* const memory = mmap(nullptr, total, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        throw std::bad_alloc();
    auto* const made = new arena{static_cast<unsigned char*>(memory), bodyBytes, bodyCount, false};
    for (int64_t i = 0; i < bodyCount; ++i)
        if (mprotect(made->body(i), static_cast<size_t>(bodyBytes), PROT_READ | PROT_WRITE) != 0)
            throw std::bad_alloc();
    return made;
}

test_pixels::arena* test_pixels::arena::acquire(int64_t bytes, int64_t count)
{
    static std::vector<arena*>& all = *new std::vector<arena*>;
    const std::lock_guard<std::mutex> lock(arenasMutex);
    const int64_t bodyBytes = (std::max<int64_t>(bytes, 1) + pageSize() - 1) / pageSize() * pageSize();
    const auto bodyCount =
        static_cast<int64_t>(std::bit_ceil(static_cast<uint64_t>(std::max<int64_t>(count, 1))));
    auto found = std::find_if(all.begin(), all.end(), [&](const arena* candidate) {
        return !candidate->used && candidate->bodyBytes == bodyBytes && candidate->bodyCount == bodyCount;
    });
    if (found == all.end()) {
        all.push_back(create(bodyBytes, bodyCount));
        found = all.end() - 1;
    }
    (*found)->used = true;
    return *found;
}

void test_pixels::arena::release(arena* arena)
{
    const std::lock_guard<std::mutex> lock(arenasMutex);
    arena->used = false;
}

test_pixels::test_pixels(const test_layout& layout)
    : layout_(layout), rowBytes_(int64_t{layout.width} * layout.pixelSize)
{
    if (layout_.fence == test_fence::block) {
        stride_ = rowBytes_ + layout_.gap;
        arena_ = arena::acquire(stride_ * layout_.height + layout_.shift, 1);
    } else {
        arena_ = arena::acquire(rowBytes_ + layout_.shift, layout_.height);
        stride_ = arena_->bodyBytes + pageSize();
    }
    const int64_t bodies = layout_.fence == test_fence::block ? 1 : layout_.height;
    for (int64_t i = 0; i < bodies; ++i)
        std::memset(arena_->body(i), test_canary, static_cast<size_t>(arena_->bodyBytes));
}

test_pixels::~test_pixels()
{
    arena::release(arena_);
}

unsigned char* test_pixels::rowInMemory(int64_t index) const
{
    switch (layout_.fence) {
    case test_fence::rowStarts:
        return arena_->body(index) + layout_.shift;
    case test_fence::rowEnds:
        return arena_->body(index) + arena_->bodyBytes - layout_.shift - rowBytes_;
    case test_fence::block:
        break;
    }
    const int64_t rowsBehind = layout_.height - 1 - index;
    return arena_->body(0) + arena_->bodyBytes - layout_.shift - rowBytes_ - rowsBehind * stride_;
}

unsigned char* test_pixels::row(int64_t y) const
{
    return rowInMemory(layout_.upward ? layout_.height - 1 - y : y);
}

void* test_pixels::first() const
{
    return row(0);
}

int32_t test_pixels::stride() const
{
    return static_cast<int32_t>(layout_.upward ? -stride_ : stride_);
}

test_view test_pixels::view() const
{
    return {first(), stride(), layout_.width, layout_.height, layout_.pixelSize};
}

void test_pixels::set(int64_t x, int64_t y, uint32_t value)
{
    const auto value16 = static_cast<uint16_t>(value);
    if (layout_.pixelSize == 1)
        row(y)[x] = static_cast<unsigned char>(value);
    else
        std::memcpy(row(y) + 2 * x, &value16, sizeof value16);
}

std::string test_pixels::damage() const
{
    // The rows that lie in one body, and the stretches of canaries before, between and behind them.
    const bool isBlock = layout_.fence == test_fence::block;
    const int64_t rows = isBlock ? layout_.height : 1;
    for (int64_t body = 0; body < (isBlock ? 1 : layout_.height); ++body) {
        const int64_t first = isBlock ? 0 : body;
        const unsigned char* at = arena_->body(body);
        for (int64_t i = first; i <= first + rows; ++i) {
            const bool isLast = i == first + rows;
            const unsigned char* const end =
                isLast ? arena_->body(body) + arena_->bodyBytes : rowInMemory(i);
            const auto* const bad = std::find_if(at, end, [](unsigned char c) { return c != test_canary; });
            if (bad != end)
                return isLast ? std::to_string(bad - at) + " bytes behind the end of row " +
                                    std::to_string(i - 1)
                              : std::to_string(end - bad) + " bytes before row " + std::to_string(i);
            at = end + rowBytes_;
        }
    }
    return {};
}
