// The exact sums of the cube of a box: down the columns of an image, and along the rows of what comes out.
// The kernels of each processor level make the first, as said here; gauss/box_along.h makes the second,
// inside the kernels that make something of the sums.
//
// Rows are made in groups. The rows of a group stand side by side in the lanes of a register, so that going
// along the rows is an operation on registers. The sums down the columns are an array with as many numbers
// for each column as the level has lanes.
//
// With n the box width and x(p) the data at position p, both directions integrate the third difference
//     x(p) - 3 x(p - n) + 3 x(p - 2n) - x(p - 3n)
// three times. What comes out at p is the sum whose last tap is p. The cost does not depend on n.
#pragma once

#include <cstdint>

constexpr int64_t gauss_mostBoxLanes = 8;

// The widest box down the columns. For 8-bit pixels: with it the first integrator, a second difference of
// the sums of n pixels that is below 2 n 256 in size, still fits 16 bits. For 16-bit pixels: the sums still
// fit 32 bits.
template <class Pixel>
constexpr int64_t gauss_mostBoxDown = sizeof(Pixel) == 1 ? 64 : 40;

// The widest box down the columns with which a third difference of sums, below 8 times the greatest sum in
// size, fits 32 bits as a signed number.
template <class Pixel>
constexpr int64_t gauss_mostBoxSigned = sizeof(Pixel) == 1 ? 64 : 16;

// Which of the positions from the next one on complete an output. All counts are at least 1.
struct gauss_boxOutputs {
    int64_t first; // the first output is complete after this many positions
    int64_t step;  // the others after as many more each
    int64_t count;
};

// Down the columns: adds source rows to the integrators of some blocks of columns and stores what comes out
// for each output row of a group.
template <class Pixel>
struct gauss_boxDown {
    // The rows from the next one on; rows[-1], rows[-2], ... are those before, 3 n of them. Rows without
    // data are rows of zeros.
    const Pixel* const* rows;
    int64_t width; // of the rows
    int64_t box;
    gauss_boxOutputs
        outputs; // at most as many as the level has lanes; what the other lanes get is unspecified

    // A block is as many columns as the level says. The last one ends with the row and may overlap the one
    // before it, so that no load leaves a row.
    int64_t firstBlock;
    int64_t blocks;

    // Of all blocks, on a 64-byte boundary, zeroed before the first row. The state of a block ends with its
    // third integrators, 32 bits for each column. After 3 n rows of pixels of one value these are n^3 times
    // the value, and the rest is 0.
    unsigned char* state;
    uint32_t* sums; // of the first column of firstBlock; there is room for a block before it
};

// Along the rows, from one column to the next: where a group stands. gauss/box_along.h goes on from here.
struct gauss_alongState {
    // The sums of the next column; those of the 3 n columns before it stand before it.
    const uint32_t* column;
    int64_t box;

    // Three integrators, one after the other, each with a number for every row: uint32_t where all sums fit
    // these, else uint64_t. They begin at 0; what the third one begins at is part of all sums.
    alignas(32) unsigned char integrators[3 * gauss_mostBoxLanes * sizeof(uint64_t)];
};

template <class Pixel>
struct gauss_downKernel {
    int64_t blockColumns; // the rows have at least as many columns
    int64_t blockState;   // bytes
    void (*run)(const gauss_boxDown<Pixel>* step);
};

// The kernels of one level.
struct gauss_boxKernels {
    int64_t lanes;
    gauss_downKernel<uint8_t> down8;
    gauss_downKernel<uint16_t> down16;
};

extern const gauss_boxKernels gauss_boxKernels128;
extern const gauss_boxKernels gauss_boxKernels256;
