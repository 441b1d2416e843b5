#include "unmasked/fixed_point.h"

#include "gauss/kernel.h"

#include <qbase/arithmetic.h>

#include <algorithm>
#include <cmath>

bool unmasked_isPowerOfTwo(float gain)
{
    constexpr double tolerance = 1e-6;
    const double value = static_cast<double>(gain);
    if (!std::isfinite(value))
        return false;
    int exponent = 0;
    std::frexp(value, &exponent);
    return value >= 1.0
               ? qmath_double_epsilonEqual(value, std::ldexp(1.0, exponent - 1), tolerance) != 0
               : qmath_double_epsilonEqual(1.0 / value, std::ldexp(1.0, 1 - exponent), tolerance) != 0;
}

unmasked_fixedPoint unmasked_fixedPointOf(const qsGaussParams* params)
{
    const int64_t nx = static_cast<int64_t>(params->kernelSizeX) + 1;
    const int64_t ny = static_cast<int64_t>(params->kernelSizeY) + 1;
    const double weight = std::pow(static_cast<double>(nx * ny), 3.0);
    // A gain beside its divisor would be lost in the mantissa; as an exponent it becomes part of the shift.
    const double reciprocal =
        params->peakNormalize ? gauss_normalisationOf(params).reciprocal : 1.0 / weight;
    int gainExponent = 1;
    if (!params->peakNormalize)
        std::frexp(static_cast<double>(params->gain), &gainExponent);
    int reciprocalExponent = 0;
    const double mantissa = std::frexp(reciprocal, &reciprocalExponent);
    int mostExponent = 0;
    std::frexp(255.0 * weight, &mostExponent);

    unmasked_fixedPoint numbers;
    numbers.firstShift = std::max(mostExponent - 32, 0);
    numbers.half = numbers.firstShift > 0 ? std::ldexp(1.0, numbers.firstShift - 1) : 0.0;
    numbers.secondShift = std::max(mostExponent - numbers.firstShift - 15, 0);
    numbers.multiplier = static_cast<int32_t>(std::min(std::ldexp(mantissa, 15) + 0.5, 32767.0));
    numbers.lastShift = 16 - reciprocalExponent - gainExponent - numbers.secondShift - numbers.firstShift;
    return numbers;
}

int32_t unmasked_shortened(const unmasked_fixedPoint* numbers, double sum)
{
    // One rounding down for both shifts: it does not matter where the bits that go are cut.
    const double shifted = std::ldexp(sum + numbers->half, -(numbers->firstShift + numbers->secondShift));
    return static_cast<int32_t>(shifted);
}

int64_t unmasked_fixedPointPixel(const unmasked_fixedPoint* numbers, int32_t shortened)
{
    const int64_t product = static_cast<int64_t>(shortened) * numbers->multiplier;
    const int32_t shift = numbers->lastShift;
    if (shift >= 63 || shift <= -63)
        return 0;
    if (shift >= 0)
        return product >> shift;
    return static_cast<int64_t>(static_cast<uint64_t>(product) << -shift);
}
