#include "masked/pixel_way.h"

#include <algorithm>
#include <cmath>

namespace
{

double mostPixelOf(bool isWide)
{
    return isWide ? 65535.0 : 255.0;
}

double greatestSum(const masked_plan* plan)
{
    return masked_fullWeight(plan) * mostPixelOf(plan->srcIsWide);
}

masked_width widthOf(const masked_plan* plan)
{
    // With boxes of up to 16 pixels the sums of 8-bit pixels fit 32 bits, and only then the factor is short.
    const bool isNarrow =
        plan->srcIsWide ? greatestSum(plan) < 0x1p32 : std::max(plan->boxX, plan->boxY) <= 16;
    if (isNarrow)
        return masked_narrow;
    if (plan->srcIsWide && plan->boxY > gauss_mostBoxSigned<uint16_t>)
        return masked_wideColumns;
    return masked_fullWeight(plan) < 0x1p32 ? masked_wideSource : masked_wideBoth;
}

masked_pixelPair kernelsOf(const masked_plan* plan, const masked_pixelKernels* kernels, masked_way way)
{
    const masked_width width = widthOf(plan);
    if (plan->srcIsWide)
        return kernels->from16To16[way][width];
    return plan->dstIsWide ? kernels->from8To16[way][width] : kernels->from8To8[way][width];
}

masked_way wayOf(const masked_fixedRule& rule)
{
    return rule.hasGain ? masked_wayGain : masked_wayUnit;
}

masked_way wayOf(const masked_doubleRule& rule)
{
    const bool isWhole = rule.gain == std::trunc(rule.gain) && rule.gain < 0x1p31;
    return isWhole && rule.fullWeight <= uint64_t{1} << 30 ? masked_wayWholeGain : masked_wayDouble;
}

masked_pixelNumbers numbersOf(const masked_fixedRule& rule)
{
    masked_pixelNumbers numbers = {};
    numbers.multiplier = rule.factor.multiplier;
    numbers.rounding = rule.round ? rule.factor.rounding : 0;
    numbers.firstShift = rule.factor.firstShift;
    numbers.lastShift = rule.factor.lastShift;
    numbers.gain16 = static_cast<uint32_t>(rule.gain16);
    numbers.roundMask = rule.round ? ~uint32_t{} : 0;
    numbers.fullWeight = rule.fullWeight;
    return numbers;
}

masked_pixelNumbers numbersOf(const masked_doubleRule& rule)
{
    masked_pixelNumbers numbers = {};
    numbers.fullWeight = rule.fullWeight;
    numbers.gain = rule.gain;
    numbers.fullWeightDouble = static_cast<double>(rule.fullWeight);
    numbers.fullFactor = rule.gain / numbers.fullWeightDouble * (1.0 + 0x1p-50);
    numbers.offset = rule.rounding;
    numbers.mostPixel = rule.mostPixel;
    return numbers;
}

} // namespace

bool masked_fitsLanes(const masked_plan* plan, const masked_fixedRule& rule)
{
    // A full output, before the last shift.
    const double laneLimit = widthOf(plan) == masked_narrow && !plan->srcIsWide ? 0x1p32 : 0x1p64;
    const double product = std::ldexp(greatestSum(plan), -rule.factor.firstShift) *
                               static_cast<double>(rule.factor.multiplier) +
                           static_cast<double>(rule.factor.rounding);
    // A partial one: its dividend has to be exact as a double, and its quotient has to fit 32 bits.
    const double quotient = (mostPixelOf(plan->srcIsWide) + 1.0) * plan->gain;
    const double dividend = quotient * masked_fullWeight(plan);
    return product < laneLimit && std::ldexp(1.0, rule.factor.lastShift) < laneLimit && plan->gain > 0.0 &&
           plan->gain < 0x1p16 && quotient < 0x1p31 && dividend < 0x1p51;
}

bool masked_fitsLanes(const masked_plan*, const masked_doubleRule& rule)
{
    return rule.gain > 0.0 && rule.gain < 0x1p64;
}

template <class Rule>
masked_pixelWay masked_wayFor(const masked_plan* plan, const Rule& rule, const masked_pixelKernels* kernels)
{
    return {wayOf(rule), kernelsOf(plan, kernels, wayOf(rule)), numbersOf(rule),
            masked_resetsOf(plan, rule), widthOf(plan) == masked_wideBoth};
}

template masked_pixelWay masked_wayFor(const masked_plan* plan, const masked_fixedRule& rule,
                                       const masked_pixelKernels* kernels);
template masked_pixelWay masked_wayFor(const masked_plan* plan, const masked_doubleRule& rule,
                                       const masked_pixelKernels* kernels);
