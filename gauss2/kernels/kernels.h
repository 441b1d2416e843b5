// The inner loops of the fast filters, each at one processor level. A kernel makes whole rows, several at a
// time; that is a sweep. The driver (gauss2/fast.cpp) chooses the rows, supplies the borders above and
// below, polls and takes memory; the kernel supplies the borders left and right.
//
// Contract of every kernel, at every level:
//   Result:  the pixels, and with a mask the mask values, of the plain filter, bit for bit.
//   Reads:   columns 0 .. width - 1 of the source rows and mask rows.
//   Writes:  the filter's columns of the output rows. Nothing outside is touched, since images end at page
//            ends.
//   Widths:  leastWidth and up; the driver hands over copies of narrower rows that are wide enough.
#pragma once

#include "gauss2/filter.h"

#include <cstdint>

constexpr int gauss2_rowsBefore = 4;
constexpr int gauss2_mostFreshRows = 8;
constexpr int gauss2_mostOutputRows = 4;
constexpr int64_t gauss2_mostLeastWidth = 2 * 32 + 2; // pixels; no level asks for more

// The rows of one sweep: the fresh source rows, which no sweep has had before; the four source rows before
// them; and the output rows that the fresh ones complete. A filter that sums down the columns keeps sums of
// the rows before and goes on from these; it may also read those rows again. What it keeps depends on the
// last four rows alone. So to begin at any row, the driver lets one sweep run before it whose outputs are
// not used.
//
// With f the first fresh row, the output rows are centred on the source rows f - 2, f - 1, ... for 5x5 and
// 1x5; on f - 1, f + 1, ... for the filters that keep every second row; on f, f + 1, ... for the others.
template <class PixelType>
struct gauss2_sweep {
    using Pixel = PixelType;
    int64_t width; // of the source rows
    const Pixel* source[gauss2_rowsBefore + gauss2_mostFreshRows];
    Pixel* out[gauss2_mostOutputRows];
    unsigned char* state; // what the kernel keeps, on a 64-byte boundary, zeroed before the first sweep
};

template <class PixelType>
struct gauss2_maskedSweep : gauss2_sweep<PixelType> {
    const uint8_t* mask[gauss2_rowsBefore + gauss2_mostFreshRows];
    uint8_t* outMask[gauss2_mostOutputRows];
};

// One filter at one level. It writes all of its output rows in every sweep; those that are not wanted go to
// spare memory. Sweep is gauss2_sweep or gauss2_maskedSweep of uint8_t or uint16_t.
template <class Sweep>
struct gauss2_kernel {
    void (*run)(const Sweep* sweep);
    int32_t outputRows;
    int64_t (*stateBytes)(int64_t width); // null when nothing is kept from sweep to sweep
};

// All filters of a level.
template <class Sweep>
struct gauss2_kernels {
    int64_t leastWidth;
    gauss2_kernel<Sweep> half;
    gauss2_kernel<Sweep> halfX;
    gauss2_kernel<Sweep> halfY;
    gauss2_kernel<Sweep> full5x5;
    gauss2_kernel<Sweep> full5x1;
    gauss2_kernel<Sweep> full1x5;
};

// The kernels of a level, for both depths, without and with a mask.
struct gauss2_levelKernels {
    gauss2_kernels<gauss2_sweep<uint8_t>> of8;
    gauss2_kernels<gauss2_sweep<uint16_t>> of16;
    gauss2_kernels<gauss2_maskedSweep<uint8_t>> ofMasked8;
    gauss2_kernels<gauss2_maskedSweep<uint16_t>> ofMasked16;
};

// Data, so that nothing of a level runs before it is chosen.
extern const gauss2_levelKernels gauss2_kernelsPortable;
extern const gauss2_levelKernels gauss2_kernels128;
extern const gauss2_levelKernels gauss2_kernels256;
