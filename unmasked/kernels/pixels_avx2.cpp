// The ways of the newer engine, at the 256-bit level.
#include "lanes/lanes_avx2.h"

#include "unmasked/kernels/pixels_body.h"

constexpr unmasked_pixelWay unmasked_shiftedAvx2 = pixelWay<shiftedWay>();
constexpr unmasked_pixelWay unmasked_scaledAvx2 = pixelWay<scaledWay>();
constexpr unmasked_pixelWay unmasked_scaledSingleAvx2 = {
    {{makePixelsSingle<uint8_t>, makePixelsSingle<uint16_t>}, {nullptr, nullptr}}};
