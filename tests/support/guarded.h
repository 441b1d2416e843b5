// Pixel memory that catches a kernel that reaches too far.
//
// Every row can lie against pages that nobody may touch, so that one byte too far, read or written, ends
// the process at once; everything else around the rows is filled with canaries, so that a stray write that
// meets no such page is found afterwards.
#pragma once

#include "support/random.h"

#include <cstdint>
#include <string>
#include <vector>

// Pixels for reading, wherever they lie. Pixel (x, y) is at first + y * stride + x * pixelSize.
struct test_view {
    const void* first;
    int64_t stride;
    int32_t width;
    int32_t height;
    int32_t pixelSize;
};

uint32_t test_pixel(const test_view& view, int64_t x, int64_t y);

// What lies against forbidden pages.
enum class test_fence {
    rowEnds,   // the end of every row
    rowStarts, // the start of every row
    block,     // the end of the last row only; rows follow each other with `gap` bytes between them
};

struct test_layout {
    int32_t width;
    int32_t height;
    int32_t pixelSize;
    test_fence fence = test_fence::rowEnds;
    int32_t shift = 0;   // bytes between the pixels and what they are laid against: any alignment
    int32_t gap = 0;     // test_fence::block: bytes between rows
    bool upward = false; // negative stride: row 0 is the last one in memory
};

// Memory of any shape against forbidden pages, half of it aligned.
test_layout test_randomLayout(test_random* random, int64_t width, int64_t height, int32_t pixelSize);

constexpr unsigned char test_canary = 0x99;

// The memory of one image, all canaries at first, the pixels too. Widths and heights of 0 are accepted.
class test_pixels
{
public:
    explicit test_pixels(const test_layout& layout);
    ~test_pixels();
    test_pixels(const test_pixels&) = delete;
    test_pixels& operator=(const test_pixels&) = delete;

    unsigned char* row(int64_t y) const;
    void* first() const
    {
        return row(0);
    }
    int32_t stride() const
    {
        return static_cast<int32_t>(layout_.upward ? -stride_ : stride_);
    }
    test_view view() const
    {
        return {first(), stride(), layout_.width, layout_.height, layout_.pixelSize};
    }
    void set(int64_t x, int64_t y, uint32_t value);

    // What was written outside the pixels: empty when nothing was, else where.
    std::string damage() const;

private:
    // Bodies of readable pages with one forbidden page before, between and behind them.
    struct arena {
        unsigned char* memory;
        int64_t bodyBytes;
        int64_t bodyCount;

        unsigned char* body(int64_t index) const;
    };

    static std::vector<arena>& spareArenas();
    static arena takeArena(int64_t bytes, int64_t count);
    unsigned char* rowInMemory(int64_t index) const;

    test_layout layout_;
    int64_t rowBytes_;
    int64_t rowsInBody_; // all of them with test_fence::block, else one
    int64_t stride_;
    arena arena_;
};
