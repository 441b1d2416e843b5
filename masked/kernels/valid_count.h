// The inner loops of masked/valid_count.h, each at one processor level. Nothing is read or written but what
// is named here.
#pragma once

#include <cstdint>

// Bytes, or numbers, that a kernel may read and write beyond what it works on: a register of any level.
constexpr int64_t masked_countSpare = 64;

// The test of one row. Sums along the row fit 16 bits.
struct masked_countTest {
    // The number of valid pixels down each of the columns that the footprints cover, borders included,
    // first column of the first footprint first. There are masked_countSpare bytes behind them.
    const uint8_t* counts;
    int64_t covered;
    uint16_t* sums; // for the kernel's own use: covered + 1 + masked_countSpare numbers
    int64_t reach;  // columns of a footprint
    int64_t step;   // columns from a footprint to the next
    int64_t outputs;
    uint16_t threshold; // at least 1
    uint8_t* out;
};

struct masked_countKernels {
    // counts[x] += valid(entering[x]) - valid(leaving[x]), modulo 256, for 0 <= x < width. A byte is 0 or 1
    // and says so itself, or its top bit says it.
    void (*changeByValue)(const uint8_t* entering, const uint8_t* leaving, int64_t width, uint8_t* counts);
    void (*changeByTopBit)(const uint8_t* entering, const uint8_t* leaving, int64_t width, uint8_t* counts);

    // out[i] = 255 where the footprint from column i * step on holds at least `threshold` valid pixels,
    // else 0.
    void (*test)(const masked_countTest* test);
};

extern const masked_countKernels masked_countKernelsPortable;
extern const masked_countKernels masked_countKernels128;
extern const masked_countKernels masked_countKernels256;
