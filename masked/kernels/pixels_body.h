// The kernels of masked/kernels/pixels.h, over the lanes of the level that the including file has chosen.
#pragma once

#include "gauss/box_tiles.h"
#include "masked/kernels/pixels.h"

namespace
{

template <class Number>
using groupSums = gauss_groupSums<Number>;

// ---- numbers ----

// a * b, for numbers of 44 and 20 bits.
lanes_inline u64s longProduct(u64s a, uint32_t b)
{
    const u64s factor = filled(uint64_t{b});
    return mulLow(a, factor) + (mulLow(a >> 32, factor) << 32);
}

// The low halves of the lanes, 32 bits for each row.
lanes_inline u32s lowHalves(const groupSums<uint64_t>& sums)
{
    return lowHalves(sums.part[0], sums.part[1]);
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
    template <class Sums>
    static lanes_inline u32s full(const masked_pixelNumbers& numbers, const Sums& sums)
    {
        if constexpr (isShort) {
            const u32s product =
                gauss_shifted(sums, numbers.firstShift) * static_cast<uint32_t>(numbers.multiplier);
            return (product + static_cast<uint32_t>(numbers.rounding)) >> numbers.lastShift;
        } else {
            const groupSums<uint64_t> wide = gauss_widened(sums);
            groupSums<uint64_t> pixels;
            for (int i = 0; i < 2; ++i) {
                const u64s product = longProduct(wide.part[i] >> numbers.firstShift,
                                                 static_cast<uint32_t>(numbers.multiplier));
                pixels.part[i] = (product + numbers.rounding) >> numbers.lastShift;
            }
            return lowHalves(pixels);
        }
    }

    template <class Sums, class Weights>
    static lanes_inline u32s partial(const masked_pixelNumbers& numbers, const Sums& sums,
                                     const Weights& weights)
    {
        if constexpr (isShort && !hasGain)
            return shortQuotient(numbers, sums.part[0], weights.part[0]);
        else
            return longQuotient(numbers, gauss_widened(sums), gauss_widened(weights));
    }

private:
    // Sums of 8-bit pixels, at most 255 times their weights, with weights of at most 2^24. The dividend is
    // halved, so that it can be converted as a signed number; the quotient then is wrong by one at most,
    // which the remainder tells.
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

struct doubleWay {
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

// ---- along the rows ----

// Source and mask side by side.
template <class Source, class Mask, bool wideColumns>
struct pairCursor {
    gauss_alongCursor<Source, wideColumns> source;
    gauss_alongCursor<Mask> mask;

    struct pairSums {
        groupSums<Source> source;
        groupSums<Mask> mask;
    };

    lanes_inline void addColumn()
    {
        source.addColumn();
        mask.addColumn();
    }

    lanes_inline pairSums sums() const
    {
        return {source.sums(), mask.sums()};
    }
};

template <class Dst, class MakeTiles>
lanes_inline void mayWrap(const masked_pixelNumbers& numbers, const MakeTiles& makeTiles)
{
    if (numbers.wraps)
        makeTiles(true);
    else
        makeTiles(false);
}

template <class Way, class Dst, class Source, bool wideColumns>
void makeFull(masked_pixelStep* step)
{
    const masked_pixelNumbers numbers = *step->numbers;
    gauss_alongCursor<Source, wideColumns> cursor(step->source);
    mayWrap<Dst>(numbers, [&](bool wraps) lanes_inlined {
        gauss_overTiles<Dst>(
            step->outputs, step->rows, &cursor, [&](const auto& nextSums, u32s* quads) lanes_inlined {
                gauss_makeQuads<Dst>(wraps, quads,
                                     [&](int) lanes_inlined { return Way::full(numbers, nextSums()); });
            });
    });
    cursor.keep(&step->source);
}

template <class Way, class Dst, class Source, class Mask, bool wideColumns>
void makeMixed(masked_pixelStep* step)
{
    const masked_pixelNumbers numbers = *step->numbers;
    pairCursor<Source, Mask, wideColumns> cursor = {gauss_alongCursor<Source, wideColumns>(step->source),
                                                    gauss_alongCursor<Mask>(step->mask)};
    const auto pixels = [&](const auto& sums) lanes_inlined {
        const u32s full = isFull(numbers, sums.mask);
        const u32s partial = Way::partial(numbers, sums.source, divisors(sums.mask));
        return (Way::full(numbers, sums.source) & full) | andNot(partial, full);
    };
    mayWrap<Dst>(numbers, [&](bool wraps) lanes_inlined {
        gauss_overTiles<Dst>(
            step->outputs, step->rows, &cursor, [&](const auto& nextSums, u32s* quads) lanes_inlined {
                gauss_makeQuads<Dst>(wraps, quads, [&](int) lanes_inlined { return pixels(nextSums()); });
            });
    });
    cursor.source.keep(&step->source);
    cursor.mask.keep(&step->mask);
}

// ---- the tables ----

template <class Way, class Dst, class Source, class Mask, bool wideColumns = false>
constexpr masked_pixelPair pairOf()
{
    return {makeFull<Way, Dst, Source, wideColumns>, makeMixed<Way, Dst, Source, Mask, wideColumns>};
}

// Short is the way of narrow sums, Long that of wide ones; some tables leave out a width.
template <class Short, class Long, class Dst>
constexpr void fillFrom8(masked_pixelPair* widths)
{
    widths[masked_narrow] = pairOf<Short, Dst, uint32_t, uint32_t>();
    widths[masked_wideSource] = pairOf<Long, Dst, uint64_t, uint32_t>();
    widths[masked_wideBoth] = pairOf<Long, Dst, uint64_t, uint64_t>();
}

template <class Way>
constexpr void fillFrom16(masked_pixelPair* widths)
{
    widths[masked_narrow] = pairOf<Way, uint16_t, uint32_t, uint32_t>();
    widths[masked_wideSource] = pairOf<Way, uint16_t, uint64_t, uint32_t>();
    widths[masked_wideColumns] = pairOf<Way, uint16_t, uint64_t, uint32_t, true>();
}

template <class Dst>
constexpr void fillWaysFrom8(masked_pixelPair (*ways)[masked_widths])
{
    fillFrom8<fixedWay<true, false>, fixedWay<false, false>, Dst>(ways[masked_wayUnit]);
    fillFrom8<fixedWay<true, true>, fixedWay<false, true>, Dst>(ways[masked_wayGain]);
    fillFrom8<doubleWay, doubleWay, Dst>(ways[masked_wayDouble]);
}

constexpr masked_pixelKernels pixelKernels()
{
    masked_pixelKernels made = {};
    fillWaysFrom8<uint8_t>(made.from8To8);
    fillWaysFrom8<uint16_t>(made.from8To16);
    fillFrom16<fixedWay<false, false>>(made.from16To16[masked_wayUnit]);
    fillFrom16<fixedWay<false, true>>(made.from16To16[masked_wayGain]);
    fillFrom16<doubleWay>(made.from16To16[masked_wayDouble]);
    return made;
}

} // namespace
