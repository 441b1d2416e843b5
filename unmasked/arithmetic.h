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

// The numbers that the three conversions below take. They give 0 for all others, as narrowing does. Not a
// number: no.
inline bool unmasked_isConvertible(float value)
{
    return std::fabs(value) < 0x1p22f;
}

// Without the fraction.
inline int32_t unmasked_truncated(float value)
{
    return unmasked_isConvertible(value) ? static_cast<int32_t>(value) : 0;
}

// To the nearest whole number, and to the even one of two that are equally near, whatever direction the
// calling thread rounds in: integers round. They have all 24 bits of fractions from one half on, exactly,
// and of smaller ones that these are smaller.
inline int32_t unmasked_roundedToEven(float value)
{
    if (!unmasked_isConvertible(value))
        return 0;
    const int64_t fixed = static_cast<int64_t>(value * 0x1p24f);
    const int64_t isOdd = fixed >> 24 & 1;
    return static_cast<int32_t>((fixed + 0x7fffff + isOdd) >> 24);
}

// To a whole number, in the direction in which the calling thread rounds: the sum has no bits for
// fractions, and the difference is exact.
inline int32_t unmasked_roundedAsThread(float value)
{
    constexpr float noFractions = 0x1.8p23f;
    return unmasked_isConvertible(value) ? static_cast<int32_t>((value + noFractions) - noFractions) : 0;
}

// The gain of kernel size 2, on a quotient of 0 .. 255.
inline uint8_t unmasked_scaledBy729(uint32_t quotient, float gain, bool round)
{
    const float scaled = static_cast<float>(quotient) * gain;
    return unmasked_narrowed(round ? unmasked_roundedToEven(scaled) : unmasked_truncated(scaled));
}

// The gain of kernel size 1, which rounds in the direction of the calling thread, whatever the request says
// about rounding.
inline uint8_t unmasked_scaledBy64(uint32_t quotient, float gain)
{
    return unmasked_narrowed(unmasked_roundedAsThread(static_cast<float>(quotient) * gain));
}

// ---- the general path ----

// The value of a sum, whose low 8 or 16 bits are stored: multiplied by the reciprocal of the divisor, then
// one half added when rounding, in this order and in double precision.
inline int64_t unmasked_scaledSum(double sum, double reciprocal, double offset)
{
    return gauss_truncate(sum * reciprocal + offset);
}
