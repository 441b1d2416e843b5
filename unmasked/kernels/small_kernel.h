// The inner loops for the weights 1 3 3 1 in both directions: a sweep makes several output rows, over their
// whole width. The driver (unmasked/small_kernel.cpp) chooses the rows, supplies those above and below the
// source, polls and takes memory; the kernel supplies the columns left and right of the source.
#pragma once

#include <cstdint>

constexpr int unmasked_smallMostRows = 8; // output rows of one sweep
constexpr int unmasked_smallMostSourceRows = 3 * (unmasked_smallMostRows - 1) + 4;
constexpr int64_t unmasked_smallMostOutside = 4; // columns that kernels reach beyond either end of a row

// A sweep, with the sampling factors stepX and stepY, 1 .. 3, of the kernel that runs it.
//
// Result:  pixel i of out[j] is the sum, weighted with 1 3 3 1 in both directions, of the four columns from
//          firstColumn + stepX * i on of source[stepY * j] .. source[stepY * j + 3], divided by 64: rounded
//          down, or to the nearest number, half up.
// Border:  reflection with the edge repeated, for at most unmasked_smallMostOutside columns on either side.
// Reads:   columns 0 .. srcWidth - 1 of the source rows, and nothing else, since images end at page ends.
// Writes:  columns 0 .. columns - 1 of the output rows. These do not overlap the source rows.
struct unmasked_smallSweep {
    int64_t srcWidth; // unmasked_smallMostOutside and up
    int64_t firstColumn;
    int64_t columns; // 1 and up
    int rows;        // 1 .. unmasked_smallMostRows
    const uint8_t* source[unmasked_smallMostSourceRows];
    uint8_t* out[unmasked_smallMostRows];
};

struct unmasked_smallKernels {
    void (*run[2][3][3])(const unmasked_smallSweep* sweep); // [rounds][stepY - 1][stepX - 1]
};

// Data, so that nothing of a level runs before it is chosen.
extern const unmasked_smallKernels unmasked_smallKernels256;
