// From the sums under a kernel to a pixel: the two arithmetics, each in plain code. With S the weighted sum of
// the valid pixels, W the sum of their weights, N what W is where all pixels are valid, and p a source pixel:
//
//     reset      the pixel of an output that is not valid, made of p at its centre
//     full       the pixel of a valid output with W = N
//     partial    that of any other valid output
//
// All of it is required; it decides pixels.
#pragma once

#include "masked/fixed_factor.h"
#include "masked/plan.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

// The greatest 64-bit sums times the greatest gain have more than 64 bits.
__extension__ using masked_uint128 = unsigned __int128;

inline double masked_fullWeight(const masked_plan* plan)
{
    return std::trunc(std::pow(static_cast<double>(plan->boxX * plan->boxY), 3.0));
}

// A gain as a number up to some limit; 0 for what is not a number.
inline double masked_gainUpTo(double limit, double gain)
{
    return gain > 0.0 ? std::min(gain, limit) : 0.0;
}

// Fixed point. What does not fit a pixel loses its upper bits when it is stored: bright results wrap.
struct masked_fixedRule {
    bool hasGain; // other than 1
    bool round;
    uint64_t gain16;
    uint64_t fullWeight;
    masked_fixedFactor factor; // of full outputs: gain / N

    explicit masked_fixedRule(const masked_plan* plan)
        : hasGain(plan->gain != 1.0), round(plan->round),
          gain16(static_cast<uint64_t>(masked_gainUpTo(0x1p46, plan->gain) * 65536.0)),
          fullWeight(static_cast<uint64_t>(masked_fullWeight(plan)))
    {
        // Kernels of up to 16 pixels a box have 32-bit sums.
        const bool isNarrow = !plan->srcIsWide && std::max(plan->boxX, plan->boxY) <= 16;
        const double mostPixel = plan->srcIsWide ? 65535.0 : 255.0;
        factor = masked_makeFactor(isNarrow ? masked_factor32 : masked_factor64,
                                   masked_gainUpTo(DBL_MAX, plan->gain) / masked_fullWeight(plan),
                                   masked_fullWeight(plan) * mostPixel);
    }

    uint64_t reset(uint64_t p) const
    {
        return hasGain ? timesGain(p, round ? 32768 : 0) : p;
    }

    uint64_t full(uint64_t sum) const
    {
        const masked_uint128 product =
            masked_uint128{sum >> factor.firstShift} * factor.multiplier + (round ? factor.rounding : 0);
        return factor.lastShift < 128 ? static_cast<uint64_t>(product >> factor.lastShift) : 0;
    }

    // The weight of a valid output is at least 1: its centre or some pixel under its kernel is valid.
    uint64_t partial(uint64_t sum, uint64_t weight) const
    {
        const masked_uint128 scaled = hasGain ? masked_uint128{sum} * gain16 >> 16 : sum;
        return static_cast<uint64_t>((scaled + (round ? weight >> 1 : 0)) / std::max<uint64_t>(weight, 1));
    }

private:
    uint64_t timesGain(uint64_t value, uint64_t rounding) const
    {
        return static_cast<uint64_t>((masked_uint128{value} * gain16 + rounding) >> 16);
    }
};

// Double precision. Results above the range of a pixel become its greatest value.
struct masked_doubleRule {
    double gain;
    double rounding;
    double mostPixel;
    uint64_t fullWeight;

    explicit masked_doubleRule(const masked_plan* plan)
        : gain(plan->gain), rounding(plan->round ? 0.5 : 0.0), mostPixel(plan->dstIsWide ? 65535.0 : 255.0),
          fullWeight(static_cast<uint64_t>(masked_fullWeight(plan)))
    {
    }

    uint64_t reset(uint64_t p) const
    {
        return pixel(static_cast<double>(p) * gain + rounding);
    }

    uint64_t full(uint64_t sum) const
    {
        return partial(sum, fullWeight);
    }

    uint64_t partial(uint64_t sum, uint64_t weight) const
    {
        return pixel(static_cast<double>(sum) * gain / static_cast<double>(weight) + rounding);
    }

private:
    // The whole part; 0 for what is not a number.
    uint64_t pixel(double value) const
    {
        return value > 0.0 ? static_cast<uint64_t>(std::min(value, mostPixel)) : 0;
    }
};
