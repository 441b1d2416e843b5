// Blocks, row buffers and the texts of statuses.
#include "support/faults.h"

#include <qbase/memory.h>
#include <qbase/vector.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace
{

// An allocator of dirty memory that is aligned as badly as malloc's may be, and knows its own blocks.
struct DirtyAllocator {
    std::set<void*> blocks;
    int foreign = 0; // blocks released here that came from elsewhere

    static void* alloc(void* context, size_t size)
    {
        auto* const self = static_cast<DirtyAllocator*>(context);
        auto* const start = static_cast<char*>(std::malloc(size + alignof(std::max_align_t)));
        std::memset(start, 0xaa, size + alignof(std::max_align_t));
        char* const block = start + alignof(std::max_align_t);
        self->blocks.insert(block);
        return block;
    }
    static void release(void* context, void* block)
    {
        auto* const self = static_cast<DirtyAllocator*>(context);
        self->foreign += self->blocks.erase(block) == 0;
        std::free(static_cast<char*>(block) - alignof(std::max_align_t));
    }
};

// An allocator that knows its context.
template <int N>
struct TaggedAllocator {
    static inline int tag;
    static inline std::atomic<int> wrong;

    static void* alloc(void* context, size_t size)
    {
        wrong += context != &tag;
        return std::malloc(size);
    }
    static void release(void* context, void* block)
    {
        wrong += context != &tag;
        std::free(block);
    }
    static void install()
    {
        qsys_memory_setAllocator(alloc, release, &tag);
    }
};

using Alloc = qsys_status (*)(int64_t, void**);
constexpr Alloc allForms[] = {qsys_memory_alloc_internal, qsys_memory_allocClear_internal,
                              qsys_memory_alloc64_internal};

bool isZero(const void* block, int64_t size)
{
    const auto* const bytes = static_cast<const unsigned char*>(block);
    return std::all_of(bytes, bytes + size, [](unsigned char byte) { return byte == 0; });
}

} // namespace

TEST(Memory, BlocksAreAlignedAndWholeAndClear)
{
    DirtyAllocator dirty;
    for (const bool installed : {false, true}) {
        if (installed)
            qsys_memory_setAllocator(DirtyAllocator::alloc, DirtyAllocator::release, &dirty);
        for (const Alloc alloc : allForms)
            for (const int64_t size : {0, 1, 63, 64, 65, 100000}) {
                void* block = nullptr;
                ASSERT_EQ(alloc(size, &block), QSYS_OK);
                ASSERT_NE(block, nullptr);
                EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % 64, 0u);
                EXPECT_TRUE(alloc != qsys_memory_allocClear_internal || isZero(block, size)) << size;
                std::memset(block, 0xff, static_cast<size_t>(size));
                EXPECT_EQ(qsys_memory_free_internal(&block), QSYS_OK);
                EXPECT_EQ(block, nullptr);
            }
    }
    EXPECT_TRUE(dirty.blocks.empty());
    qsys_memory_setAllocator(nullptr, nullptr, nullptr);
}

TEST(Memory, RefusesSizesThatCannotBe)
{
    for (const Alloc alloc : allForms) {
        for (const int64_t size : {int64_t{-1}, INT64_MIN, INT64_MAX, INT64_MAX - 64}) {
            int something = 0;
            void* block = &something;
            EXPECT_EQ(alloc(size, &block), QSYS_E_RANGE) << size;
            EXPECT_EQ(block, nullptr);
        }
    }
    EXPECT_EQ(qxfMalloc(-1), nullptr);
    qxfFree(nullptr);
    void* none = nullptr;
    EXPECT_EQ(qsys_memory_free_internal(&none), QSYS_OK);
}

TEST(Memory, ABlockReturnsToItsOwnAllocator)
{
    DirtyAllocator first;
    DirtyAllocator second;
    void* blocks[3] = {};
    qsys_memory_setAllocator(DirtyAllocator::alloc, DirtyAllocator::release, &first);
    blocks[0] = qxfMalloc(10);
    qsys_memory_setAllocator(DirtyAllocator::alloc, DirtyAllocator::release, &second);
    blocks[1] = qxfMalloc(10);
    // Half an allocator is refused, and the one installed stays.
    EXPECT_EQ(qsys_memory_setAllocator(DirtyAllocator::alloc, nullptr, &first), QSYS_E_ARGUMENT);
    EXPECT_EQ(qsys_memory_setAllocator(nullptr, DirtyAllocator::release, &first), QSYS_E_ARGUMENT);
    blocks[2] = qxfMalloc(10);
    qsys_memory_setAllocator(nullptr, nullptr, nullptr);

    EXPECT_EQ(first.blocks.size(), 1u);
    EXPECT_EQ(second.blocks.size(), 2u);
    for (void* const block : blocks)
        qxfFree(block);
    EXPECT_TRUE(first.blocks.empty() && second.blocks.empty());
    EXPECT_EQ(first.foreign + second.foreign, 0);
}

// The thread sanitizer watches; a mixture of two allocators' fields is counted.
TEST(Memory, TheAllocatorMayChangeWhileOthersAllocate)
{
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t)
        threads.emplace_back([] {
            for (int i = 0; i < 2000; ++i) {
                void* const block = qxfMalloc(i);
                ASSERT_NE(block, nullptr);
                std::memset(block, i, static_cast<size_t>(i));
                qxfFree(block);
            }
        });
    for (int t = 0; t < 2; ++t)
        threads.emplace_back([] {
            for (int i = 0; i < 2000; ++i) {
                TaggedAllocator<0>::install();
                TaggedAllocator<1>::install();
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    qsys_memory_setAllocator(nullptr, nullptr, nullptr);
    EXPECT_EQ(TaggedAllocator<0>::wrong + TaggedAllocator<1>::wrong, 0);
}

TEST(Memory, CopiesAndFills)
{
    unsigned char from[4] = {1, 2, 3, 4};
    unsigned char to[4] = {9, 9, 9, 9};
    EXPECT_EQ(qsys_memory_copy(from, to, 3), QSYS_OK);
    EXPECT_EQ(qsys_memory_fill(to, 2, 0x1234), QSYS_OK);
    EXPECT_EQ(std::memcmp(to, "\x34\x34\x03\x09", 4), 0);
    EXPECT_EQ(qsys_memory_copy(nullptr, nullptr, 0), QSYS_OK);
    EXPECT_EQ(qsys_memory_fill(nullptr, 0, 1), QSYS_OK);
    EXPECT_EQ(qsys_memory_copy(from, to, -1), QSYS_E_RANGE);
    EXPECT_EQ(qsys_memory_fill(to, INT64_MIN, 1), QSYS_E_RANGE);
    // Rectangles at the ends of their ranges; rows are copied wherever windows are.
    EXPECT_EQ(qsys_memory_copyRect(1, 1, INT64_MAX, INT64_MIN, from, to), QSYS_OK);
    EXPECT_EQ(to[0], 1);
    EXPECT_EQ(qsys_memory_copyRect(INT64_MIN, INT64_MAX, 1, 1, nullptr, nullptr), QSYS_OK);
}

TEST(Vector, HoldsItsElements)
{
    const auto check = [](auto vector, auto value, auto construct, auto getBeginEnd, auto destruct) {
        decltype(value)*begin = nullptr, *end = nullptr;
        ASSERT_EQ(construct(&vector, 33, value), QSYS_OK);
        ASSERT_EQ(getBeginEnd(&vector, &begin, &end), QSYS_OK);
        EXPECT_EQ(std::vector(begin, end), std::vector(33, value));
        for (int i = 0; i < 2; ++i)
            EXPECT_EQ(destruct(&vector), QSYS_OK);
    };
    check(qstd_vector16(), uint16_t{0xabcd}, qstd_vector16_constructFill, qstd_vector16_getBeginEnd,
          qstd_vector16_destruct);
    check(qstd_vector32(), uint32_t{0x89abcdef}, qstd_vector32_constructFill, qstd_vector32_getBeginEnd,
          qstd_vector32_destruct);
}

TEST(Vector, AFailureLeavesZeros)
{
    const qstd_vector32 garbage = {reinterpret_cast<uint32_t*>(8), 5};
    qstd_vector32 vector = garbage;
    // The last one wraps to a small number of bytes when it is not checked.
    for (const int64_t count : {int64_t{-1}, INT64_MAX / 4, INT64_MAX / 2 + 2}) {
        vector = garbage;
        EXPECT_EQ(qstd_vector32_constructFill(&vector, count, 1), QSYS_E_RANGE) << count;
        EXPECT_TRUE(isZero(&vector, sizeof vector));
    }
    test_allocator allocator;
    allocator.arm(1, false);
    vector = garbage;
    EXPECT_EQ(qstd_vector32_constructFill(&vector, 10, 1), QSYS_E_MEMORY);
    EXPECT_TRUE(isZero(&vector, sizeof vector));
}

TEST(Status, EachCodeHasATextOfItsOwnAndNoneAsksForTheFallback)
{
    std::set<std::string> texts;
    for (int low = 0; low <= 0xffff; ++low)
        if (const std::string text = qsys_status_text(QSYS_FAILURE(low)); text != "unknown status") {
            EXPECT_NE(low & 0xffe0, 0x0600) << text;
            EXPECT_TRUE(texts.insert(text).second) << text;
        }
    EXPECT_GE(texts.size(), 15u);
    EXPECT_STREQ(qsys_status_text(INT32_MAX), "success");
}
