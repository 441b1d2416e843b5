// From a sum to a pixel: the arithmetic of each path of the engines. Paths differ here on purpose; which
// one serves a request decides its pixels, bit for bit. Vector code has to give what these functions give.
#pragma once

#include "gauss/kernel.h"

#include <cmath>
#include <cstdint>

// ---- the two fixed paths, for kernels of one size and 8-bit pixels ----

// Kernel size 2, sums of weight 729: the quotient, but where the dividend is a multiple of 729 other than
// 0, the quotient less one. Without rounding a constant image loses 1. Sums are at most 185895.
inline uint32_t unmasked_dividedBy729(uint32_t sum, bool round)
{
    return (sum + (round ? 364u : 0u)) * 11507u >> 23;
}

// Kernel size 1, sums of weight 64.
inline uint32_t unmasked_dividedBy64(uint32_t sum, bool round)
{
    return (sum + (round ? 32u : 0u)) >> 6;
}

// Whether the fixed paths apply a gain at all. Not a number: no.
inline bool unmasked_hasGain(float gain)
{
    return std::fabs(gain - 1.0f) > 0x1p-23f;
}

// Narrows in two steps, as two packing instructions do: to 16 bits unsigned, then, with these read as a
// signed number, to 8 bits unsigned. So 255 stands for 256 .. 32767, and 0 for all below and above.
inline uint8_t unmasked_narrowed(int32_t value)
{
    if (value < 0 || value > 0x7fff)
        return 0;
    return static_cast<uint8_t>(value > 255 ? 255 : value);
}

// A whole number in single precision as an integer; 0 for what does not fit 32 bits.
inline int32_t unmasked_toInteger(float whole)
{
    return whole >= -0x1p31f && whole < 0x1p31f ? static_cast<int32_t>(whole) : 0;
}

// To the nearest whole number, and to the even one of two that are equally near, whatever direction the
// calling thread rounds in. The difference is exact.
inline float unmasked_roundedToEven(float value)
{
    const float below = std::floor(value);
    const float rest = value - below;
    if (rest != 0.5f)
        return rest > 0.5f ? below + 1.0f : below;
    return std::fmod(below, 2.0f) == 0.0f ? below : below + 1.0f;
}

// The gain of kernel size 2, on a quotient of 0 .. 255.
inline uint8_t unmasked_scaledBy729(uint32_t quotient, float gain, bool round)
{
    const float scaled = static_cast<float>(quotient) * gain;
    return unmasked_narrowed(
        unmasked_toInteger(round ? unmasked_roundedToEven(scaled) : std::trunc(scaled)));
}

// The gain of kernel size 1, which rounds in the direction of the calling thread, whatever the request says
// about rounding.
inline uint8_t unmasked_scaledBy64(uint32_t quotient, float gain)
{
    return unmasked_narrowed(unmasked_toInteger(std::nearbyint(static_cast<float>(quotient) * gain)));
}

// ---- the general path ----

// The value of a sum, whose low 8 or 16 bits are stored: multiplied by the reciprocal of the divisor, then
// one half added when rounding, in this order and in double precision.
inline int64_t unmasked_scaledSum(double sum, double reciprocal, double offset)
{
    return gauss_truncate(sum * reciprocal + offset);
}
