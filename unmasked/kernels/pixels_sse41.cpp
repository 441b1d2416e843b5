// The way of the older engine and those of the reference pixels, at the 128-bit level of x86 processors.
#include "lanes/lanes_sse41.h"

#include "unmasked/kernels/pixels_body.h"

constexpr unmasked_scalingKernels unmasked_scaling128 = {
    &gauss_boxKernels128,        pixelWay<shiftedWay>(), pixelWay<scaledWay>(),
    pixelWaySingle<scaledWay>(), pixelWay<startedWay>(), pixelWaySingle<startedWay>()};
constexpr unmasked_pixelWay unmasked_fixedPoint128 = pixelWay<fixedPointWay>();
