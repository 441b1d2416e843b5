// From sums down the columns, of source and mask, to rows of pixels, as masked/pixel_rule.h says it. The pixels
// of outputs that are not valid come out as anything; they are set back afterwards.
#pragma once

#include "gauss/box_sums.h"

// The numbers of both arithmetics; each uses its own.
struct masked_pixelNumbers {
    // Fixed point. Whole products and sums fit the lanes: 32 bits where the sums have 32 and the factor 15,
    // else 64.
    uint64_t multiplier;
    uint64_t rounding; // of full outputs; 0 without
    int32_t firstShift;
    int32_t lastShift; // below the number of bits in a lane
    uint32_t gain16;
    uint32_t roundMask; // all bits with rounding: half the weight is added to partial outputs
    uint64_t fullWeight;

    // Double precision.
    double gain;
    double fullWeightDouble;
    double fullFactor; // gain / N, too large by about 2^-50 of it
    double offset;
    double mostPixel;
};

// Some outputs of all rows of a group. Both states go on to the column after the last output.
struct masked_pixelStep {
    gauss_alongState source;
    gauss_alongState mask; // not looked at where all outputs are full
    gauss_boxOutputs outputs;
    void* rows[gauss_mostBoxLanes]; // where the pixels of each row go
    const masked_pixelNumbers* numbers;
};

using masked_pixelKernel = void (*)(masked_pixelStep* step);

// For outputs that are all full, and for any.
struct masked_pixelPair {
    masked_pixelKernel full;
    masked_pixelKernel mixed;
};

// The widths of the sums along the rows.
enum masked_width {
    masked_narrow,      // 32 bits, source and mask
    masked_wideSource,  // 64 bits for the source
    masked_wideBoth,    // 64 bits for both; 8-bit sources alone
    masked_wideColumns, // 64 bits for the source, from boxes wider than gauss_mostBoxSigned; 16 bits alone
    masked_widths
};

// How pixels are made.
enum masked_way {
    masked_wayUnit,      // fixed point, with a gain of 1: partial outputs are not multiplied
    masked_wayGain,      // fixed point
    masked_wayDouble,    // double precision
    masked_wayWholeGain, // the same with a whole number as gain, and N of at most 2^30
    masked_ways
};

// From 8 to 8 bits, from 8 to 16, from 16 to 16.
struct masked_pixelKernels {
    masked_pixelPair from8To8[masked_ways][masked_widths];
    masked_pixelPair from8To16[masked_ways][masked_widths];
    masked_pixelPair from16To16[masked_ways][masked_widths];
};
