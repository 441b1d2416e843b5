// The way of the older engine, at the 128-bit level.
#include "lanes/lanes_sse41.h"

#include "unmasked/kernels/pixels_body.h"

constexpr unmasked_pixelWay unmasked_fixedPointSse41 = pixelWay<fixedPointWay>();
