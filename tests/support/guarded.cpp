#include "support/guarded.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <mutex>
#include <new>

namespace
{

std::mutex sparesMutex;

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

// Arenas are never unmapped but kept for the next image: laying out thousands of small images then costs no
// system call.
std::vector<test_pixels::arena>& test_pixels::spareArenas()
{
    static auto& all = *new std::vector<arena>;
    return all;
}

unsigned char* test_pixels::arena::body(int64_t index) const
{
    return memory + pageSize() + index * (bodyBytes + pageSize());
}

test_pixels::arena test_pixels::takeArena(int64_t bytes, int64_t count)
{
    arena made = {nullptr, (std::max<int64_t>(bytes, 1) + pageSize() - 1) / pageSize() * pageSize(),
                  static_cast<int64_t>(std::bit_ceil(static_cast<uint64_t>(std::max<int64_t>(count, 1))))};
    {
        const std::lock_guard<std::mutex> lock(sparesMutex);
        std::vector<arena>& spares = spareArenas();
        const auto found = std::find_if(spares.begin(), spares.end(), [&](const arena& spare) {
            return spare.bodyBytes == made.bodyBytes && spare.bodyCount == made.bodyCount;
        });
        if (found != spares.end()) {
            made = *found;
            *found = spares.back();
            spares.pop_back();
            return made;
        }
    }
    const auto total = static_cast<size_t>(pageSize() + made.bodyCount * (made.bodyBytes + pageSize()));
    void* const memory = mmap(nullptr, total, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        throw std::bad_alloc();
    made.memory = static_cast<unsigned char*>(memory);
    for (int64_t i = 0; i < made.bodyCount; ++i)
        if (mprotect(made.body(i), static_cast<size_t>(made.bodyBytes), PROT_READ | PROT_WRITE) != 0)
            throw std::bad_alloc();
    return made;
}

test_pixels::test_pixels(const test_layout& layout)
    : layout_(layout), rowBytes_(int64_t{layout.width} * layout.pixelSize),
      rowsInBody_(layout.fence == test_fence::block ? std::max(layout.height, 1) : 1)
{
    const bool isBlock = layout_.fence == test_fence::block;
    stride_ = rowBytes_ + layout_.gap;
    arena_ = takeArena((isBlock ? stride_ * layout_.height : rowBytes_) + layout_.shift,
                       isBlock ? 1 : layout_.height);
    if (!isBlock)
        stride_ = arena_.bodyBytes + pageSize();
    for (int64_t i = 0; i < layout_.height; i += rowsInBody_)
        std::memset(arena_.body(i / rowsInBody_), test_canary, static_cast<size_t>(arena_.bodyBytes));
}

test_pixels::~test_pixels()
{
    const std::lock_guard<std::mutex> lock(sparesMutex);
    spareArenas().push_back(arena_);
}

unsigned char* test_pixels::rowInMemory(int64_t index) const
{
    unsigned char* const body = arena_.body(index / rowsInBody_);
    if (layout_.fence == test_fence::rowStarts)
        return body + layout_.shift;
    const int64_t rowsBehind = rowsInBody_ - 1 - index % rowsInBody_;
    return body + arena_.bodyBytes - layout_.shift - rowBytes_ - rowsBehind * stride_;
}

unsigned char* test_pixels::row(int64_t y) const
{
    return rowInMemory(layout_.upward ? layout_.height - 1 - y : y);
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
    // In every body the stretches of canaries before, between and behind its rows.
    for (int64_t first = 0; first < layout_.height; first += rowsInBody_) {
        const unsigned char* at = arena_.body(first / rowsInBody_);
        const unsigned char* const bodyEnd = at + arena_.bodyBytes;
        for (int64_t i = first; i <= first + rowsInBody_; ++i) {
            const bool isLast = i == first + rowsInBody_;
            const unsigned char* const end = isLast ? bodyEnd : rowInMemory(i);
            // All bytes are the first one.
            if (at < end &&
                (*at != test_canary || std::memcmp(at, at + 1, static_cast<size_t>(end - at) - 1) != 0))
                return (isLast ? "behind the last row before " : "before ") + std::to_string(i);
            at = end + rowBytes_;
        }
    }
    return {};
}
