// The inner loops of masked smoothing with kernel sizes of at most 2: weighted sums of rows, then of columns,
// and pixels made of these. The weights of kernel sizes 0, 1 and 2, which are boxes of 1, 2 and 3, are
//     1        1 3 3 1        1 3 6 7 6 3 1
#pragma once

#include "masked/kernels/pixels.h"

constexpr int64_t masked_mostShortBox = 3;
constexpr int64_t masked_mostShortReach = 7;

// Rows of outputs that are made at once.
constexpr int64_t masked_shortRows = 2;

// Some columns of rows of source or mask, summed down the columns for two rows of outputs: the first one from
// the first row on, the second one from the second row on.
template <class Pixel, class Sum>
struct masked_shortDown {
    const Pixel* rows[masked_mostShortReach + 1]; // one more than come under a kernel
    // Columns are summed a register at a time; the last one ends before `end` and may overlap columns before
    // it, even those before `first`. There are at least as many columns before `end` as a register has bytes.
    int64_t first;
    int64_t end;
    Sum* sums[masked_shortRows]; // of column 0
};
template <class Pixel, class Sum>
using masked_shortDownKernel = void (*)(const masked_shortDown<Pixel, Sum>* step);

// Some outputs of one row, at least as many as a register has bytes.
template <class Sum>
struct masked_shortAlong {
    const Sum* source; // that of the first column under the first output; one more is read than is needed
    const Sum* mask;   // not looked at where all outputs are full
    int64_t outputs;
    void* pixels;
    const masked_pixelNumbers* numbers;
};
template <class Sum>
using masked_shortAlongKernel = void (*)(const masked_shortAlong<Sum>* step);

// For outputs that are all full, and for any.
template <class Sum>
struct masked_shortPair {
    masked_shortAlongKernel<Sum> full;
    masked_shortAlongKernel<Sum> mixed;
};

// What smoothes pixels of one type into others, by the box less 1. The mask has sums like those of the source.
template <class Src, class Sum>
struct masked_shortKernels {
    masked_shortDownKernel<Src, Sum> source[masked_mostShortBox];
    masked_shortDownKernel<uint8_t, Sum> mask[masked_mostShortBox];
    masked_shortPair<Sum> pixels[masked_ways][masked_mostShortBox];
};

// Sums down the columns have 13 bits for 8-bit pixels, 21 for 16-bit ones.
template <class Src>
struct masked_shortSum;
template <>
struct masked_shortSum<uint8_t> {
    using type = uint16_t;
};
template <>
struct masked_shortSum<uint16_t> {
    using type = uint32_t;
};

// From 8 to 8 bits, from 8 to 16, from 16 to 16.
struct masked_shortTables {
    masked_shortKernels<uint8_t, uint16_t> from8To8;
    masked_shortKernels<uint8_t, uint16_t> from8To16;
    masked_shortKernels<uint16_t, uint32_t> from16To16;
};
