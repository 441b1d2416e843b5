// The numbers of the kernel, the cube of a box: its normalisation, and the step from a sum to a pixel.
#pragma once

#include <qip/smoothing.h>

// What a weighted sum S is scaled by. In ordinary mode N = (nX nY)^3 / gain; with peakNormalize the
// product of the central weights, the gain unused.
struct gauss_normalisation {
    double reciprocal; // 1 / N
    double half;       // N / 2, what rounding adds to a sum
};

gauss_normalisation gauss_normalisationOf(const qsGaussParams* params);

// Truncation towards zero to a 64-bit integer; 0 for what does not fit one (infinite, not a number).
// Storing the low 8 or 16 bits of it, without clamping, is the required behaviour: bright results wrap.
inline int64_t gauss_truncate(double value)
{
    return value > -0x1p63 && value < 0x1p63 ? static_cast<int64_t>(value) : 0;
}
