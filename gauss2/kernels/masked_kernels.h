// The inner loops of the fast masked filters: four fresh source rows at a time, in whole blocks of columns, at
// one processor level. Borders, rows outside the image, polls and memory are the drivers' affair
// (gauss2/fast_masked.cpp).
//
// Contract of every kernel, at every level:
//   Result:  N = sum of weight * mask * pixel and W = sum of weight * mask over the filter's neighbourhood give
//            the pixel (N + (W >> 1)) / W, 0 when W is 0, and the mask (W + 128) >> 8 of the two-direction
//            filters, (W + 8) >> 4 of the others.
//   Reads:   of every source row and mask row of a piece the columns -gauss2_maskedBefore ..
//            blocks * block - 1 + gauss2_maskedAfter, counted from the first column of its first block.
//   Writes:  of every output row `block` columns a block, half as many when the filter samples the columns.
//   State:   what a filter that sums over rows carries from step to step; zeros stand for empty masks above.
#pragma once

#include <qbase/cpuinfo.h>

#include <cstdint>

constexpr int gauss2_maskedRows = 4; // source rows of a step; the output has as many, or half of them
constexpr int gauss2_maskedBefore = 2;
constexpr int gauss2_maskedAfter = 3;
constexpr int gauss2_maskedMostBlock = 32; // columns of a block, at most
constexpr int gauss2_maskedPieces = 3;

// Blocks side by side whose rows lie in one piece of memory each.
template <class Pixel>
struct gauss2_maskedPiece {
    int64_t blocks;
    const Pixel* src[gauss2_maskedRows]; // the fresh rows
    const uint8_t* mask[gauss2_maskedRows];
    Pixel* dst[gauss2_maskedRows];
    uint8_t* dstMask[gauss2_maskedRows];
    unsigned char* state; // of the first block, on a 64-byte boundary
};

// One step through all blocks, in any order. Filters that sum over rows are behind their input: with the fresh
// rows r[2] .. r[5], 5x5 and 1x5 give the output rows of r[0] .. r[3]; the sampled ones give with r[1] .. r[4]
// those of r[0] and r[2], in the first two output rows. The others give the rows of the fresh ones.
template <class Pixel>
struct gauss2_maskedStep {
    int32_t pieceCount;
    gauss2_maskedPiece<Pixel> pieces[gauss2_maskedPieces];
};

template <class Pixel>
struct gauss2_maskedKernel {
    void (*run)(const gauss2_maskedStep<Pixel>* step);
    int64_t stateBytes; // of a block, a multiple of 64
};

// All kernels of a level work on blocks of the same width.
template <class Pixel>
struct gauss2_maskedKernels {
    int32_t block;
    gauss2_maskedKernel<Pixel> half;
    gauss2_maskedKernel<Pixel> halfX;
    gauss2_maskedKernel<Pixel> halfY;
    gauss2_maskedKernel<Pixel> full5x5;
    gauss2_maskedKernel<Pixel> full5x1;
    gauss2_maskedKernel<Pixel> full1x5;
};

// The kernels of each level.
void gauss2_maskedKernelsPlain(gauss2_maskedKernels<uint8_t>* kernels);
void gauss2_maskedKernelsPlain(gauss2_maskedKernels<uint16_t>* kernels);
void gauss2_maskedKernelsSse41(gauss2_maskedKernels<uint8_t>* kernels);
void gauss2_maskedKernelsSse41(gauss2_maskedKernels<uint16_t>* kernels);
void gauss2_maskedKernelsAvx2(gauss2_maskedKernels<uint8_t>* kernels);
void gauss2_maskedKernelsAvx2(gauss2_maskedKernels<uint16_t>* kernels);

// The best kernels for the processor of the record. Defined for uint8_t and uint16_t.
template <class Pixel>
void gauss2_maskedKernelsFill(gauss2_maskedKernels<Pixel>* kernels, const qsys_cpuinfo* info);
