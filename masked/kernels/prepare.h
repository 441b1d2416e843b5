// What the kernels read of a source row and its mask: valid pixels as they are and 0 for the others, and a mask
// of 1 and 0. Which blocks of columns hold both is noted on the way.
#pragma once

#include <cstdint>

template <class Pixel>
struct masked_prepareStep {
    const Pixel* src;
    const uint8_t* mask; // 0 is invalid
    int64_t width;       // at least that of a block
    Pixel* pixels;
    uint8_t* valid;

    // The number of this row, and for each block the last row in which some pixel was invalid, or valid. A
    // block is as many columns as the level's masks are summed in (gauss/box_sums.h); the last one ends with
    // the row and may overlap the one before it.
    int64_t row;
    int64_t* lastInvalid;
    int64_t* lastValid;
};

template <class Pixel>
using masked_prepareKernel = void (*)(const masked_prepareStep<Pixel>* step);
