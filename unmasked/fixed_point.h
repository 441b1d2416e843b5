// The arithmetic of the older engine: integers only, so it takes a request only when it truncates and its
// gain is a power of two.
#pragma once

#include <qip/smoothing.h>

// With S the exact sum, a pixel is the low 8 or 16 bits of
//     ((S + half) >> firstShift >> secondShift) * multiplier >> lastShift
// A negative last shift goes to the left. All numbers are those of exact integers, however large: what
// comes out of the first two shifts is at most 2^15.
struct unmasked_fixedPoint {
    double half; // 2^(firstShift - 1), or 0
    int32_t firstShift;
    int32_t secondShift;
    int32_t multiplier; // the mantissa of the reciprocal of the divisor, 15 bits
    int32_t lastShift;
};

// Whether a gain is a power of two, up to a difference of 1e-6 in it or, below 1, in its reciprocal.
bool unmasked_isPowerOfTwo(float gain);

// For sampling factors and kernel sizes that are valid and a gain that is a power of two.
unmasked_fixedPoint unmasked_fixedPointOf(const qsGaussParams* params);

// What the first two shifts leave of a sum, for sums that are exact in double precision.
int32_t unmasked_shortened(const unmasked_fixedPoint* numbers, double sum);

// The pixel of what they have left; its low 8 or 16 bits are stored.
int64_t unmasked_fixedPointPixel(const unmasked_fixedPoint* numbers, int32_t shortened);
