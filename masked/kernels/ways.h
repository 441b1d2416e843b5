// From the sums of some outputs to their pixels, over the lanes of the level that the including file has chosen:
// the arithmetic of masked/pixel_rule.h, one way for each range of gains.
#pragma once

#include "gauss/box_along.h"
#include "masked/kernels/pixels.h"

namespace
{

template <class Number>
using groupSums = gauss_groupSums<Number>;

// ---- numbers ----

// ((sums >> firstShift) * factor + rounding) >> lastShift, the product having 64 bits.
lanes_inline u32s scaled(const groupSums<uint32_t>& sums, int32_t firstShift, uint64_t factor,
                         uint64_t rounding, int32_t lastShift)
{
    const auto shortened = (u64s)shiftedRight(sums.part[0], firstShift);
    const u64s factors = filled(factor);
    return lowMerged(shiftedRight(mulLow(shortened, factors) + rounding, lastShift),
                     shiftedRight(mulLow(shortened >> 32, factors) + rounding, lastShift));
}

lanes_inline u32s scaled(const groupSums<uint64_t>& sums, int32_t firstShift, uint64_t factor,
                         uint64_t rounding, int32_t lastShift)
{
    const u64s factors = filled(factor);
    u64s pixels[2];
    for (int i = 0; i < 2; ++i) {
        const u64s shortened = shiftedRight(sums.part[i], firstShift);
        const u64s product = mulLow(shortened, factors) + (mulLow(shortened >> 32, factors) << 32);
        pixels[i] = shiftedRight(product + rounding, lastShift);
    }
    return lowHalves(pixels[0], pixels[1]);
}

// The sums of masks, at least 1: outputs that have no valid pixel are not valid.
lanes_inline groupSums<uint32_t> divisors(const groupSums<uint32_t>& weights)
{
    return {{larger(weights.part[0], filled(1u))}};
}

lanes_inline groupSums<uint64_t> divisors(const groupSums<uint64_t>& weights)
{
    const auto atLeastOne = [](u64s a) lanes_inlined {
        return a | (u64s)(a == 0) >> 63;
    };
    return {{atLeastOne(weights.part[0]), atLeastOne(weights.part[1])}};
}

lanes_inline u32s isFull(const masked_pixelNumbers& numbers, const groupSums<uint32_t>& weights)
{
    return (u32s)(weights.part[0] == static_cast<uint32_t>(numbers.fullWeight));
}

lanes_inline u32s isFull(const masked_pixelNumbers& numbers, const groupSums<uint64_t>& weights)
{
    return lowHalves((u64s)(weights.part[0] == numbers.fullWeight),
                     (u64s)(weights.part[1] == numbers.fullWeight));
}

// ---- the two arithmetics ----

// Fixed point. With isShort the sums have 32 bits, and so has all that is made of them where they are full.
template <bool isShort, bool hasGain>
struct fixedWay {
    static constexpr bool wraps = hasGain; // a result may have more bits than a pixel

    template <class Number>
    static lanes_inline u32s full(const masked_pixelNumbers& numbers, const groupSums<Number>& sums)
    {
        if constexpr (isShort) {
            const u32s product =
                gauss_shifted(sums, numbers.firstShift) * static_cast<uint32_t>(numbers.multiplier);
            return shiftedRight(product + static_cast<uint32_t>(numbers.rounding), numbers.lastShift);
        } else {
            return scaled(sums, numbers.firstShift, numbers.multiplier, numbers.rounding,
                          numbers.lastShift);
        }
    }

    template <class Number, class Weights>
    static lanes_inline u32s partial(const masked_pixelNumbers& numbers, const groupSums<Number>& sums,
                                     const Weights& weights)
    {
        if constexpr (sizeof(Number) == sizeof(uint32_t) && !hasGain)
            return shortQuotient(numbers, sums.part[0], weights.part[0]);
        else
            return longQuotient(numbers, gauss_widened(sums), gauss_widened(weights));
    }

private:
    // Sums of 32 bits, at most 65535 times their weights, which have 24 bits. The dividend is halved, so that it
    // can be converted as a signed number: for weights of 1 the quotient loses its last bit, for others it
    // changes by half a unit at most. Rounding to single precision changes it by less than 1/64. So it is
    // wrong by one at most, which the remainder tells.
    static lanes_inline u32s shortQuotient(const masked_pixelNumbers& numbers, u32s sums, u32s weights)
    {
        const u32s dividend = sums + ((weights >> 1) & numbers.roundMask);
        const f32s ratio = toFloats(dividend >> 1) / toFloats(weights);
        const u32s quotient = truncated(ratio + ratio);
        const u32s remainder = dividend - quotient * weights;
        const u32s isLow = (u32s)((i32s)remainder >= (i32s)weights);
        return quotient + signsOf(remainder) - isLow;
    }

    // In double precision the whole part of a quotient is exact as long as the dividend has 52 bits.
    static lanes_inline u32s longQuotient(const masked_pixelNumbers& numbers,
                                          const groupSums<uint64_t>& sums,
                                          const groupSums<uint64_t>& weights)
    {
        f64s quotients[2];
        for (int i = 0; i < 2; ++i) {
            u64s dividend = sums.part[i];
            if constexpr (hasGain) {
                const u64s gain = filled(uint64_t{numbers.gain16});
                dividend = (mulLow(dividend >> 32, gain) << 16) + (mulLow(dividend, gain) >> 16);
            }
            const uint64_t roundMask = uint64_t{numbers.roundMask} << 32 | numbers.roundMask;
            dividend += (weights.part[i] >> 1) & roundMask;
            quotients[i] = toDoubles(dividend) / toDoubles(weights.part[i]);
        }
        return truncated(quotients[0], quotients[1]);
    }
};

// Double precision.
struct doubleWay {
    static constexpr bool wraps = false;

    template <class Sums>
    static lanes_inline u32s full(const masked_pixelNumbers& numbers, const Sums& sums)
    {
        const groupSums<uint64_t> wide = gauss_widened(sums);
        const f64s weight = filled(numbers.fullWeightDouble);
        return truncated(pixels(numbers, wide.part[0], weight), pixels(numbers, wide.part[1], weight));
    }

    template <class Sums, class Weights>
    static lanes_inline u32s partial(const masked_pixelNumbers& numbers, const Sums& sums,
                                     const Weights& weights)
    {
        const groupSums<uint64_t> wide = gauss_widened(sums);
        const groupSums<uint64_t> wideWeights = gauss_widened(weights);
        return truncated(pixels(numbers, wide.part[0], toDoubles(wideWeights.part[0])),
                         pixels(numbers, wide.part[1], toDoubles(wideWeights.part[1])));
    }

private:
    static lanes_inline f64s pixels(const masked_pixelNumbers& numbers, u64s sums, f64s weights)
    {
        const f64s values = toDoubles(sums) * numbers.gain / weights + numbers.offset;
        return smaller(values, filled(numbers.mostPixel));
    }
};

// Full outputs in double precision where the gain and so the dividend is a whole number: the quotient is a whole
// number, or at least 1 / N away from one. A product with a factor that is slightly too large, by less than
// that, has the same whole part.
struct wholeGainWay {
    static constexpr bool wraps = false;

    template <class Sums>
    static lanes_inline u32s full(const masked_pixelNumbers& numbers, const Sums& sums)
    {
        const groupSums<uint64_t> wide = gauss_widened(sums);
        f64s pixels[2];
        for (int i = 0; i < 2; ++i)
            pixels[i] = smaller(toDoubles(wide.part[i]) * numbers.fullFactor + numbers.offset,
                                filled(numbers.mostPixel));
        return truncated(pixels[0], pixels[1]);
    }
};

// Outputs that may be full or not.
template <class Way, class Sums, class Weights>
lanes_inline u32s mixedPixels(const masked_pixelNumbers& numbers, const Sums& sums, const Weights& weights)
{
    const u32s partial = Way::partial(numbers, sums, divisors(weights));
    // In double precision both are the same.
    if constexpr (std::is_same_v<Way, doubleWay>) {
        return partial;
    } else {
        const u32s full = isFull(numbers, weights);
        return (Way::full(numbers, sums) & full) | andNot(partial, full);
    }
}

} // namespace
