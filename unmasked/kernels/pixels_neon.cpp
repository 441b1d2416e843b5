// The ways of the reference pixels, at the 128-bit level of 64-bit ARM processors.
#include "lanes/lanes_neon.h"

#include "unmasked/kernels/pixels_body.h"

constexpr unmasked_scalingKernels unmasked_scaling128 = {
    &gauss_boxKernels128,        pixelWay<shiftedWay>(), pixelWay<scaledWay>(),
    pixelWaySingle<scaledWay>(), pixelWay<startedWay>(), pixelWaySingle<startedWay>()};
