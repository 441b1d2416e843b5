// The choice among the kernels that multiply sums by a factor, for the paths whose pixels are such products.
#pragma once

#include "unmasked/fast_sums.h"

// A pixel is trunc((sum + start) * factor + offset) in double precision. The start or the offset is 0; what is
// not 0 makes about half of a pixel's unit. A start must be exact in all sums.
struct unmasked_scaling {
    double factor;
    double start;
    double offset;
};

// Fills in the kernels and their numbers. False: there are none, as with gains that are no sensible numbers.
bool unmasked_chooseScaling(const unmasked_plan* plan, const unmasked_scaling* scaling,
                            const unmasked_scalingKernels* kernels, unmasked_sumsPath* path);
