// The ways of the newer engine, at the 256-bit level.
#include "lanes/lanes_avx2.h"

#include "unmasked/kernels/pixels_body.h"

constexpr unmasked_scalingKernels unmasked_scaling256 = {
    &gauss_boxKernels256,        pixelWay<shiftedWay>(),   pixelWay<scaledWay>(),
    pixelWaySingle<scaledWay>(), {{{nullptr}, {nullptr}}}, {{{nullptr}, {nullptr}}}};
