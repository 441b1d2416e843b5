// The exact sums of the cube of a box, down the columns of an image and along the rows of what comes out, on
// registers of lanes. This is what the kernels of every processor level promise and what the fast paths of
// the family call.
//
// Rows are made in groups. The rows of a group stand side by side in the lanes of a register, so that a
// recurrence along the row is an operation on registers. A row of sums of a group is an array in which each
// column has as many numbers as the group has rows.
//
// With n the box width and x(p) the data at position p, both directions integrate the third difference
//     x(p) - 3 x(p - n) + 3 x(p - 2n) - x(p - 3n)
// three times. What comes out at p is the sum whose last tap is p. The cost does not depend on n.
#pragma once

#include <cstdint>

constexpr int64_t gauss_mostBoxLanes = 8;

// The widest box down the columns: with it the first integrator, a second difference of the sums of n pixels
// that is below 2 n 256 in size, still fits 16 bits, and the sums fit 26 bits.
constexpr int64_t gauss_mostBoxDown = 64;

// Which of the positions from the next one on complete an output. All counts are at least 1.
struct gauss_boxOutputs {
    int64_t first; // the first output is complete after this many positions
    int64_t step;  // the others after as many more each
    int64_t count;
};

// Down the columns: adds source rows to the integrators of some blocks of columns and gives the sums of the
// group's outputs.
struct gauss_boxDown {
    // The rows from the next one on; rows[-1], rows[-2], ... are those before, 3 n of them. Rows without data
    // are rows of zeros.
    const uint8_t* const* rows;
    int64_t width; // of the rows
    int64_t box;
    gauss_boxOutputs outputs; // at most the lanes of the level

    // A block is as many columns as the level says. The last one ends with the row and may overlap the one
    // before it, so that no load leaves a row.
    int64_t firstBlock;
    int64_t blocks;
    unsigned char* state; // of all blocks, on a 64-byte boundary, zeroed before the first row
    uint32_t* sums;       // column 0
};

// Along the rows, from one column to the next.
struct gauss_boxAlong {
    // The sums of the next column; those of the 3 n columns before it stand before it.
    const uint32_t* columns;
    int64_t box;
    gauss_boxOutputs outputs;
    alignas(32) unsigned char integrators[3 * gauss_mostBoxLanes * sizeof(uint64_t)];
    void* sums; // of the outputs, one after the other: uint32_t or uint64_t
};

// The kernels of one level.
struct gauss_boxKernels {
    int64_t lanes;
    int64_t blockColumns; // the rows have at least as many columns
    int64_t blockState;   // bytes
    void (*down)(const gauss_boxDown* step);

    // Sets the integrators of a new row: the last one starts at a value that all of its sums include.
    // (uint32_t sums: modulo 2^32.)
    void (*start32)(gauss_boxAlong* step, uint64_t last);
    void (*start64)(gauss_boxAlong* step, uint64_t last);

    // Add columns up to the last output. Sums that fit 32 bits, and sums that fit 63.
    void (*along32)(gauss_boxAlong* step);
    void (*along64)(gauss_boxAlong* step);
};

extern const gauss_boxKernels gauss_boxKernelsSse41;
extern const gauss_boxKernels gauss_boxKernelsAvx2;
