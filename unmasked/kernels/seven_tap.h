// The inner loops of the path for kernel size 2. A kernel makes a run: some blocks of outputs side by side,
// of a few output rows. The driver (unmasked/seven_tap.cpp) chooses the rows, supplies all borders and
// polls.
//
// Contract of every kernel:
//   Result:  the quotients of unmasked_dividedBy729, bit for bit, without a gain.
//   Reads:   of each fresh row, the eight columns from the first under the kernel of each output: one more than
//            the kernel has.
//   Writes:  all outputs of its blocks in each output row, and the kept sums. Nothing on the heap.
#pragma once

#include <cstdint>

constexpr int64_t unmasked_sevenTapReads = 8;      // columns, for one output
constexpr int64_t unmasked_sevenTapKeptBytes = 12; // kept for each output of a block

// The fresh rows are those that no run before has had; an output row ends with the last row under its
// kernel.
struct unmasked_sevenTapRun {
    const uint8_t*
        source[7];       // the fresh rows, from the first column under the kernel of the first output on
    uint8_t* out[4];     // the output rows, from the first output on
    unsigned char* kept; // sums of the rows before, on a boundary of 32 bytes
    int64_t blocks;      // at least one
    int64_t stepX;       // columns from output to output, as the kernel is made for
    int64_t ahead;       // bytes from an output row to one that a later run writes
    bool round;
};

// What is done with a number of fresh rows. The functions that go on from kept sums take those that the
// function before them has left for the same blocks.
struct unmasked_sevenTapKernel {
    using function = void (*)(const unmasked_sevenTapRun* run);
    int64_t outputs;      // of a block in a row
    function prepare;     // six rows: no output, only the sums to go on from
    function everyRow;    // four rows, which go on and complete one output each
    function everySecond; // four rows, which go on and complete an output with the second and the fourth
    function everyThird;  // three rows, which go on and complete an output with the last
    function alone;       // seven rows for one output, without kept sums
};

struct unmasked_sevenTapKernels {
    unmasked_sevenTapKernel step1;
    unmasked_sevenTapKernel step2;
    unmasked_sevenTapKernel anyStep;
};

// Data, so that nothing of a level runs before it is chosen.
extern const unmasked_sevenTapKernels unmasked_sevenTapKernels256;
