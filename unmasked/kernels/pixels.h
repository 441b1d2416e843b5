// From sums down the columns to rows of pixels, for the paths whose sums come from gauss/box_sums.h: one
// kernel for each way of the arithmetic, each depth and each width of the sums along the rows.
#pragma once

#include "gauss/box_sums.h"

// The numbers of all ways; each uses its own.
struct unmasked_pixelNumbers {
    // Shifted: sum >> shift. (What rounds is part of the sum.)
    int32_t shift;

    // Scaled: trunc(sum * factor + offset) in double precision, below 2^31. Started: trunc((sum + start) *
    // factor), the sum in brackets being exact. For sums below 2^31 and pixels below 2^11 either is tried in
    // single precision first, with 16 bits behind the point: where the result is at least `margin` such units
    // from a whole number, it has the pixel's whole part.
    double factor;
    double offset;
    double start;
    float singleFactor; // factor * 2^16
    float singleOffset; // (offset + start * factor) * 2^16 + margin
    uint32_t margin;

    // Fixed point: (sum >> shift) * multiplier, then lastShift to the right or, when negative, to the left;
    // at most 31 either way. What the first shift leaves is below 2^15.
    int32_t multiplier;
    int32_t lastShift;

    bool wraps; // a result may have more bits than a pixel
};

// Some outputs of all rows of a group.
struct unmasked_pixelStep {
    gauss_alongState along; // goes on to the column after the last output
    gauss_boxOutputs outputs;
    void* rows[gauss_mostBoxLanes]; // where the pixels of each row go
    const unmasked_pixelNumbers* numbers;
};

using unmasked_pixelKernel = void (*)(unmasked_pixelStep* step);

// One way: [sums of 32 bits, of 64 bits][pixels of 8 bits, of 16 bits].
struct unmasked_pixelWay {
    unmasked_pixelKernel kernels[2][2];
};

// The ways that multiply sums by a factor, at one level, and the kernels that make their sums. The single ones
// are for sums of 32 bits alone.
struct unmasked_scalingKernels {
    const gauss_boxKernels* boxes;
    unmasked_pixelWay shifted;
    unmasked_pixelWay scaled;
    unmasked_pixelWay scaledSingle;
    unmasked_pixelWay started; // at the 128-bit level alone
    unmasked_pixelWay startedSingle;
};

extern const unmasked_scalingKernels unmasked_scaling128;
extern const unmasked_scalingKernels unmasked_scaling256;
extern const unmasked_pixelWay unmasked_fixedPoint128; // on x86 alone
